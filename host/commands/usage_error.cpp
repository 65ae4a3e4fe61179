// SPDX-License-Identifier: MIT

#include "commands/usage_error.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace rydecon {
namespace {

constexpr std::size_t kSimilarNames = 2;  // letters that a mistyped name may differ in

/// Insertions, deletions and replacements of one letter, and swaps of two neighbours, that turn a into b
/// (optimal string alignment).
std::size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) steps[i][0] = i;
    for (std::size_t j = 0; j <= b.size(); ++j) steps[0][j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            steps[i][j] = std::min({replaced, steps[i - 1][j] + 1, steps[i][j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
            }
        }
    }
    return steps[a.size()][b.size()];
}

/// The name most like `given`; empty if none is similar.
std::string MostSimilar(const std::string& given, const std::vector<std::string>& names) {
    std::string best;
    std::size_t least = kSimilarNames + 1;
    for (const auto& name : names) {
        const std::size_t distance = EditDistance(given, name);
        if (distance >= least) continue;
        least = distance;
        best = name;
    }
    return best;
}

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

std::string DidYouMean(const std::string& given, const std::vector<std::string>& names) {
    const std::string similar = MostSimilar(given, names);
    return similar.empty() ? std::string() : " (did you mean '" + similar + "'?)";
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

/// "option --size X Y Z", "argument reference (B.tif)"
std::string Named(const CLI::Option& option) {
    const std::string name = option.get_name();
    if (option.get_positional()) return "argument " + name + " (" + option.get_type_name() + ")";
    return "option " + name + " " + option.get_type_name();
}

/// CLI11's text where it is good enough; its terse ones in plain words.
std::string Reworded(const CLI::ParseError& error, const std::vector<const CLI::App*>& parts) {
    std::string text = error.what();
    const CLI::Option* const option = OptionIn(text, parts);
    if (option == nullptr) return text;
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) return Named(*option) + " is missing";
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        return "wrong number of values, needed is: " + Named(*option);
    }
    if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
        const auto given = text.find(" = ");
        const std::string what = given == std::string::npos ? "this" : "'" + text.substr(given + 3) + "'";
        return Named(*option) + " cannot be " + what;
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
        return "unknown option '" + name + "'" + DidYouMean(name, OptionNames(parts)) + seeHelp;
    }
    if (chosen.empty()) {
        const auto commands = CommandNames(app);
        const std::string list = "; the commands are " + Listed(commands);
        if (unexpected.empty()) return "a command is missing" + list + seeHelp;
        const std::string& name = unexpected.front();
        return "unknown command '" + name + "'" + DidYouMean(name, commands) + list + seeHelp;
    }
    const bool conversion = dynamic_cast<const CLI::ConversionError*>(&error) != nullptr;
    if (!unexpected.empty() && !conversion)
        return "unexpected argument '" + unexpected.front() + "'" + seeHelp;
    return Reworded(error, parts) + seeHelp;
}

std::string DescribeValueError(const CLI::App& command, const CLI::ParseError& error) {
    return Reworded(error, {&command});
}

std::string SimilarOption(const std::string& name, const CLI::App& command) {
    std::vector<std::string> names = OptionNames({&command});
    for (std::string& option : names) option.erase(0, 2);
    return DidYouMean(name, names);
}

}  // namespace rydecon
