// SPDX-License-Identifier: MIT
#include "path_text.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace ry_platform::detail {
namespace {

constexpr std::uint32_t kEscapedByte = 0xDC00;  // U+DC00 + byte, for bytes of 0x80 and above
constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

bool IsSurrogate(std::uint32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}

struct Sequence {
    std::uint32_t code_point;
    std::size_t bytes;  // 0 where the bytes are not well-formed
};

// The sequence at the front of a text that is not empty; shortest forms alone are well-formed.
Sequence FirstSequence(std::string_view text) {
    const auto byte = [&](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]));
    };
    const std::uint32_t lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC0 || lead > 0xF7 || text.size() < length) return {0, 0};
    std::uint32_t c = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return {0, 0};
        c = (c << 6) | (byte(i) & 0x3F);
    }
    constexpr std::array<std::uint32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};  // by length
    if (c < kLeast[length] || c > kLastCodePoint || IsSurrogate(c)) return {0, 0};
    return {c, length};
}

void AppendUtf8(std::string& text, std::uint32_t c) {
    const auto append = [&](std::uint32_t byte) {
        text += static_cast<char>(static_cast<unsigned char>(byte));
    };
    if (c < 0x80) return append(c);
    if (c < 0x800) {
        append(0xC0 | (c >> 6));
    } else {
        if (c < 0x10000) {
            append(0xE0 | (c >> 12));
        } else {
            append(0xF0 | (c >> 18));
            append(0x80 | ((c >> 12) & 0x3F));
        }
        append(0x80 | ((c >> 6) & 0x3F));
    }
    append(0x80 | (c & 0x3F));
}

}  // namespace

std::wstring WidePath(std::string_view bytes) {
    std::wstring path;
    while (!bytes.empty()) {
        Sequence first = FirstSequence(bytes);
        if (first.bytes == 0) first = {kEscapedByte + static_cast<unsigned char>(bytes.front()), 1};
        path += static_cast<wchar_t>(first.code_point);
        bytes.remove_prefix(first.bytes);
    }
    return path;
}

std::string BytePath(std::wstring_view path) {
    std::string bytes;
    for (const wchar_t character : path) {
        const auto c = static_cast<std::uint32_t>(std::char_traits<wchar_t>::to_int_type(character));
        if (c >= kEscapedByte + 0x80 && c <= kEscapedByte + 0xFF) {
            bytes += static_cast<char>(static_cast<unsigned char>(c - kEscapedByte));
        } else {
            AppendUtf8(bytes, IsSurrogate(c) || c > kLastCodePoint ? kReplacement : c);
        }
    }
    return bytes;
}

}  // namespace ry_platform::detail
