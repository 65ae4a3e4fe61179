// SPDX-License-Identifier: MIT
#include "commands/settings_file.h"

#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands/restore_line.h"
#include "commands/settings_reader.h"
#include "commands/usage_error.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

/// What no file may set.
const std::set<std::string> kNotInFiles = {"help", "config", "print-config"};

/// Option of a key; null where there is none.
CLI::Option* OptionOf(CLI::App& command, const std::string& key) {
    if (kNotInFiles.count(key) > 0) return nullptr;
    for (CLI::App* part = &command; part != nullptr; part = part->get_parent()) {
        for (const std::string& name : {"--" + key, key}) {
            CLI::Option* const option = part->get_option_no_throw(name);
            if (option != nullptr && option->get_configurable()) return option;
        }
    }
    return nullptr;
}

/// What one run takes from files.
struct FromFile {
    std::map<const CLI::Option*, std::vector<std::string>> texts;  // before they are turned into values
    SettingsSources sources;
};

class SettingsFile {
  public:
    SettingsFile(CLI::App& command, FromFile& taken, std::string file)
        : command_(command), taken_(taken), file_(std::move(file)) {
        for (const CLI::Option* option : command.get_options()) {
            if (option->count() == 0) continue;
            fixed_.insert(option);
            for (const CLI::Option* excluded : option->get_excludes()) fixed_.insert(excluded);
        }
    }

    void Apply() {
        for (const Setting& setting : ReadSettings(file_)) {
            if (setting.key.empty()) {
                RequireSection(setting);
            } else if (setting.section.empty() || setting.section == command_.get_name()) {
                Apply(setting);
            }
        }
    }

  private:
    void RequireSection(const Setting& setting) const {
        for (const CLI::App* command : command_.get_parent()->get_subcommands({})) {
            if (command->get_name() == setting.section) return;
        }
        throw LineError(file_, setting.line,
                        "there is no command '" + setting.section + "'; the commands are " +
                            ListOfCommands(*command_.get_parent()));
    }

    void Apply(const Setting& setting) {
        CLI::Option* const option = OptionOf(command_, setting.key);
        if (option == nullptr && command_.get_option_no_throw("--" + setting.key) != nullptr) {
            throw LineError(file_, setting.line,
                            "key '" + setting.key + "' cannot stand in a file; give --" + setting.key +
                                " on the command line");
        }
        if (option == nullptr) {
            throw LineError(file_, setting.line,
                            "unknown key '" + setting.key + "'" + SimilarOption(setting.key, command_));
        }
        if (!seen_.insert(option).second) {
            throw LineError(file_, setting.line,
                            "key '" + setting.key + "' stands there twice; give it once");
        }
        if (fixed_.count(option) > 0) return;
        try {
            Give(*option, setting);
        } catch (const CLI::ParseError& error) {
            throw LineError(file_, setting.line, DescribeValueError(command_, error));
        } catch (const std::invalid_argument&) {
            throw LineError(file_, setting.line,
                            "key '" + setting.key + "' cannot be '" + setting.values.front() +
                                "'; true or false is needed");
        }
    }

    void Give(CLI::Option& option, const Setting& setting) {
        if (option.get_expected_min() == 0) {
            if (setting.values.size() != 1) throw std::invalid_argument("several");
            if (CLI::detail::to_flag_value(setting.values.front()) <= 0) return;
            option.add_result("true");
        } else {
            option.add_result(setting.values);
        }
        taken_.texts[&option] = option.results();
        taken_.sources.Add("--" + option.get_single_name(), PlaceOf(file_, setting.line));
        option.run_callback();
    }

    CLI::App& command_;
    FromFile& taken_;
    std::string file_;
    std::set<const CLI::Option*> fixed_;  // by the command line
    std::set<const CLI::Option*> seen_;
};

/// The settings as such a file, images and outputs left out: those are of one run.
void PrintSettings(CLI::App& command, const FromFile& taken) {
    std::string text = "[" + command.get_name() + "]\n";
    for (CLI::Option* option : command.get_options()) {
        const std::string name = option->get_single_name();
        if (option->count() == 0 || kNotInFiles.count(name) > 0 || name == "image" || name == "output") {
            continue;
        }
        const auto given = taken.texts.find(option);
        text += name + "=" +
                CLI::detail::ini_join(given != taken.texts.end() ? given->second : option->results()) + "\n";
        try {
            option->run_callback();
        } catch (const CLI::ParseError& error) {
            throw UserError(DescribeValueError(command, error), ExitCode::Usage);
        }
    }
    std::fputs(text.c_str(), stdout);
}

}  // namespace

void SettingsSources::Run(const std::function<void()>& work) const {
    try {
        work();
    } catch (const UserError& error) {
        const std::string what = error.what();
        const auto place = places_.find(what.substr(0, what.find_first_of(" :;")));
        if (error.code() != ExitCode::Usage || place == places_.end()) throw;
        throw UserError(place->second + ": " + what, ExitCode::Usage);
    }
}

std::shared_ptr<const SettingsSources> AddSettingsFile(CLI::App& command, SettingsPrinting printing) {
    const char* const kGroup = printing == SettingsPrinting::Offered ? kFilesGroup : "Options";
    const auto taken = std::make_shared<FromFile>();
    std::shared_ptr<const SettingsSources> sources(taken, &taken->sources);
    command
        .add_option_function<std::string>(
            "--config",
            [&command, taken](const std::string& file) { SettingsFile(command, *taken, file).Apply(); },
            "Take settings from this file, lines 'option = value'; options given here win")
        ->type_name("FILE")
        ->group(kGroup);
    if (printing == SettingsPrinting::NotOffered) return sources;
    command
        .add_flag_callback(
            "--print-config",
            [&command, taken] {
                PrintSettings(command, *taken);
                throw CLI::Success();
            },
            "Print the settings given as such a file, and exit")
        ->group(kGroup);
    return sources;
}

}  // namespace rydecon
