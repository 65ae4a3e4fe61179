// SPDX-License-Identifier: MIT
#pragma once

// The order in which files are read and appear, as the system tells it.

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace rydecon::test {

class FileEvents {
  public:
    FileEvents() : queue_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}
    ~FileEvents() { close(queue_); }
    FileEvents(const FileEvents&) = delete;
    FileEvents& operator=(const FileEvents&) = delete;

    /// Tells "read NAME" from now on.
    void WatchReading(const std::filesystem::path& file) { Watch(file, IN_ACCESS); }
    /// Tells "new NAME" for each file that is made there, and "has NAME" for each that gets its name.
    void WatchArrivals(const std::filesystem::path& folder) { Watch(folder, IN_MOVED_TO | IN_CREATE); }

    /// All events so far, repetitions in a row once.
    std::vector<std::string> All() {
        alignas(inotify_event) std::array<char, 65536> bytes{};
        for (ssize_t count = 0; (count = read(queue_, bytes.data(), bytes.size())) > 0;) {
            for (ssize_t at = 0; at < count;) {
                const auto* const event = reinterpret_cast<const inotify_event*>(bytes.data() + at);
                at += static_cast<ssize_t>(sizeof *event + event->len);
                if ((event->mask & (IN_ACCESS | IN_MOVED_TO | IN_CREATE)) == 0) continue;
                const char* const verb = (event->mask & IN_ACCESS) != 0     ? "read "
                                         : (event->mask & IN_MOVED_TO) != 0 ? "has "
                                                                            : "new ";
                const std::string told = verb + (event->len > 0 ? event->name : watches_[event->wd]);
                if (events_.empty() || events_.back() != told) events_.push_back(told);
            }
        }
        return events_;
    }

  private:
    void Watch(const std::filesystem::path& path, unsigned kinds) {
        watches_[inotify_add_watch(queue_, path.c_str(), kinds)] = path.filename().string();
    }

    int queue_;
    std::map<int, std::string> watches_;  // names of files
    std::vector<std::string> events_;
};

}  // namespace rydecon::test
