// SPDX-License-Identifier: MIT
#pragma once

// Runs the program in a folder of its own and keeps what it says.

#include <filesystem>
#include <string>
#include <vector>

namespace rydecon::test {

/// Whether the program holds sanitizers. They take memory of their own and keep what was freed, so that what it
/// takes at most says nothing, and a limit of its addresses leaves no room for theirs.
#if defined(RYDECON_INSTRUMENTED)
inline constexpr bool kInstrumented = true;
#else
inline constexpr bool kInstrumented = false;
#endif
inline constexpr const char* kNotMeasured = "the memory of a program with sanitizers is mostly theirs";

/// A folder under the system's temporary one, empty at first, gone at the end.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

    /// Names of what is in it, sorted, hidden ones included.
    std::vector<std::string> Entries() const;

  private:
    std::filesystem::path path_;
};

struct ProgramResult {
    int exitCode = -1;    // 128 + n after signal n
    long peakMemory = 0;  // bytes resident at most
    std::string out;
    std::string err;
    std::string plan;  // the line of standard error that tells what a restoration will take, taken out of err
};

struct ProgramSettings {
    std::vector<std::string> environment;  // "NAME=value", in place of inherited ones
    bool errorsToTerminal = false;         // standard error is a terminal of 80 columns
    bool outputToFullDevice = false;       // standard output refuses every byte
    long fileSizeLimit = 0;                // bytes; 0: none
    long addressLimit = 0;                 // bytes, as ulimit -v sets them; 0: none
};

/// A program that is running.
class RunningProgram {
  public:
    RunningProgram(const std::filesystem::path& folder, const std::vector<std::string>& arguments,
                   const ProgramSettings& settings = {});
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    void Signal(int kind) const;
    int process() const { return process_; }
    ProgramResult Wait();

  private:
    int process_ = -1;
    int out_ = -1;
    int err_ = -1;
};

inline ProgramResult RunProgram(const std::filesystem::path& folder,
                                const std::vector<std::string>& arguments,
                                const ProgramSettings& settings = {}) {
    return RunningProgram(folder, arguments, settings).Wait();
}

/// True for exactly one line that begins "rydecon: error: ".
bool IsOneErrorLine(const std::string& err);

}  // namespace rydecon::test
