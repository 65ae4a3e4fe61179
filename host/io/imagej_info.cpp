// SPDX-License-Identifier: MIT

#include "io/imagej_info.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>

#include "io/file_error.h"
#include "io/length_unit.h"

namespace rydecon {
namespace {

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

constexpr double kNanometre = 1e-3;

using Values = std::map<std::string, std::string>;

std::optional<double> Told(const Values& values, std::initializer_list<const char*> keys,
                           const std::string& suffix, std::optional<double> unit) {
    for (const char* key : keys) {
        const auto found = values.find(key + suffix);
        if (found == values.end()) continue;
        if (const auto number = Positive(found->second, unit)) return number;
    }
    return std::nullopt;
}

std::string TextOf(const Values& values, const std::string& key) {
    const auto found = values.find(key);
    return found == values.end() ? std::string() : found->second;
}

/// Of the keys that end in the channel's number, or in nothing.
ChannelRecord ChannelFrom(const Values& values, const std::string& suffix) {
    ChannelRecord record;
    record.emission = Told(values, {"emissionwavelength"}, suffix, kNanometre);
    record.excitation = Told(values, {"excitationwavelength"}, suffix, kNanometre);
    record.pinhole = Told(values, {"pinholesize"}, suffix, 1.0);
    record.acquisitionMode = TextOf(values, "acquisitionmode" + suffix);
    return record;
}

class InfoLines {
  public:
    void Number(const std::string& key, const std::optional<double>& told,
                const std::optional<double>& wanted, double unit = 1.0, const char* unitName = "") {
        if (!wanted || told) return;
        lines_ += key + " = " + TextIn(*wanted, unit) + unitName + "\n";
    }
    void Text(const std::string& key, const std::string& told, const std::string& wanted) {
        if (!wanted.empty() && told.empty()) lines_ += key + " = " + OneLine(wanted) + "\n";
    }
    void Channel(const std::string& suffix, const ChannelRecord& told, const ChannelRecord& wanted) {
        Number("EmissionWavelength" + suffix, told.emission, wanted.emission, kNanometre, " nm");
        Number("ExcitationWavelength" + suffix, told.excitation, wanted.excitation, kNanometre, " nm");
        Number("PinholeSize" + suffix, told.pinhole, wanted.pinhole, 1.0, " um");
        Text("AcquisitionMode" + suffix, told.acquisitionMode, wanted.acquisitionMode);
    }
    const std::string& lines() const { return lines_; }

  private:
    std::string lines_;
};

ChannelRecord RecordFrom(const ImageOptics& optics) {
    ChannelRecord record;
    record.emission = optics.emission;
    record.excitation = optics.excitation;
    record.pinhole = optics.pinhole;
    record.acquisitionMode = optics.acquisitionMode;
    return record;
}

}  // namespace

ImageOptics OpticsFromInfo(std::string_view info) {
    const Values values = ValuesIn(info);
    ImageOptics optics;
    optics.source = "ImageJ info";
    optics.numericalAperture = Told(values, {"lensna", "numericalaperture"}, "", std::nullopt);
    optics.refractiveIndex = Told(values, {"refractiveindex"}, "", std::nullopt);
    optics.magnification = Told(values, {"nominalmagnification"}, "", std::nullopt);
    optics.immersion = TextOf(values, "immersion");
    const ChannelRecord record = ChannelFrom(values, "");
    optics.emission = record.emission;
    optics.excitation = record.excitation;
    optics.pinhole = record.pinhole;
    optics.acquisitionMode = record.acquisitionMode;
    return optics;
}

std::vector<ChannelRecord> ChannelsFromInfo(std::string_view info, int channels) {
    const Values values = ValuesIn(info);
    const ChannelRecord shared = ChannelFrom(values, "");
    std::vector<ChannelRecord> records;
    for (int c = 1; c <= channels; ++c) {
        ChannelRecord record = ChannelFrom(values, std::to_string(c));
        if (!record.emission) record.emission = shared.emission;
        if (!record.excitation) record.excitation = shared.excitation;
        if (!record.pinhole) record.pinhole = shared.pinhole;
        if (record.acquisitionMode.empty()) record.acquisitionMode = shared.acquisitionMode;
        records.push_back(record);
    }
    return records;
}

std::string InfoWithOptics(const StackHeader& header) {
    const ImageOptics told = OpticsFromInfo(header.info);
    InfoLines lines;
    lines.Number("LensNA", told.numericalAperture, header.optics.numericalAperture);
    lines.Number("RefractiveIndex", told.refractiveIndex, header.optics.refractiveIndex);
    lines.Number("NominalMagnification", told.magnification, header.optics.magnification);
    lines.Text("Immersion", told.immersion, header.optics.immersion);
    if (header.channels == 1) {
        lines.Channel("", RecordFrom(told), RecordFrom(OpticsOf(header, 0)));
    } else {
        const std::vector<ChannelRecord> known = ChannelsFromInfo(header.info, header.channels);
        for (int c = 0; c < header.channels && !header.channel.empty(); ++c) {
            lines.Channel(" #" + std::to_string(c + 1), known[static_cast<std::size_t>(c)],
                          RecordOf(header, c));
        }
    }
    const bool parted = header.info.empty() || header.info.ends_with('\n') || lines.lines().empty();
    return header.info + (parted ? "" : "\n") + lines.lines();
}

}  // namespace rydecon
