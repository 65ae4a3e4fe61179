// SPDX-License-Identifier: MIT
#include "batch/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "io/file_error.h"
#include "report/turn.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

constexpr int kNotStarted = 127;

/// The process itself, under whatever name and wherever it was moved meanwhile.
constexpr const char* kThisProgram = "/proc/self/exe";

UserError StartError(int errorNumber) {
    return UserError("cannot start another process: " + SystemReason(errorNumber));
}

struct Pipe {
    int ours = -1;
    int theirs = -1;

    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) throw StartError(errno);
        ours = ends[0];
        theirs = ends[1];
    }
    ~Pipe() {
        if (ours >= 0) close(ours);
        if (theirs >= 0) close(theirs);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
};

/// Pointers for exec, the last one null. The texts must outlive them.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> Environment(const std::vector<std::string>& changes) {
    std::vector<std::string> all = changes;
    const auto changed = [&changes](const std::string& setting) {
        const std::string name = setting.substr(0, setting.find('=') + 1);
        return std::any_of(changes.begin(), changes.end(),
                           [&name](const std::string& change) { return change.rfind(name, 0) == 0; });
    };
    for (char** setting = environ; *setting != nullptr; ++setting) {
        if (!changed(*setting)) all.emplace_back(*setting);
    }
    return all;
}

/// The ends of the pipes that the child writes to.
struct Ends {
    int out;
    int err;
    int turn;
};

/// In the child, between fork and exec: calls that are safe there, and nothing else.
[[noreturn]] void Become(char* const* words, char* const* environment, const Ends& ends, pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(kNotStarted);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(ends.out, STDOUT_FILENO);
    dup2(ends.err, STDERR_FILENO);
    fcntl(ends.turn, F_SETFD, 0);
    execve(kThisProgram, words, environment);
    _exit(kNotStarted);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& words,
                           const std::vector<std::string>& environment) {
    std::vector<std::string> allWords = {"rydecon"};
    allWords.insert(allWords.end(), words.begin(), words.end());
    Pipe out;
    Pipe err;
    Pipe turn;
    std::vector<std::string> settings = environment;
    settings.push_back(std::string(kTurnSetting) + "=" + std::to_string(turn.theirs));
    std::vector<std::string> allSettings = Environment(settings);
    const std::vector<char*> argv = Pointers(allWords);
    const std::vector<char*> envp = Pointers(allSettings);
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0) throw StartError(errno);
    if (process_ == 0) Become(argv.data(), envp.data(), {out.theirs, err.theirs, turn.theirs}, parent);
    setpgid(process_, process_);  // whoever of the two comes first
    out_ = std::exchange(out.ours, -1);
    err_ = std::exchange(err.ours, -1);
    turn_ = std::exchange(turn.ours, -1);
}

ChildProcess::~ChildProcess() {
    if (out_ >= 0) close(out_);
    if (err_ >= 0) close(err_);
    if (turn_ >= 0) close(turn_);
    if (process_ < 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

void ChildProcess::Read(int& descriptor, std::string& text) {
    std::array<char, 4096> buffer{};
    if (descriptor < 0) return;
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count > 0) text.append(buffer.data(), static_cast<std::size_t>(count));
    if (count > 0 || (count < 0 && errno == EINTR)) return;
    close(std::exchange(descriptor, -1));
}

void ChildProcess::Stop() const {
    if (process_ > 0) kill(process_, SIGTERM);
}

ChildEnd ChildProcess::Wait() {
    int status = 0;
    rusage usage{};
    while (wait4(process_, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    process_ = -1;
    constexpr std::uint64_t kKibibyte = 1024;
    end_.peakMemory = kKibibyte * static_cast<std::uint64_t>(usage.ru_maxrss);
    end_.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    end_.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    end_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    return std::move(end_);
}

}  // namespace rydecon
