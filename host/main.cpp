// SPDX-License-Identifier: MIT
// The program rydecon: runs the command line and tells what its errors come to.

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <new>

#include "commands/command_line.h"
#include "commands/usage_error.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {
namespace {

/// Results count as delivered only when standard output took them.
void FinishOutput() {
    std::cout.flush();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || !std::cout) {
        throw UserError("the result cannot be written to standard output");
    }
}

ExitCode Run(int argc, char** argv) {
    CommandContext context;
    CLI::App app(kProgramSummary, kProgramName);
    SetUpCommandLine(app, context);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {  // --help or --version
        app.exit(success);
    } catch (const CLI::ParseError& error) {
        PrintError(DescribeUsageError(app, error));
        return ExitCode::Usage;
    }
    FinishOutput();
    return ExitCode::Done;
}

ExitCode RunGuarded(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const UserError& error) {
        PrintError(error.what());
        return error.code();
    } catch (const std::bad_alloc&) {
        PrintError("not enough memory; crop the stack or free memory");
    } catch (const std::exception& error) {
        PrintError(error.what());
    }
    return ExitCode::Failed;
}

}  // namespace
}  // namespace rydecon

int main(int argc, char** argv) {
    // Beyond a file-size limit the write itself tells.
    std::signal(SIGXFSZ, SIG_IGN);
    rydecon::CatchStopSignals();
    return static_cast<int>(rydecon::RunGuarded(argc, argv));
}
