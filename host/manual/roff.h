// SPDX-License-Identifier: MIT
#pragma once

// Text in roff, the language of manual pages, so that it comes out as it stands.

#include <string>
#include <string_view>
#include <vector>

#include "manual/help_text.h"

namespace rydecon {

/// Text as it stands: quotes, carets, tildes and backslashes as typed, other letters than ASCII by their number.
/// A hyphen stays one.
std::string RoffText(std::string_view text);

/// As RoffText, and hyphens are minus signs, as somebody would type them in a shell.
std::string RoffLiteral(std::string_view text);

std::string RoffBold(std::string_view literal);
std::string RoffItalic(std::string_view literal);

/// Breaks roff text into short lines, of which none is a request.
std::string RoffLines(std::string_view set);

/// Running text in such lines: names of options and negative numbers are literals, and the names bold.
std::string RoffProse(std::string_view text);

/// Blocks below a heading or a tag: paragraphs apart, terms as a tagged list.
std::string RoffBlocks(const std::vector<TextBlock>& blocks);

}  // namespace rydecon
