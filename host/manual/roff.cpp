// SPDX-License-Identifier: MIT
#include "manual/roff.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace rydecon {

namespace {

constexpr std::size_t kColumns = 78;

/// Reads the letter of UTF-8 that begins at text[at] and moves behind it; a stray byte stands for itself.
unsigned NextLetter(std::string_view text, std::size_t& at) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(at++);
    const unsigned more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
    if (more == 0 || at + more > text.size()) return first;
    unsigned letter = first & (0x3FU >> more);
    for (unsigned i = 0; i < more; ++i) letter = (letter << 6U) | (byte(at++) & 0x3FU);
    return letter;
}

std::string Escaped(unsigned letter) {
    switch (letter) {
        case '\\':
            return "\\(rs";
        case '\'':
            return "\\(aq";
        case '"':
            return "\\(dq";
        case '^':
            return "\\(ha";
        case '~':
            return "\\(ti";
        case '`':
            return "\\(ga";
        default:
            break;
    }
    if (letter < 0x80) return {static_cast<char>(letter)};
    char name[16];
    std::snprintf(name, sizeof name, "\\[u%04X]", letter);
    return name;
}

bool IsNameLetter(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '-' || letter == '_';
}

/// Sets a word of running text; options in it stand where a dash has no letter before it.
std::string RoffWord(std::string_view word) {
    std::string out;
    std::size_t at = 0;
    while (at < word.size()) {
        const bool begins = at == 0 || !IsNameLetter(word[at - 1]);
        if (!begins || word[at] != '-' || at + 1 == word.size()) {
            const auto end = word.find('-', at + 1);
            out += RoffText(word.substr(at, end - at));
            at = std::min(end, word.size());
            continue;
        }
        std::size_t end = at;
        while (end < word.size() && IsNameLetter(word[end])) ++end;
        const std::string_view literal = word.substr(at, end - at);
        const bool isNumber = std::isdigit(static_cast<unsigned char>(word[at + 1])) != 0;
        out += isNumber ? RoffLiteral(literal) : RoffBold(literal);
        at = end;
    }
    return out;
}

}  // namespace

std::string RoffText(std::string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) out += Escaped(NextLetter(text, at));
    return out;
}

std::string RoffLiteral(std::string_view text) {
    std::string out;
    for (const char letter : RoffText(text)) {
        if (letter == '-') out += '\\';
        out += letter;
    }
    return out;
}

std::string RoffBold(std::string_view literal) {
    return "\\fB" + RoffLiteral(literal) + "\\fP";
}

std::string RoffItalic(std::string_view literal) {
    return "\\fI" + RoffLiteral(literal) + "\\fP";
}

std::string RoffLines(std::string_view set) {
    std::string out;
    for (const std::string& line : WrapWords(set, kColumns)) {
        if (line.front() == '.') out += "\\&";
        out += line;
        out += '\n';
    }
    return out;
}

std::string RoffProse(std::string_view text) {
    std::string set;
    for (const std::string& word : WrapWords(text, 0)) {
        if (!set.empty()) set += ' ';
        set += RoffWord(word);
    }
    return RoffLines(set);
}

std::string RoffBlocks(const std::vector<TextBlock>& blocks) {
    std::string out;
    for (const TextBlock& block : blocks) {
        if (&block != &blocks.front()) out += ".PP\n";
        out += RoffProse(block.paragraph);
        if (block.terms.empty()) continue;
        out += ".RS\n";
        for (const Term& term : block.terms)
            out += ".TP\n" + RoffBold(term.name) + "\n" + RoffProse(term.text);
        out += ".RE\n";
    }
    return out;
}

}  // namespace rydecon
