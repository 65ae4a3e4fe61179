// SPDX-License-Identifier: MIT
#pragma once

// This program once more, in a process of its own, so that whatever befalls it leaves the others alone.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace rydecon {

/// What a process came to.
struct ChildEnd {
    int exitCode = -1;             ///< -1 where a signal ended it
    int signal = 0;                ///< that ended it; 0: none
    std::uint64_t peakMemory = 0;  ///< bytes resident at most
    double seconds = 0.0;
    std::string out;  ///< all of standard output
    std::string err;  ///< all of standard error
};

class ChildProcess {
  public:
    /// Starts it. It ends when this process ends, and hears nothing of the terminal's Ctrl-C.
    /// words        behind the name of the program
    /// environment  "NAME=value" in place of inherited ones
    ChildProcess(const std::vector<std::string>& words, const std::vector<std::string>& environment);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Standard output, standard error, and the pipe over which it passes its turn on; -1 once their end has been read.
    int out() const { return out_; }
    int err() const { return err_; }
    int turn() const { return turn_; }

    /// Reads what is there; one that is closed or has nothing to read leaves it so.
    void ReadOut() { Read(out_, end_.out); }
    void ReadErr() { Read(err_, end_.err); }
    void ReadTurn() { Read(turn_, passed_); }
    bool Drained() const { return out_ < 0 && err_ < 0; }

    /// Whether it computes no more, and only writes.
    bool PassedTurn() const { return !passed_.empty(); }

    /// Asks it to end, as Ctrl-C would.
    void Stop() const;

    /// Waits for its end, once it is drained.
    ChildEnd Wait();

  private:
    static void Read(int& descriptor, std::string& text);

    pid_t process_ = -1;
    int out_ = -1;
    int err_ = -1;
    int turn_ = -1;
    std::string passed_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    ChildEnd end_;
};

}  // namespace rydecon
