// SPDX-License-Identifier: MIT

#include "io/imagej_info.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <map>
#include <optional>

#include "io/length_unit.h"

namespace rydecon {
namespace {

constexpr std::uint32_t kMagic = 0x494a494a;      // "IJIJ"
constexpr std::uint32_t kInfoBlock = 0x696e666f;  // "info"

class BlockReader {
  public:
    BlockReader(std::span<const unsigned char> bytes, bool bigEndian)
        : bytes_(bytes), bigEndian_(bigEndian) {}

    /// The number of `count` bytes at `offset`, which lie inside.
    std::uint32_t Number(std::size_t offset, std::size_t count) const {
        std::uint32_t number = 0;
        for (std::size_t n = 0; n < count; ++n) {
            const std::size_t at = bigEndian_ ? n : count - 1 - n;
            number = number << 8 | bytes_[offset + at];
        }
        return number;
    }

    /// UTF-16 to UTF-8; optics are told in the basic plane, what lies outside becomes '?'.
    std::string Text(std::size_t offset, std::size_t count) const {
        std::string text;
        for (std::size_t n = 0; n + 1 < count; n += 2) {
            const std::uint32_t c = Number(offset + n, 2);
            if (c < 0x80) {
                text += static_cast<char>(c);
            } else if (c < 0x800) {
                text += static_cast<char>(0xC0 | c >> 6);
                text += static_cast<char>(0x80 | (c & 0x3F));
            } else {
                text += '?';
            }
        }
        return text;
    }

  private:
    std::span<const unsigned char> bytes_;
    bool bigEndian_;
};

/// "Objective|Lens NA" -> "lensna"
std::string PlainKey(std::string_view key) {
    const std::size_t bar = key.rfind('|');
    if (bar != std::string_view::npos) key.remove_prefix(bar + 1);
    std::string plain;
    for (const char c : key) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    return plain;
}

/// Values by plain key; empty where a key comes with several.
std::map<std::string, std::string> ValuesIn(std::string_view info) {
    std::map<std::string, std::string> values;
    while (!info.empty()) {
        const std::size_t end = std::min(info.find('\n'), info.size());
        const std::string_view line = info.substr(0, end);
        info.remove_prefix(std::min(end + 1, info.size()));
        const std::size_t sign = line.find_first_of("=:");
        if (sign == std::string_view::npos) continue;
        const std::string value(Trimmed(line.substr(sign + 1)));
        const auto [known, isNew] = values.emplace(PlainKey(line.substr(0, sign)), value);
        if (!isNew && known->second != value) known->second.clear();
    }
    return values;
}

/// The positive number that a value spells; with `usualUnit` a length, in micrometres.
std::optional<double> Positive(const std::string& value, std::optional<double> usualUnit) {
    const std::size_t last = value.find_last_of("0123456789.");
    if (last == std::string::npos) return std::nullopt;
    const auto number = ParseNumber(std::string_view(value).substr(0, last + 1));
    const std::string_view unitName = Trimmed(std::string_view(value).substr(last + 1));
    if (!number || !std::isfinite(*number) || !(*number > 0.0)) return std::nullopt;
    if (!usualUnit) return unitName.empty() ? number : std::nullopt;
    const auto unit = unitName.empty() ? usualUnit : MicrometresPer(unitName);
    return unit ? std::optional(*number * *unit) : std::nullopt;
}

}  // namespace

std::string InfoFromBlocks(std::span<const std::uint32_t> byteCounts, std::span<const unsigned char> blocks,
                           bool swapped) {
    const bool bigEndian = (std::endian::native == std::endian::big) != swapped;
    const BlockReader reader(blocks, bigEndian);
    if (byteCounts.empty() || byteCounts[0] < 4 || byteCounts[0] > blocks.size()) return {};
    if (reader.Number(0, 4) != kMagic) return {};
    // The header lists kinds of blocks, each with how many follow; block n has byteCounts[n] bytes.
    std::size_t offset = byteCounts[0];
    std::size_t block = 1;
    for (std::size_t entry = 4; entry + 8 <= byteCounts[0]; entry += 8) {
        const std::uint32_t kind = reader.Number(entry, 4);
        const std::uint32_t count = reader.Number(entry + 4, 4);
        for (std::uint32_t n = 0; n < count; ++n, ++block) {
            if (block >= byteCounts.size() || byteCounts[block] > blocks.size() - offset) return {};
            if (kind == kInfoBlock) return reader.Text(offset, byteCounts[block]);
            offset += byteCounts[block];
        }
    }
    return {};
}

ImageOptics OpticsFromInfo(std::string_view info) {
    const auto values = ValuesIn(info);
    const auto told = [&](std::initializer_list<const char*> keys, std::optional<double> unit) {
        for (const char* key : keys) {
            const auto found = values.find(key);
            if (found == values.end()) continue;
            if (const auto number = Positive(found->second, unit)) return number;
        }
        return std::optional<double>();
    };
    constexpr double kNanometre = 1e-3;
    ImageOptics optics;
    optics.source = "ImageJ info";
    optics.numericalAperture = told({"lensna", "numericalaperture"}, std::nullopt);
    optics.refractiveIndex = told({"refractiveindex"}, std::nullopt);
    optics.emission = told({"emissionwavelength"}, kNanometre);
    optics.excitation = told({"excitationwavelength"}, kNanometre);
    optics.pinhole = told({"pinholesize"}, 1.0);
    optics.magnification = told({"nominalmagnification"}, std::nullopt);
    return optics;
}

}  // namespace rydecon
