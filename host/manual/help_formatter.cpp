// SPDX-License-Identifier: MIT
#include "manual/help_formatter.h"

namespace rydecon {

namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kTextColumn = 26;  // where the texts beside the options begin
constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;  // between an option and its text

std::string Blanks(std::size_t count) {
    return std::string(count, ' ');
}

/// A text from a column on, its lines but the first `hang` further to the right. The first stands beside `tag`, or
/// below where the tag is long.
std::string Lines(const std::string& tag, std::string_view text, std::size_t column, std::size_t hang = 0) {
    const std::vector<std::string> lines = WrapWords(text, kColumns - column - hang);
    if (lines.empty()) return tag.empty() ? tag : tag + "\n";
    const bool beside = tag.empty() || tag.size() + kGap <= column;
    std::string out = beside ? tag + Blanks(column - tag.size()) : tag + "\n" + Blanks(column);
    for (const std::string& line : lines) {
        if (&line != &lines.front()) out += Blanks(column + hang);
        out += line;
        out += '\n';
    }
    return out;
}

std::string TermLines(const Term& term, std::size_t column) {
    return Lines("", term.name + ": " + term.text, column + kIndent, kIndent);
}

std::string Blocks(const std::vector<TextBlock>& blocks, std::size_t column) {
    std::string out;
    for (const TextBlock& block : blocks) {
        if (!out.empty() && column == 0) out += '\n';
        out += Lines("", block.paragraph, column);
        for (const Term& term : block.terms) out += TermLines(term, column);
    }
    return out;
}

/// A name with its text beside it, or below where the name is long.
std::string Beside(const std::string& tag, const std::vector<TextBlock>& text) {
    if (text.empty()) return Blanks(kIndent) + tag + "\n";
    std::string out = Lines(Blanks(kIndent) + tag, text.front().paragraph, kTextColumn);
    for (const Term& term : text.front().terms) out += TermLines(term, kTextColumn);
    return out + Blocks({text.begin() + 1, text.end()}, kTextColumn);
}

/// "-o, --output OUT.tif"; of an argument "IN.tif..."
std::string Tag(const OptionEntry& option) {
    const bool named = option.names.front().starts_with('-');
    if (!named) return option.value + (option.repeats ? "..." : "");
    std::string tag;
    for (const std::string& name : option.names) {
        if (!tag.empty()) tag += ", ";
        tag += name;
    }
    if (!option.value.empty()) tag += " " + option.value;
    return tag;
}

std::string Usage(const CommandEntry& command, const std::string& call) {
    std::string line = call;
    for (const OptionEntry& argument : command.arguments) {
        const std::string value = Tag(argument);
        line += argument.required ? " " + value : " [" + value + "]";
    }
    for (const OptionGroup& group : command.groups) {
        for (const OptionEntry& option : group.options) {
            if (option.required) line += " " + option.names.front() + " " + option.value;
        }
    }
    line += " [OPTION]...";
    if (!command.commands.empty()) line += " COMMAND [ARGUMENT]...";
    return "Usage: " + line + "\n";
}

}  // namespace

std::string MakeHelp(const CommandEntry& command, const std::string& call,
                     const std::vector<TextBlock>& closing) {
    std::string out = Lines("", command.summary, 0) + "\n" + Usage(command, call);
    if (!command.commands.empty()) out += "\nCommands:\n";
    for (const CommandEntry& below : command.commands) out += Beside(below.name, {{below.summary, {}}});
    if (!command.commands.empty())
        out += Lines("", "'" + call + " COMMAND --help' explains a command.", kIndent);
    if (!command.arguments.empty()) out += "\nArguments:\n";
    for (const OptionEntry& argument : command.arguments) out += Beside(Tag(argument), FullText(argument));
    for (const OptionGroup& group : command.groups) {
        out += "\n" + group.name + ":\n";
        for (const OptionEntry& option : group.options) out += Beside(Tag(option), FullText(option));
    }
    if (!command.details.empty()) out += "\n" + Blocks(command.details, 0);
    if (!closing.empty()) out += "\n" + Blocks(closing, 0);
    return out;
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode) const {
    const CLI::App* root = app;
    while (root->get_parent() != nullptr) root = root->get_parent();
    return MakeHelp(DescribeCommand(*app), name, ReadHelpText(root->get_footer()));
}

}  // namespace rydecon
