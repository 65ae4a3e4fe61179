// SPDX-License-Identifier: MIT
#include "manual/help_text.h"

#include <optional>

namespace rydecon {

namespace {

constexpr std::string_view kIndent = "  ";

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::optional<Term> ReadTerm(std::string_view line) {
    const std::string_view text = Trimmed(line);
    const auto end = text.find(' ');
    if (end == std::string_view::npos) return {};
    const std::string_view name = text.substr(0, end);
    const std::string_view rest = text.substr(end);
    if (name.ends_with(':')) return Term{std::string(name.substr(0, end - 1)), std::string(Trimmed(rest))};
    if (rest.starts_with(kIndent)) return Term{std::string(name), std::string(Trimmed(rest))};
    return {};
}

void Append(std::string& paragraph, std::string_view line) {
    if (!paragraph.empty()) paragraph += ' ';
    paragraph += line;
}

}  // namespace

std::vector<TextBlock> ReadHelpText(std::string_view text) {
    std::vector<TextBlock> blocks;
    bool open = false;  // the last block may still grow
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (Trimmed(line).empty()) {
            open = false;
            continue;
        }
        const bool indented = line.starts_with(kIndent);
        const bool behindTerms = open && !blocks.back().terms.empty();
        if (!open || (behindTerms && !indented)) blocks.emplace_back();
        open = true;
        TextBlock& block = blocks.back();
        if (auto term = indented ? ReadTerm(line) : std::nullopt) {
            block.terms.push_back(*std::move(term));
        } else {
            Append(block.terms.empty() ? block.paragraph : block.terms.back().text, Trimmed(line));
        }
    }
    return blocks;
}

std::string Sentence(std::string text) {
    if (!text.empty() && !text.ends_with('.')) text += '.';
    return text;
}

std::vector<std::string> WrapWords(std::string_view text, std::size_t columns) {
    std::vector<std::string> lines;
    while (!(text = Trimmed(text)).empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(word.size());
        if (lines.empty() || lines.back().size() + 1 + word.size() > columns) {
            lines.emplace_back(word);
        } else {
            Append(lines.back(), word);
        }
    }
    return lines;
}

}  // namespace rydecon
