// SPDX-License-Identifier: MIT
#pragma once

// Settings from a file, --config: lines "option = value" in the form of INI or TOML files.

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace rydecon {

/// Whether a command also writes such files, with --print-config.
enum class SettingsPrinting { Offered, NotOffered };

/// Where the settings of a run come from, as far as that is a file.
class SettingsSources {
  public:
    /// Runs the work. A UserError (usage) about an option whose value comes from the file gets its place.
    void Run(const std::function<void()>& work) const;

    void Add(const std::string& option, const std::string& place) { places_[option] = place; }

  private:
    std::map<std::string, std::string> places_;  // by "--iterations": "'my.ini', line 3"
};

/// Adds the options to a command that has no others yet: a file must be read before the values are taken.
/// What the command line gives wins, and silences what it excludes. Lines below [restore] count for that
/// command alone. A UserError (usage) names file, line and key of what is wrong.
std::shared_ptr<const SettingsSources> AddSettingsFile(CLI::App& command, SettingsPrinting printing);

}  // namespace rydecon
