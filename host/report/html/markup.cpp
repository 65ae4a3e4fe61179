// SPDX-License-Identifier: MIT

#include "report/html/markup.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace rydecon {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

std::string Format(const char* format, double number) {
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

/// Bytes of the well-formed UTF-8 character that `text` begins with, 0 if there is none: neither overlong nor
/// a surrogate, at most U+10FFFF.
std::size_t CharacterLength(std::string_view text) {
    const auto byte = [&](std::size_t n) { return static_cast<unsigned char>(text[n]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    const std::size_t length = lead >= 0xC2 && lead < 0xE0   ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if (length == 0 || text.size() < length) return 0;
    for (std::size_t n = 1; n < length; ++n) {
        if ((byte(n) & 0xC0) != 0x80) return 0;
    }
    const unsigned char second = byte(1);
    const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool surrogate = lead == 0xED && second >= 0xA0;
    const bool beyond = lead == 0xF4 && second >= 0x90;
    return overlong || surrogate || beyond ? 0 : length;
}

std::string_view EscapeOf(char letter) {
    switch (letter) {
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '&':
            return "&amp;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return {};
    }
}

bool IsControl(char letter) {
    const auto code = static_cast<unsigned char>(letter);
    return (code < 0x20 && letter != '\t' && letter != '\n') || code == 0x7F;
}

std::string AddressOf(const std::vector<unsigned char>& png) {
    return "data:image/png;base64," + Base64(png);
}

/// Linear between its colours, which are evenly spaced about value 128.
Palette MakeDivergingPalette() {
    constexpr int kStops[][3] = {{33, 102, 172},  {103, 169, 207}, {209, 229, 240}, {247, 247, 247},
                                 {253, 219, 199}, {239, 138, 98},  {178, 24, 43}};
    Palette colours{};
    for (int n = 0; n < 256; ++n) {
        const double at = std::clamp((n - 128) / 127.0 * 3.0 + 3.0, 0.0, 6.0);
        const int lower = std::min(static_cast<int>(at), 5);
        for (std::size_t c = 0; c < 3; ++c) {
            const double mixed = kStops[lower][c] + (kStops[lower + 1][c] - kStops[lower][c]) * (at - lower);
            colours[static_cast<std::size_t>(n)][c] = static_cast<std::uint8_t>(std::lround(mixed));
        }
    }
    return colours;
}

}  // namespace

std::string Escaped(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        if (length == 0 || (length == 1 && IsControl(text[0]))) {
            escaped += kReplacement;
        } else if (const std::string_view escape = EscapeOf(text[0]); !escape.empty()) {
            escaped += escape;
        } else {
            escaped += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return escaped;
}

std::string Base64(const std::vector<unsigned char>& bytes) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t n = 0; n < bytes.size(); n += 3) {
        const std::size_t present = std::min<std::size_t>(3, bytes.size() - n);
        unsigned group = 0;
        for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < present ? bytes[n + i] : 0U);
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= present ? kDigits[group >> (18 - 6 * i) & 63U] : '=';
        }
    }
    return text;
}

std::string PictureAddress(const GreyPicture& picture) {
    return AddressOf(EncodePng(picture));
}

std::string PictureAddress(const GreyPicture& picture, const Palette& palette) {
    return AddressOf(EncodePng(picture, palette));
}

const Palette& DivergingPalette() {
    static const Palette palette = MakeDivergingPalette();
    return palette;
}

std::string ShownPower(int exponent) {
    static constexpr std::string_view kDigits[] = {"⁰", "¹", "²", "³", "⁴", "⁵", "⁶", "⁷", "⁸", "⁹"};
    std::string text = exponent < 0 ? "10⁻" : "10";
    for (const char digit : std::to_string(std::abs(exponent))) text += kDigits[digit - '0'];
    return text;
}

std::string ShownNumber(double number, int digits) {
    if (std::isnan(number)) return "not a number";
    if (std::isinf(number)) return number > 0.0 ? "∞" : "−∞";
    char formatted[64];
    std::snprintf(formatted, sizeof formatted, "%.*g", digits, number);
    std::string text = formatted;
    const std::size_t e = text.find('e');
    if (e != std::string::npos) {
        text = text.substr(0, e) + "×" + ShownPower(std::atoi(text.c_str() + e + 1));
        if (text.rfind("1×", 0) == 0) text.erase(0, std::string_view("1×").size());
    }
    if (text[0] == '-') text.replace(0, 1, "−");
    return text;
}

std::string ShownLength(double micrometres) {
    if (micrometres > 0.0 && micrometres < 0.9995) return ShownNumber(micrometres * 1e3) + " nm";
    return ShownNumber(micrometres) + " µm";
}

std::string ShownDuration(double seconds) {
    if (!std::isfinite(seconds)) return "unknown";
    if (seconds < 59.95) return Format(seconds < 9.995 ? "%.2f s" : "%.1f s", seconds);
    const double whole = std::round(seconds);
    if (whole < 3600.0) {
        return Format("%.0f min ", std::floor(whole / 60.0)) + Format("%.0f s", std::fmod(whole, 60.0));
    }
    const double minutes = std::round(seconds / 60.0);
    return Format("%.0f h ", std::floor(minutes / 60.0)) + Format("%.0f min", std::fmod(minutes, 60.0));
}

std::string ShownBytes(double bytes) {
    if (bytes < 0.9995e9) return Format("%.0f MB", bytes / 1e6);
    return ShownNumber(bytes / 1e9) + " GB";
}

std::string Element(std::string_view tag, std::string_view text, std::string_view attributes) {
    std::string element("<");
    element.append(tag);
    if (!attributes.empty()) element.append(" ").append(attributes);
    return element.append(">").append(Escaped(text)).append("</").append(tag).append(">");
}

}  // namespace rydecon
