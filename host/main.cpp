// SPDX-License-Identifier: MIT
// The program rydecon: the command line around the commands, and what its errors come to.

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "commands/command_context.h"
#include "commands/compare.h"
#include "commands/psf.h"
#include "commands/restore.h"
#include "commands/simulate.h"
#include "commands/usage_error.h"
#include "commands/view.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {
namespace {

constexpr const char* kFooter =
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 stopped by the user (Ctrl-C).\n"
    "Errors and notes go to standard error, one line each. Every command takes --quiet (-q): no notes, no\n"
    "progress. NO_COLOR in the environment is respected.";

void SetUp(CLI::App& app, CommandContext& context) {
    app.footer(kFooter);
    app.fallthrough();
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", "rydecon " RYDECON_VERSION, "Print the version and exit");
    app.add_flag_callback(
        "-q,--quiet", [&context] { context.messages.set_quiet(true); },
        "Print errors and results only: no notes, no progress");
    app.require_subcommand(1);
    AddRestoreCommand(app, context);
    AddPsfCommand(app, context);
    AddSimulateCommand(app, context);
    AddCompareCommand(app, context);
    AddViewCommand(app, context);
}

/// Results count as delivered only when standard output took them.
void FinishOutput() {
    std::cout.flush();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || !std::cout) {
        throw UserError("the result cannot be written to standard output");
    }
}

ExitCode Run(int argc, char** argv) {
    CommandContext context;
    CLI::App app("Restores fluorescence microscopy stacks, and makes, compares and shows them.", "rydecon");
    SetUp(app, context);
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
