// SPDX-License-Identifier: MIT
#include "io/utf16.h"

#include <cstddef>

namespace rydecon {
namespace {

constexpr char32_t kFirstAbovePlane = 0x10000;
constexpr char32_t kHigh = 0xD800;  // first halves of pairs, up to kLow
constexpr char32_t kLow = 0xDC00;   // second halves, up to kEnd
constexpr char32_t kEnd = 0xE000;
constexpr char32_t kBeyond = 0x110000;

void AppendUtf8(std::string& text, char32_t c) {
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | (c >> shift & 0x3F)); };
    if (c < 0x80) {
        text += static_cast<char>(c);
        return;
    }
    if (c < 0x800) {
        text += static_cast<char>(0xC0 | c >> 6);
    } else if (c < kFirstAbovePlane) {
        text += static_cast<char>(0xE0 | c >> 12);
        tail(6);
    } else {
        text += static_cast<char>(0xF0 | c >> 18);
        tail(12);
        tail(6);
    }
    tail(0);
}

// Takes the character at the front of `text` away, or one byte that begins none.
char32_t TakeCharacter(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (first < 0x80) return first;
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4 || more > text.size()) return U'?';
    char32_t c = first & (0x3FU >> more);
    for (std::size_t k = 0; k < more; ++k) {
        const auto byte = static_cast<unsigned char>(text[k]);
        if ((byte & 0xC0U) != 0x80U) return U'?';
        c = c << 6 | (byte & 0x3FU);
    }
    constexpr char32_t kLeast[] = {0, 0x80, 0x800, kFirstAbovePlane};
    if (c < kLeast[more] || c >= kBeyond || (c >= kHigh && c < kEnd)) return U'?';
    text.remove_prefix(more);
    return c;
}

}  // namespace

std::string Utf8From(std::u16string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t c = text[i];
        if (c < kHigh || c >= kEnd) {
            AppendUtf8(out, c);
        } else if (c < kLow && i + 1 < text.size() && text[i + 1] >= kLow && text[i + 1] < kEnd) {
            AppendUtf8(out, kFirstAbovePlane + ((c - kHigh) << 10) + (text[++i] - kLow));
        } else {
            out += '?';
        }
    }
    return out;
}

std::u16string Utf16From(std::string_view text) {
    std::u16string out;
    while (!text.empty()) {
        const char32_t c = TakeCharacter(text);
        if (c < kFirstAbovePlane) {
            out += static_cast<char16_t>(c);
        } else {
            out += static_cast<char16_t>(kHigh + ((c - kFirstAbovePlane) >> 10));
            out += static_cast<char16_t>(kLow + ((c - kFirstAbovePlane) & 0x3FF));
        }
    }
    return out;
}

}  // namespace rydecon
