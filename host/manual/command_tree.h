// SPDX-License-Identifier: MIT
#pragma once

// What a command line takes, as plain records: read from the tree that parses it, so that nothing can be missing.

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

#include "manual/help_text.h"

namespace rydecon {

inline constexpr int kManyWords = 1000;

/// An option, or an argument, which has a name but no dashes.
struct OptionEntry {
    std::vector<std::string> names;    ///< "-o", "--output"
    std::string value;                 ///< "OUT.tif", "X Y Z"; empty for a flag
    int words = 0;                     ///< how many words its value has at most; kManyWords for any number
    std::vector<TextBlock> text;       ///< what it means
    std::vector<std::string> choices;  ///< words that its value may be: all, or the fixed ones of them
    std::string limits;                ///< "0 to 4"; empty where there are none
    std::string preset;                ///< its value where it is not given
    bool required = false;
    bool repeats = false;               ///< may be given again
    std::vector<std::string> needs;     ///< options that must stand beside it
    std::vector<std::string> excludes;  ///< options that may not, unless they say so themselves of many

    bool takesFile() const;
    bool takesFolder() const;
};

struct OptionGroup {
    std::string name;
    std::vector<OptionEntry> options;
};

struct CommandEntry {
    std::string name;
    std::string summary;             ///< a sentence
    std::vector<TextBlock> details;  ///< its footer, without what the footer of the program says for all
    std::vector<OptionEntry> arguments;
    std::vector<OptionGroup> groups;  ///< first those with what must be given
    std::vector<CommandEntry> commands;
};

/// Describes an option of a command. A lower-case alternative of its value ("auto|XxY") is a choice, as is each term of its
/// description and each member of a set that checks it.
OptionEntry DescribeOption(const CLI::App& command, const CLI::Option& option);

/// Describes a command and those below it; hidden options (without a group) are left out.
CommandEntry DescribeCommand(const CLI::App& app);

/// The sentences that follow from the record besides its text: "Default: 10." and the like.
std::vector<std::string> RemarksOn(const OptionEntry& option);

/// Its text with the remarks: at the end of its paragraph, or below its list.
std::vector<TextBlock> FullText(const OptionEntry& option);

}  // namespace rydecon
