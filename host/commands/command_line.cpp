// SPDX-License-Identifier: MIT
#include "commands/command_line.h"

#include <memory>
#include <string>

#include "commands/compare.h"
#include "commands/info.h"
#include "commands/option_checks.h"
#include "commands/psf.h"
#include "commands/restore.h"
#include "commands/simulate.h"
#include "commands/view.h"
#include "manual/command_tree.h"
#include "manual/help_formatter.h"

namespace rydecon {

namespace {

std::string Footer() {
    std::string codes;
    for (const auto& [code, meaning] : kExitMeanings) {
        codes +=
            (codes.empty() ? "Exit codes: " : ", ") + std::to_string(static_cast<int>(code)) + " " + meaning;
    }
    return codes + ".\n" + kCommonNotes;
}

/// A script whose variable is unset gives an empty name.
void RequireFileNames(CLI::App& app) {
    for (CLI::App* command : app.get_subcommands({})) {
        for (CLI::Option* option : command->get_options()) {
            const OptionEntry entry = DescribeOption(*command, *option);
            if (entry.takesFile() || entry.takesFolder()) option->check(FileName());
        }
    }
}

}  // namespace

void SetUpCommandLine(CLI::App& app, CommandContext& context) {
    app.formatter(std::make_shared<HelpFormatter>());
    app.footer(Footer());
    app.fallthrough();
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", "rydecon " RYDECON_VERSION, "Print the version and exit");
    app.add_flag_callback(
        "-q,--quiet", [&context] { context.messages.set_quiet(true); },
        "Print errors and results only: no notes, no progress");
    app.require_subcommand(1);
    AddRestoreCommand(app, context);
    AddEstimateCommand(app, context);
    AddPsfCommand(app, context);
    AddSimulateCommand(app, context);
    AddCompareCommand(app, context);
    AddViewCommand(app, context);
    AddInfoCommand(app, context);
    RequireFileNames(app);
}

}  // namespace rydecon
