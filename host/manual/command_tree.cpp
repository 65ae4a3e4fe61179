// SPDX-License-Identifier: MIT
#include "manual/command_tree.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>

namespace rydecon {

namespace {

std::vector<std::string> Split(std::string_view text, char at) {
    std::vector<std::string> parts;
    while (true) {
        const auto end = text.find(at);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::string Joined(const std::vector<std::string>& parts) {
    std::string list;
    for (const std::string& part : parts) list += (list.empty() ? "" : ", ") + part;
    return list;
}

void AddChoice(OptionEntry& entry, const std::string& choice) {
    const auto& known = entry.choices;
    if (std::find(known.begin(), known.end(), choice) == known.end()) entry.choices.push_back(choice);
}

/// Upper-case letters mark a placeholder.
bool IsLiteral(const std::string& word) {
    return std::none_of(word.begin(), word.end(), [](unsigned char letter) { return std::isupper(letter); });
}

/// Reads how CLI11 describes a check: "{a,b}", "value in {a->0,b->1} OR {0,1}", "INT in [0 - 4]".
void ReadCheck(OptionEntry& entry, const std::string& check) {
    constexpr std::string_view kRange = " in [";
    const auto set = check.find('{');
    const auto range = check.find(kRange);
    if (set != std::string::npos) {
        const std::string members = check.substr(set + 1, check.find('}', set) - set - 1);
        for (const std::string& member : Split(members, ','))
            AddChoice(entry, member.substr(0, member.find("->")));
    } else if (range != std::string::npos) {
        const auto begin = range + kRange.size();
        const std::string ends = check.substr(begin, check.find(']', begin) - begin);
        const auto gap = ends.find(" - ");
        entry.limits = ends.substr(0, gap) + " to " + ends.substr(gap + 3);
    }
}

constexpr std::string_view kAndMore = "...";  // is said of what repeats anyway

void ReadValue(OptionEntry& entry, const CLI::Option& option) {
    const int most = option.get_items_expected_max();
    if (most == 0) return;
    entry.repeats = most >= kManyWords;
    const bool many = entry.repeats && (option.get_positional() || option.get_allow_extra_args());
    entry.words = many ? kManyWords : entry.repeats ? option.get_type_size() : most;
    const std::vector<std::string> parts = Split(option.get_type_name(), ':');
    entry.value = option.get_option_text().empty() ? parts.front() : option.get_option_text();
    if (entry.value.ends_with(kAndMore)) entry.value.erase(entry.value.size() - kAndMore.size());
    entry.preset = option.get_default_str();
    const std::vector<std::string> alternatives = Split(entry.value, '|');
    for (const std::string& alternative : alternatives) {
        if (alternatives.size() > 1 && IsLiteral(alternative)) AddChoice(entry, alternative);
    }
    for (const TextBlock& block : entry.text) {
        for (const Term& term : block.terms) AddChoice(entry, term.name);
    }
    // A text in place of the type says what the checks say.
    if (!option.get_option_text().empty()) return;
    for (std::size_t i = 1; i < parts.size(); ++i) ReadCheck(entry, parts[i]);
}

/// The names of some options of a command, in its own order.
std::vector<std::string> NamesOf(const CLI::App& command, const std::set<CLI::Option*>& some) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options({})) {
        const bool among =
            std::any_of(some.begin(), some.end(), [option](const CLI::Option* one) { return one == option; });
        if (among) names.push_back(option->get_name());
    }
    return names;
}

/// What an option excludes, without those that exclude more than it does: they say it for all.
std::set<CLI::Option*> OwnExcludes(const CLI::Option& option) {
    std::set<CLI::Option*> own;
    const std::set<CLI::Option*> all = option.get_excludes();
    for (CLI::Option* other : all) {
        if (other->get_excludes().size() <= all.size()) own.insert(other);
    }
    return own;
}

/// What must be given is read first, and a group of nothing but --help last.
void SortGroups(std::vector<OptionGroup>& groups) {
    const auto rank = [](const OptionGroup& group) {
        const auto& options = group.options;
        const bool required = std::any_of(options.begin(), options.end(),
                                          [](const OptionEntry& option) { return option.required; });
        const bool helpOnly = options.size() == 1 && options.front().names.back() == "--help";
        return required ? 0 : helpOnly ? 2 : 1;
    };
    std::stable_sort(groups.begin(), groups.end(),
                     [rank](const OptionGroup& a, const OptionGroup& b) { return rank(a) < rank(b); });
}

std::vector<TextBlock> Details(const CLI::App& app) {
    std::string footer = app.get_footer();
    const CLI::App* const parent = app.get_parent();
    const std::string common = parent == nullptr ? footer : parent->get_footer();
    if (footer.ends_with(common)) footer.erase(footer.size() - common.size());
    return ReadHelpText(footer);
}

}  // namespace

bool OptionEntry::takesFile() const {
    const auto dot = value.find('.');
    const bool hasEnding = dot != std::string::npos && dot + 1 < value.size() &&
                           std::isalpha(static_cast<unsigned char>(value[dot + 1])) != 0;
    return hasEnding || value == "FILE";
}

bool OptionEntry::takesFolder() const {
    return value == "DIR";
}

OptionEntry DescribeOption(const CLI::App& command, const CLI::Option& option) {
    OptionEntry entry;
    if (option.get_positional()) {
        entry.names.push_back(option.get_name());
    } else {
        for (const std::string& name : option.get_snames()) entry.names.push_back("-" + name);
        for (const std::string& name : option.get_lnames()) entry.names.push_back("--" + name);
    }
    entry.text = ReadHelpText(option.get_description());
    entry.required = option.get_required();
    entry.needs = NamesOf(command, option.get_needs());
    entry.excludes = NamesOf(command, OwnExcludes(option));
    ReadValue(entry, option);
    return entry;
}

CommandEntry DescribeCommand(const CLI::App& app) {
    CommandEntry entry;
    entry.name = app.get_name();
    entry.summary = Sentence(app.get_description());
    entry.details = Details(app);
    for (const std::string& name : app.get_groups()) {
        if (name.empty()) continue;
        OptionGroup group{name, {}};
        for (const CLI::Option* option : app.get_options({})) {
            if (option->get_group() != name) continue;
            auto& list = option->get_positional() ? entry.arguments : group.options;
            list.push_back(DescribeOption(app, *option));
        }
        if (!group.options.empty()) entry.groups.push_back(std::move(group));
    }
    SortGroups(entry.groups);
    for (const CLI::App* command : app.get_subcommands({}))
        entry.commands.push_back(DescribeCommand(*command));
    return entry;
}

std::vector<std::string> RemarksOn(const OptionEntry& option) {
    std::vector<std::string> remarks;
    if (option.required) remarks.emplace_back("Required.");
    const bool named = option.names.front().starts_with('-');
    if (option.repeats && named) remarks.emplace_back("May be given again.");
    // Elsewhere they stand in the text or in the value.
    const bool unsaid = option.value.find('|') == std::string::npos &&
                        std::all_of(option.text.begin(), option.text.end(),
                                    [](const TextBlock& block) { return block.terms.empty(); });
    if (unsaid && !option.choices.empty()) remarks.push_back("One of " + Joined(option.choices) + ".");
    if (!option.limits.empty()) remarks.push_back("From " + option.limits + ".");
    if (!option.preset.empty()) remarks.push_back("Default: " + option.preset + ".");
    if (!option.needs.empty()) remarks.push_back("Only with " + Joined(option.needs) + ".");
    if (!option.excludes.empty()) remarks.push_back("Not with " + Joined(option.excludes) + ".");
    return remarks;
}

std::vector<TextBlock> FullText(const OptionEntry& option) {
    std::vector<TextBlock> text = option.text;
    if (text.empty() || !text.back().terms.empty()) text.emplace_back();
    std::string& end = text.back().paragraph;
    end = Sentence(end);
    for (const std::string& remark : RemarksOn(option)) {
        if (!end.empty()) end += ' ';
        end += remark;
    }
    if (end.empty()) text.pop_back();
    return text;
}

}  // namespace rydecon
