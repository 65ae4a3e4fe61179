// SPDX-License-Identifier: MIT
#pragma once

// How the texts of --help are laid out, so that they can be set anew in another form.

#include <string>
#include <string_view>
#include <vector>

namespace rydecon {

/// A word and what it means.
struct Term {
    std::string name;
    std::string text;
};

/// A paragraph, and the terms that it introduces; either may be empty.
struct TextBlock {
    std::string paragraph;
    std::vector<Term> terms;
};

/// Reads a text: a blank line ends a paragraph, other line breaks mean nothing. A line that begins with two blanks
/// is a term, "  name: text" or "  name  text"; where it is neither, it goes on with the term above.
std::vector<TextBlock> ReadHelpText(std::string_view text);

/// Ends a text with a full stop, where it has none.
std::string Sentence(std::string text);

/// Breaks a text at its blanks into lines of at most `columns` characters; longer words stand alone.
std::vector<std::string> WrapWords(std::string_view text, std::size_t columns);

}  // namespace rydecon
