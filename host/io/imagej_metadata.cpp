// SPDX-License-Identifier: MIT

#include "io/imagej_metadata.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include "io/length_unit.h"
#include "io/resolution_tags.h"

namespace rydecon {
namespace {

constexpr std::string_view kFirstWord = "ImageJ=";

// ImageJ leaves out what is 1, and takes what it cannot read as 1.
int ParseCount(std::string_view text) {
    const std::string_view digits = Trimmed(text);
    int count = 1;
    const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    return failure == std::errc{} && end == digits.data() + digits.size() && count >= 1 ? count : 1;
}

void TakeLine(std::string_view line, ImageJMetadata& metadata) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return;
    const std::string_view key = Trimmed(line.substr(0, equals));
    const std::string_view value = Trimmed(line.substr(equals + 1));
    if (key == "images") metadata.images = ParseCount(value);
    if (key == "channels") metadata.channels = ParseCount(value);
    if (key == "slices") metadata.slices = ParseCount(value);
    if (key == "frames") metadata.frames = ParseCount(value);
    if (key == "unit") metadata.unit = value;
    if (key == "zunit") metadata.zUnit = value;
    if (key == "finterval") metadata.frameInterval = ParseNumber(value);
    if (key == "tunit") metadata.timeUnit = value;
    if (key == "spacing") {
        metadata.spacing = ParseNumber(value).value_or(std::numeric_limits<double>::quiet_NaN());
    }
}

/// Counts, and what makes ImageJ take them for a hyperstack.
std::string ShapeLines(const StackHeader& header) {
    if (header.planes() == 1) return {};
    std::string text = "images=" + std::to_string(header.planes()) + "\n";
    if (header.channels > 1) text += "channels=" + std::to_string(header.channels) + "\n";
    if (header.slices > 1) text += "slices=" + std::to_string(header.slices) + "\n";
    if (header.times > 1) text += "frames=" + std::to_string(header.times) + "\n";
    if (header.channels > 1) {
        text += "hyperstack=true\nmode=composite\n";
    } else if (header.times > 1) {
        text += "hyperstack=true\nmode=grayscale\n";
    }
    return text;
}

std::string TimeLines(const StackHeader& header) {
    if (!header.timeStep) return {};
    std::string text = "finterval=" + ShortestText(header.timeStep->value) + "\n";
    if (header.timeStep->unit != "s") text += "tunit=" + OneLine(header.timeStep->unit) + "\n";
    return text;
}

}  // namespace

std::optional<ImageJMetadata> ParseImageJ(const std::string& description) {
    std::string_view rest = description;
    if (!rest.starts_with(kFirstWord)) return std::nullopt;
    ImageJMetadata metadata;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        TakeLine(rest.substr(0, end), metadata);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return metadata;
}

VoxelSize VoxelFromImageJ(const ImageJMetadata& metadata, const ResolutionTags& tags,
                          const FileNotes& notes) {
    const auto unit = MicrometresPer(metadata.unit);
    const auto zUnit = metadata.zUnit.empty() ? unit : MicrometresPer(metadata.zUnit);
    VoxelSize voxel;
    if (!unit) {
        voxel = VoxelFromResolution(tags);
    } else if (*unit == kMicrometresPerInch || *unit == kMicrometresPerCentimetre) {
        // The resolution of a printed page survives under ImageJ's unit as well.
        voxel = VoxelFromPrintResolution(tags, *unit);
    } else {
        if (tags.x) voxel.x = AcceptDistance(DistanceFrom(*tags.x, *unit), "pixel width", notes);
        if (tags.y) voxel.y = AcceptDistance(DistanceFrom(*tags.y, *unit), "pixel height", notes);
    }
    if (metadata.spacing && zUnit) {
        voxel.z = AcceptDistance(*metadata.spacing * *zUnit, "distance of planes", notes);
    }
    return voxel;
}

std::optional<TimeStep> TimeStepOf(const ImageJMetadata& metadata) {
    const auto& interval = metadata.frameInterval;
    if (!interval || !std::isfinite(*interval) || !(*interval > 0.0)) return std::nullopt;
    const bool seconds = metadata.timeUnit.empty() || metadata.timeUnit == "sec";
    return TimeStep{*interval, seconds ? "s" : metadata.timeUnit};
}

std::string WriteImageJ(const StackHeader& header) {
    const VoxelSize& voxel = header.voxel;
    // The version under which other writers of this form sign, too: it switches nothing on.
    std::string text = std::string(kFirstWord) + "1.11a\n" + ShapeLines(header);
    if (voxel.x || voxel.y || voxel.z) text += "unit=um\n";
    if (voxel.z) text += "spacing=" + ShortestText(*voxel.z) + "\n";
    text += TimeLines(header);
    if (header.planes() > 1) text += "loop=false\n";
    return text;
}

}  // namespace rydecon
