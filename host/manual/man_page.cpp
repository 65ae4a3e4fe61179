// SPDX-License-Identifier: MIT
#include "manual/man_page.h"

#include <algorithm>
#include <cctype>

#include "manual/roff.h"

namespace rydecon {

namespace {

constexpr const char* kUsualGroup = "Options";

std::string UpperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return text;
}

std::string Heading(const std::string& title) {
    return ".SH " + title + "\n";
}

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

/// "Restores a stack." as it stands behind the name of the page.
std::string NameLine(std::string summary) {
    summary.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(summary.front())));
    if (summary.ends_with('.')) summary.pop_back();
    return summary;
}

/// "-o, --output OUT.tif"
std::string Tag(const OptionEntry& option) {
    std::string tag;
    for (const std::string& name : option.names) tag += (tag.empty() ? "" : ", ") + RoffBold(name);
    if (!option.value.empty()) tag += " " + RoffItalic(option.value);
    return tag;
}

std::string Tagged(const std::string& tag, const OptionEntry& option) {
    const std::vector<TextBlock> text = FullText(option);
    std::string out = ".TP\n" + tag + "\n";
    for (const TextBlock& block : text) {
        if (&block != &text.front() && !block.paragraph.empty()) out += ".IP\n";
        out += RoffBlocks({block});
    }
    return out;
}

std::string Synopsis(const std::string& call, const CommandEntry& command) {
    std::string out = Heading("SYNOPSIS") + RoffBold(call) + "\n";
    for (const OptionEntry& argument : command.arguments) {
        const std::string value = RoffItalic(argument.value) + (argument.repeats ? "..." : "");
        out += (argument.required ? value : "[" + value + "]") + "\n";
    }
    for (const OptionGroup& group : command.groups) {
        for (const OptionEntry& option : group.options) {
            if (!option.required) continue;
            out += RoffBold(option.names.back()) + " " + RoffItalic(option.value) + "\n";
        }
    }
    out += "[" + RoffItalic("OPTION") + "]...\n";
    if (!command.commands.empty()) out += RoffItalic("COMMAND") + " [" + RoffItalic("ARGUMENT") + "]...\n";
    return out;
}

std::string Description(const CommandEntry& command) {
    std::vector<TextBlock> blocks = command.details;
    blocks.insert(blocks.begin(), {command.summary, {}});
    return Heading("DESCRIPTION") + RoffBlocks(blocks);
}

std::string Commands(const CommandEntry& program) {
    if (program.commands.empty()) return {};
    std::string out = Heading("COMMANDS");
    for (const CommandEntry& command : program.commands) {
        out += ".TP\n" + RoffBold(command.name) + "\n" + RoffProse(NameLine(command.summary) + "; see") +
               RoffBold(program.name + "-" + command.name) + "(1).\n";
    }
    return out;
}

std::string Arguments(const CommandEntry& command) {
    if (command.arguments.empty()) return {};
    std::string out = Heading("ARGUMENTS");
    for (const OptionEntry& argument : command.arguments) out += Tagged(RoffItalic(argument.value), argument);
    return out;
}

std::string Options(const CommandEntry& command) {
    std::string out = Heading("OPTIONS");
    for (const OptionGroup& group : command.groups) {
        if (group.name != kUsualGroup) out += ".SS " + Quoted(RoffText(group.name)) + "\n";
        for (const OptionEntry& option : group.options) out += Tagged(Tag(option), option);
    }
    return out;
}

std::string ExitStatus(const ManualFacts& facts) {
    std::string out = Heading(Quoted("EXIT STATUS"));
    for (const Term& code : facts.exitCodes)
        out += ".TP\n" + RoffBold(code.name) + "\n" + RoffProse(code.text);
    return out + Heading("DIAGNOSTICS") + RoffBlocks(ReadHelpText(facts.diagnostics));
}

std::string SeeAlso(const std::vector<std::string>& names, const std::string& own) {
    std::string out;
    for (const std::string& name : names) {
        if (name != own) out += (out.empty() ? "" : ",\n") + RoffBold(name) + "(1)";
    }
    return Heading(Quoted("SEE ALSO")) + out + "\n";
}

}  // namespace

std::vector<ManPage> MakeManPages(const CommandEntry& program, const ManualFacts& facts) {
    std::vector<std::string> names = {program.name};
    for (const CommandEntry& command : program.commands) names.push_back(program.name + "-" + command.name);

    std::vector<ManPage> pages;
    const auto add = [&](const std::string& name, const std::string& call, const CommandEntry& command) {
        const std::string title = ".TH " + RoffLiteral(UpperCase(name)) + " 1 " + facts.date + " " +
                                  Quoted(RoffLiteral(facts.version)) + " " + Quoted("User Commands") + "\n";
        const std::string line = RoffLiteral(name) + " \\- " + RoffText(NameLine(command.summary));
        pages.push_back({name, title + Heading("NAME") + RoffLines(line) + Synopsis(call, command) +
                                   Description(command) + Commands(command) + Arguments(command) +
                                   Options(command) + ExitStatus(facts) + SeeAlso(names, name)});
    };
    add(names.front(), program.name, program);
    for (std::size_t i = 0; i < program.commands.size(); ++i) {
        const CommandEntry& command = program.commands[i];
        add(names[i + 1], program.name + " " + command.name, command);
    }
    return pages;
}

}  // namespace rydecon
