// SPDX-License-Identifier: MIT

#include "support/program_run.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace rydecon::test {
namespace {

struct Channel {
    int ours = -1;
    int theirs = -1;
};

[[noreturn]] void Throw(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

Channel MakePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) Throw("pipe");
    return {ends[0], ends[1]};
}

Channel MakeTerminal() {
    winsize size{};
    size.ws_row = 24;
    size.ws_col = 80;
    Channel channel;
    if (openpty(&channel.ours, &channel.theirs, nullptr, nullptr, &size) != 0) Throw("openpty");
    fcntl(channel.ours, F_SETFD, FD_CLOEXEC);
    fcntl(channel.theirs, F_SETFD, FD_CLOEXEC);
    return channel;
}

/// In the child, between fork and exec. `environment` belongs to the caller.
[[noreturn]] void Become(const std::filesystem::path& folder, std::vector<char*>& arguments,
                         const ProgramSettings& settings, int out, int err) {
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    if (chdir(folder.c_str()) != 0) _exit(126);
    for (const auto& setting : settings.environment) putenv(const_cast<char*>(setting.c_str()));
    if (settings.fileSizeLimit > 0) {
        const auto bytes = static_cast<rlim_t>(settings.fileSizeLimit);
        const rlimit limit = {bytes, bytes};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (settings.addressLimit > 0) {
        const auto bytes = static_cast<rlim_t>(settings.addressLimit);
        const rlimit limit = {bytes, bytes};
        setrlimit(RLIMIT_AS, &limit);
    }
    execv(RYDECON_PROGRAM, arguments.data());
    _exit(127);
}

/// Appends what is there; false at the end. The master of a terminal ends with EIO.
bool Drain(int descriptor, std::string& text) {
    char buffer[4096];
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) return true;
    if (count <= 0) return false;
    text.append(buffer, static_cast<std::size_t>(count));
    return true;
}

/// Every restoration says what it will take, with figures of the machine.
void TakeOutPlan(ProgramResult& result) {
    const auto first = result.err.find("rydecon: note: plan: ");
    if (first == std::string::npos) return;
    const auto end = result.err.find('\n', first);
    const auto count = end == std::string::npos ? end : end + 1 - first;
    result.plan = result.err.substr(first, count);
    result.err.erase(first, count);
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "rydecon-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) Throw("mkdtemp");
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> TemporaryFolder::Entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

RunningProgram::RunningProgram(const std::filesystem::path& folder, const std::vector<std::string>& arguments,
                               const ProgramSettings& settings) {
    std::vector<std::string> words = arguments;
    words.insert(words.begin(), "rydecon");
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (auto& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);

    const Channel out = MakePipe();
    const Channel err = settings.errorsToTerminal ? MakeTerminal() : MakePipe();
    const int full = settings.outputToFullDevice ? open("/dev/full", O_WRONLY | O_CLOEXEC) : -1;
    process_ = fork();
    if (process_ < 0) Throw("fork");
    if (process_ == 0) Become(folder, pointers, settings, full >= 0 ? full : out.theirs, err.theirs);
    close(out.theirs);
    close(err.theirs);
    if (full >= 0) close(full);
    out_ = out.ours;
    err_ = err.ours;
}

RunningProgram::~RunningProgram() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    close(out_);
    close(err_);
}

void RunningProgram::Signal(int kind) const {
    if (kill(process_, kind) != 0) Throw("kill");
}

ProgramResult RunningProgram::Wait() {
    ProgramResult result;
    pollfd channels[] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
    std::string* const texts[] = {&result.out, &result.err};
    while (channels[0].fd >= 0 || channels[1].fd >= 0) {
        if (poll(channels, 2, -1) < 0 && errno != EINTR) Throw("poll");
        for (int n = 0; n < 2; ++n) {
            if (channels[n].fd >= 0 && channels[n].revents != 0 && !Drain(channels[n].fd, *texts[n])) {
                channels[n].fd = -1;
            }
        }
    }
    int status = 0;
    rusage usage{};
    if (wait4(std::exchange(process_, -1), &status, 0, &usage) < 0) Throw("wait4");
    result.peakMemory = 1024 * usage.ru_maxrss;
    TakeOutPlan(result);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

bool IsOneErrorLine(const std::string& err) {
    return err.rfind("rydecon: error: ", 0) == 0 && err.find('\n') == err.size() - 1;
}

}  // namespace rydecon::test
