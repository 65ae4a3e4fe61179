// SPDX-License-Identifier: MIT
#include "batch/file_warmer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <system_error>
#include <utility>

#include "restoration/blocks/memory_limit.h"

namespace rydecon {

namespace {

constexpr std::size_t kBytesAtOnce = std::size_t{1} << 18;  // a wish to stop waits so long at most

std::uint64_t BytesOf(const std::vector<std::filesystem::path>& files) {
    std::uint64_t bytes = 0;
    for (const std::filesystem::path& file : files) {
        std::error_code failure;
        const std::uintmax_t size = std::filesystem::file_size(file, failure);
        if (!failure) bytes += size;
    }
    return bytes;
}

void ReadThrough(const std::filesystem::path& file, const std::stop_token& stop, std::vector<char>& bytes) {
    // Without O_NONBLOCK a named pipe would be waited for.
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return;
    struct stat status {};
    ssize_t count = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) ? 1 : 0;
    while (count > 0 && !stop.stop_requested()) {
        do {
            count = read(descriptor, bytes.data(), bytes.size());
        } while (count < 0 && errno == EINTR);
    }
    close(descriptor);
}

}  // namespace

void FileWarmer::Warm(std::vector<std::filesystem::path> files) {
    if (BytesOf(files) > FindMemoryLimit(std::nullopt).bytes / 2) return;
    reading_ = std::jthread([files = std::move(files)](const std::stop_token& stop) {
        std::vector<char> bytes(kBytesAtOnce);
        for (const std::filesystem::path& file : files) ReadThrough(file, stop, bytes);
    });
}

void FileWarmer::Wait() {
    if (reading_.joinable()) reading_.join();
}

}  // namespace rydecon
