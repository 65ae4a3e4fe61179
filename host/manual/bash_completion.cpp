// SPDX-License-Identifier: MIT
#include "manual/bash_completion.h"

#include <algorithm>
#include <vector>

namespace rydecon {

namespace {

// PROGRAM stands for the name of the program, its dashes as underscores where bash wants a name.
constexpr const char* kDriver = R"(
_PROGRAM() {
    local command='' argument=0 left=0 i word
    local count kind words
    COMPREPLY=()

    # What the words before the cursor leave open: a value of an option, or the next argument.
    local open_kind='' open_words=''
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $word == '=' ]]; then
            continue
        elif ((left > 0)) && [[ $word != --* ]]; then
            ((left--))
        elif [[ $word == -?* ]]; then
            _PROGRAM_takes "$command" "$word"
            left=$count open_kind=$kind open_words=$words
        elif [[ -z $command ]]; then
            command=$word
        else
            ((argument++))
        fi
    done

    # Bash takes the equals sign of --option=value for a word.
    local current=${COMP_WORDS[COMP_CWORD]}
    [[ $current == '=' ]] && current=''
    if ((left > 0)) && [[ $current != --* ]]; then
        kind=$open_kind words=$open_words
    elif [[ $current == -* ]]; then
        kind='' words=''
        _PROGRAM_options "$command"
    elif [[ -z $command ]]; then
        kind='' words=$_PROGRAM_commands
    else
        _PROGRAM_takes "$command" "$argument"
    fi

    case $kind in
    file) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    folder) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    *) mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current") ;;
    esac
    # Outside of a completion there is nothing to set.
    [[ -n $kind ]] && compopt -o filenames 2>/dev/null
    return 0
}

complete -F _PROGRAM PROGRAM
)";

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

std::string InBash(const std::string& name) {
    return Replaced(name, "-", "_");
}

std::string Quoted(const std::string& text) {
    return "'" + Replaced(text, "'", "'\\''") + "'";
}

std::string Joined(const std::vector<std::string>& words) {
    std::string list;
    for (const std::string& word : words) list += (list.empty() ? "" : " ") + word;
    return list;
}

/// All options that may stand behind a command.
std::vector<OptionEntry> OptionsBehind(const CommandEntry& command, const CommandEntry& program) {
    std::vector<OptionEntry> options;
    for (const OptionGroup& group : command.groups)
        options.insert(options.end(), group.options.begin(), group.options.end());
    if (&command == &program) return options;
    for (const OptionGroup& group : program.groups) {
        for (const OptionEntry& option : group.options) {
            const std::string& name = option.names.back();
            if (name != "--help" && name != "--version") options.push_back(option);
        }
    }
    return options;
}

/// What a value is, as assignments; empty for a flag.
std::string Assignments(const OptionEntry& option) {
    if (option.words == 0) return {};
    std::string text = "count=" + std::to_string(option.words);
    if (option.takesFile()) return text + " kind=file";
    if (option.takesFolder()) return text + " kind=folder";
    if (!option.choices.empty()) text += " words=" + Quoted(Joined(option.choices));
    return text;
}

std::string Case(const std::vector<std::string>& patterns, const std::string& action) {
    std::string labels;
    for (const std::string& pattern : patterns) labels += (labels.empty() ? "" : " | ") + Quoted(pattern);
    return "    " + labels + ") " + action + " ;;\n";
}

std::string CommandName(const CommandEntry& command, const CommandEntry& program) {
    return &command == &program ? "" : command.name;
}

std::string OptionsFunction(const std::vector<const CommandEntry*>& all, const CommandEntry& program) {
    std::string out =
        "# _PROGRAM_options COMMAND: all its options, in words\n_PROGRAM_options() {\n    case $1 in\n";
    for (const CommandEntry* command : all) {
        std::vector<std::string> names;
        for (const OptionEntry& option : OptionsBehind(*command, program))
            names.insert(names.end(), option.names.begin(), option.names.end());
        out += Case({CommandName(*command, program)}, "words=" + Quoted(Joined(names)));
    }
    return out + "    esac\n}\n";
}

std::string TakesFunction(const std::vector<const CommandEntry*>& all, const CommandEntry& program) {
    std::string out =
        "# _PROGRAM_takes COMMAND OPTION, or the number of an argument: how many words follow, in count, and "
        "what\n"
        "# they are, in kind (file, folder) or words\n"
        "_PROGRAM_takes() {\n    count=0 kind='' words=''\n    case \"$1 $2\" in\n";
    for (const CommandEntry* command : all) {
        const std::string prefix = CommandName(*command, program) + " ";
        for (std::size_t i = 0; i < command->arguments.size(); ++i)
            out += Case({prefix + std::to_string(i)}, Assignments(command->arguments[i]));
        const bool goesOn = !command->arguments.empty() && command->arguments.back().repeats;
        if (goesOn) {
            const std::string further = Quoted(prefix) + "[0-9]*";
            out += "    " + further + ") " + Assignments(command->arguments.back()) + " ;;\n";
        }
        for (const OptionEntry& option : OptionsBehind(*command, program)) {
            std::vector<std::string> patterns;
            for (const std::string& form : option.names) patterns.push_back(prefix + form);
            if (option.words > 0) out += Case(patterns, Assignments(option));
        }
    }
    return out + "    esac\n}\n";
}

}  // namespace

std::string MakeBashCompletion(const CommandEntry& program, const std::string& version) {
    std::vector<const CommandEntry*> all = {&program};
    std::vector<std::string> names;
    for (const CommandEntry& command : program.commands) {
        all.push_back(&command);
        names.push_back(command.name);
    }
    const std::string script = "_PROGRAM_commands=" + Quoted(Joined(names)) + "\n\n" +
                               OptionsFunction(all, program) + "\n" + TakesFunction(all, program) + kDriver;
    const std::string named = Replaced(script, "_PROGRAM", "_" + InBash(program.name));
    return "# bash completion for " + version + "\n\n" + Replaced(named, "PROGRAM", program.name);
}

}  // namespace rydecon
