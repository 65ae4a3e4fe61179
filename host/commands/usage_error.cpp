// SPDX-License-Identifier: MIT

#include "commands/usage_error.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "report/similar_name.h"

namespace rydecon {
namespace {

std::vector<std::string> CommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    return names;
}

std::vector<std::string> OptionNames(const std::vector<const CLI::App*>& parts) {
    std::vector<std::string> names;
    for (const CLI::App* part : parts) {
        for (const CLI::Option* option : part->get_options()) {
            for (const auto& name : option->get_lnames()) names.push_back("--" + name);
        }
    }
    return names;
}

std::string Listed(const std::vector<std::string>& names) {
    std::string list;
    for (const auto& name : names) list += (list.empty() ? "" : ", ") + name;
    return list;
}

/// The option or argument of which CLI11's text speaks; null if it names none.
const CLI::Option* OptionIn(const std::string& text, const std::vector<const CLI::App*>& parts) {
    const CLI::Option* found = nullptr;
    for (const CLI::App* part : parts) {
        for (const CLI::Option* option : part->get_options()) {
            const std::string name = option->get_name();
            const auto at = text.find(name);
            if (at == std::string::npos) continue;
            const auto end = at + name.size();
            const bool whole =
                (at == 0 || text[at - 1] == ' ') &&
                (end == text.size() || std::string_view(": ").find(text[end]) != std::string::npos);
            if (whole && found == nullptr) found = option;
        }
    }
    return found;
}

/// The type of the values, without what CLI11 appends of their checks.
std::string ValuesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    return type.substr(0, type.find(':'));
}

/// "option --size X Y Z", "argument reference (B.tif)"
std::string Named(const CLI::Option& option) {
    const std::string name = option.get_name();
    if (option.get_positional()) return "argument " + name + " (" + ValuesOf(option) + ")";
    return "option " + name + " " + ValuesOf(option);
}

std::string DescribeMismatch(const CLI::Option& option) {
    const auto given = static_cast<int>(option.results().size());
    const int most = option.get_items_expected_max();
    const int needed = option.get_type_size();
    if (most == 0) return option.get_name() + " takes no value; leave it out";
    if (given > most) return option.get_name() + " is given more than once; give it once";
    return option.get_name() + " needs " + (needed == 1 ? "a value" : std::to_string(needed) + " values") +
           ": " + option.get_name() + " " + ValuesOf(option);
}

/// Texts of CLI11 in plain words. Those of checks are the program's own, and follow the name.
std::string Reworded(const CLI::ParseError& error, const std::vector<const CLI::App*>& parts) {
    std::string text = error.what();
    constexpr std::string_view kExcludes = " excludes ";
    if (const auto at = text.find(kExcludes); dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
        return text.substr(0, at) + " and " + text.substr(at + kExcludes.size()) +
               " exclude one another; give one of them";
    }
    const CLI::Option* const option = OptionIn(text, parts);
    if (option == nullptr) return text;
    const std::string behindName = text.substr(std::min(option->get_name().size(), text.size()));
    if (dynamic_cast<const CLI::ValidationError*>(&error) != nullptr && behindName.starts_with(": ")) {
        return (option->get_positional() ? Named(*option) : option->get_name()) + behindName.substr(1);
    }
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) return Named(*option) + " is missing";
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) return DescribeMismatch(*option);
    if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
        const auto given = text.find(" = ");
        const std::string what = given == std::string::npos ? "this" : "'" + text.substr(given + 3) + "'";
        const bool flag = option->get_items_expected_max() == 0;
        return option->get_name() + " cannot be " + what +
               (flag ? "; it takes no value" : "; needed is " + ValuesOf(*option));
    }
    return text;
}

bool LooksLikeOption(const std::string& argument) {
    return argument.size() > 1 && argument.front() == '-' && argument != "--";
}

}  // namespace

std::string DescribeUsageError(const CLI::App& app, const CLI::ParseError& error) {
    const auto chosen = app.get_subcommands();
    std::vector<const CLI::App*> parts(chosen.begin(), chosen.end());
    parts.push_back(&app);
    const std::string command = chosen.empty() ? "" : " " + chosen.front()->get_name();
    const std::string seeHelp = "; see 'rydecon" + command + " --help'";

    // A mistyped option goes before what CLI11 found, which may be no more than its consequence.
    const auto unexpected = app.remaining(true);
    const auto unknown = std::find_if(unexpected.begin(), unexpected.end(), LooksLikeOption);
    if (unknown != unexpected.end()) {
        const std::string name = unknown->substr(0, unknown->find('='));
        std::error_code ignored;
        const bool file = std::filesystem::exists(*unknown, ignored);
        return "unknown option '" + name + "'" + DidYouMean(name, OptionNames(parts)) +
               (file ? "; if the file is meant, write './" + *unknown + "'" : "") + seeHelp;
    }
    if (chosen.empty()) {
        const auto commands = CommandNames(app);
        const std::string list = "; the commands are " + Listed(commands);
        if (unexpected.empty()) return "a command is missing" + list + seeHelp;
        const std::string& name = unexpected.front();
        return "unknown command '" + name + "'" + DidYouMean(name, commands) + list + seeHelp;
    }
    const bool value = dynamic_cast<const CLI::ConversionError*>(&error) != nullptr ||
                       dynamic_cast<const CLI::ValidationError*>(&error) != nullptr;
    if (!unexpected.empty() && !value) return "unexpected argument '" + unexpected.front() + "'" + seeHelp;
    return Reworded(error, parts) + seeHelp;
}

std::string DescribeValueError(const CLI::App& command, const CLI::ParseError& error) {
    return Reworded(error, {&command});
}

std::string ListOfCommands(const CLI::App& app) {
    return Listed(CommandNames(app));
}

std::string SimilarOption(const std::string& name, const CLI::App& command) {
    std::vector<std::string> names = OptionNames({&command});
    for (std::string& option : names) option.erase(0, 2);
    return DidYouMean(name, names);
}

}  // namespace rydecon
