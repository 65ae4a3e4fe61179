// SPDX-License-Identifier: MIT

#include "io/ome_metadata.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <pugixml.hpp>
#include <string_view>

#include "io/length_unit.h"
#include "io/ome_optics.h"

namespace rydecon {
namespace {

using ome::Child;
using ome::LocalName;

// Default parsing keeps entities as they stand and skips a document type definition.
pugi::xml_parse_result Load(std::string_view text, pugi::xml_document& document) {
    return document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
}

std::optional<double> PhysicalSize(const pugi::xml_node& pixels, const char* name, const FileNotes& notes) {
    const pugi::xml_attribute size = pixels.attribute(name);
    if (!size) return std::nullopt;
    const std::string unitName = std::string(name) + "Unit";
    const auto unit = MicrometresPer(pixels.attribute(unitName.c_str()).as_string("um"));
    if (!unit) return std::nullopt;  // "pixel" or "reference frame": no length
    const auto number = ParseNumber(size.value());
    return AcceptDistance(number ? *number * *unit : std::numeric_limits<double>::quiet_NaN(), name, notes);
}

/// "XYCZT" -> "CZT"; the schema's usual order where it is none.
std::string OrderOfPlanes(const pugi::xml_node& pixels) {
    const std::string order = pixels.attribute("DimensionOrder").value();
    for (const char* const known : {"CZT", "CTZ", "ZCT", "ZTC", "TCZ", "TZC"}) {
        if (order == std::string("XY") + known) return known;
    }
    return "ZCT";
}

// Without `IFD` a TiffData element stands for all pages, with it for one, unless it counts them itself.
std::vector<OmePlaneRun> PlaneRuns(const pugi::xml_node& pixels, const OmeMetadata& metadata) {
    const StackAxes paged = {metadata.axes.slices, metadata.axes.channels / metadata.components,
                             metadata.axes.times};
    std::vector<OmePlaneRun> runs;
    for (const pugi::xml_node& node : pixels.children()) {
        if (LocalName(node) != "TiffData") continue;
        const PlaneIndex first = {node.attribute("FirstZ").as_int(), node.attribute("FirstC").as_int(),
                                  node.attribute("FirstT").as_int()};
        const bool inside = first.z >= 0 && first.z < paged.slices && first.c >= 0 &&
                            first.c < paged.channels && first.t >= 0 && first.t < paged.times;
        OmePlaneRun run;
        run.firstPlane = inside ? PlaceInOrder(paged, metadata.order, first) : -1;
        run.firstPage = node.attribute("IFD").as_int(0);
        const pugi::xml_attribute count = node.attribute("PlaneCount");
        if (count) run.count = count.as_int();
        if (!count && node.attribute("IFD")) run.count = 1;
        const pugi::xml_node uuid = Child(node, "UUID");
        run.file = uuid.attribute("FileName").value();
        run.uuid = Trimmed(uuid.child_value());
        runs.push_back(run);
    }
    return runs;
}

std::optional<TimeStep> PositiveStep(double value, const std::string& unit) {
    if (!std::isfinite(value) || !(value > 0.0)) return std::nullopt;
    return TimeStep{value, unit};
}

/// From when first and last plane of the first slice and channel were taken.
std::optional<TimeStep> StepOfPlanes(const pugi::xml_node& pixels, int times) {
    std::optional<double> first;
    std::optional<double> last;
    std::string unit;
    for (const pugi::xml_node& node : pixels.children()) {
        if (LocalName(node) != "Plane" || node.attribute("TheZ").as_int() != 0 ||
            node.attribute("TheC").as_int() != 0) {
            continue;
        }
        const int t = node.attribute("TheT").as_int();
        if (t == 0) first = ParseNumber(node.attribute("DeltaT").value());
        if (t == times - 1) last = ParseNumber(node.attribute("DeltaT").value());
        unit = node.attribute("DeltaTUnit").as_string("s");
    }
    if (!first || !last || times < 2) return std::nullopt;
    return PositiveStep((*last - *first) / (times - 1), unit);
}

std::optional<TimeStep> TimeStepOf(const pugi::xml_node& pixels, int times) {
    const pugi::xml_attribute increment = pixels.attribute("TimeIncrement");
    if (!increment) return StepOfPlanes(pixels, times);
    const auto number = ParseNumber(increment.value());
    if (!number) return std::nullopt;
    return PositiveStep(*number, pixels.attribute("TimeIncrementUnit").as_string("s"));
}

/// One record a channel; an element of several samples per pixel describes as many channels.
std::vector<ChannelRecord> ChannelRecords(const pugi::xml_node& pixels, int channels,
                                          const FileNotes& notes) {
    constexpr int kMostRecords = 4096;  // beyond them a count is damaged
    const auto most = static_cast<std::size_t>(std::min(channels, kMostRecords));
    std::vector<ChannelRecord> records;
    for (const pugi::xml_node& node : pixels.children()) {
        if (LocalName(node) != "Channel") continue;
        const int samples = node.attribute("SamplesPerPixel").as_int(1);
        const ChannelRecord record = ome::ReadChannel(node, notes);
        for (int n = 0; n < samples && records.size() < most; ++n) {
            records.push_back(record);
        }
    }
    return records;
}

/// Samples per pixel of the first channel, where they divide the channels.
int ComponentsOf(const pugi::xml_node& pixels, int channels) {
    const int samples = Child(pixels, "Channel").attribute("SamplesPerPixel").as_int(1);
    return samples > 1 && channels % samples == 0 ? samples : 1;
}

OmeMetadata FromPixels(const pugi::xml_node& pixels, const FileNotes& notes) {
    OmeMetadata metadata;
    metadata.sizeX = pixels.attribute("SizeX").as_int();
    metadata.sizeY = pixels.attribute("SizeY").as_int();
    metadata.axes = {pixels.attribute("SizeZ").as_int(1), pixels.attribute("SizeC").as_int(1),
                     pixels.attribute("SizeT").as_int(1)};
    metadata.order = OrderOfPlanes(pixels);
    if (!metadata.axes.Planes()) return metadata;
    metadata.components = ComponentsOf(pixels, metadata.axes.channels);
    const int bits = pixels.attribute("SignificantBits").as_int();
    if (bits > 0) metadata.significantBits = bits;
    metadata.runs = PlaneRuns(pixels, metadata);
    metadata.channel = ChannelRecords(pixels, metadata.axes.channels, notes);
    metadata.timeStep = TimeStepOf(pixels, metadata.axes.times);
    metadata.voxel.x = PhysicalSize(pixels, "PhysicalSizeX", notes);
    metadata.voxel.y = PhysicalSize(pixels, "PhysicalSizeY", notes);
    metadata.voxel.z = PhysicalSize(pixels, "PhysicalSizeZ", notes);
    return metadata;
}

}  // namespace

std::optional<OmeReference> ParseOmeReference(const std::string& description) {
    pugi::xml_document document;
    if (description.find("BinaryOnly") == std::string::npos || !Load(description, document))
        return std::nullopt;
    const pugi::xml_node reference = Child(Child(document, "OME"), "BinaryOnly");
    if (!reference) return std::nullopt;
    return OmeReference{reference.attribute("MetadataFile").value(), reference.attribute("UUID").value()};
}

std::optional<OmeMetadata> ParseOme(const std::string& description, const FileNotes& notes) {
    const std::string_view text = Trimmed(description);
    if (!(text.starts_with('<') || text.starts_with("\xEF\xBB\xBF<")) ||
        text.find("OME") == std::string_view::npos) {
        return std::nullopt;
    }
    pugi::xml_document document;
    const auto outcome = Load(text, document);
    if (!outcome) {
        notes.Note("the OME metadata are no well-formed XML (" + std::string(outcome.description()) +
                   ") and are ignored");
        return std::nullopt;
    }
    const pugi::xml_node root = Child(document, "OME");
    if (!root) return std::nullopt;
    const pugi::xml_node pixels = Child(Child(root, "Image"), "Pixels");
    if (!pixels) {
        notes.Note("the OME metadata describe no image of this file and are ignored");
        return std::nullopt;
    }
    OmeMetadata metadata = FromPixels(pixels, notes);
    metadata.uuid = root.attribute("UUID").value();
    metadata.optics = ome::ReadOptics(root, notes);
    metadata.images = static_cast<int>(std::count_if(
        root.begin(), root.end(), [](const pugi::xml_node& node) { return LocalName(node) == "Image"; }));
    const auto& [slices, channels, times] = metadata.axes;
    if (metadata.sizeX < 1 || metadata.sizeY < 1 || slices < 1 || channels < 1 || times < 1) {
        notes.Note("the OME metadata give no usable image size and are ignored");
        return std::nullopt;
    }
    return metadata;
}

std::vector<OmePlace> PlacesOf(const std::vector<OmePlaneRun>& runs, const std::vector<int>& fileOfRun,
                               const std::vector<int>& pagesOfFile, int planes) {
    const auto held = std::accumulate(pagesOfFile.begin(), pagesOfFile.end(), std::int64_t{0});
    if (planes > held) return {};
    std::vector<OmePlace> places(static_cast<std::size_t>(planes));
    std::vector<std::vector<bool>> taken;
    taken.reserve(pagesOfFile.size());
    for (const int pages : pagesOfFile) taken.emplace_back(static_cast<std::size_t>(pages), false);
    std::int64_t told = 0;
    for (std::size_t n = 0; n < runs.size(); ++n) {
        const auto file = static_cast<std::size_t>(fileOfRun[n]);
        const std::int64_t plane = runs[n].firstPlane;
        const std::int64_t page = runs[n].firstPage;
        const std::int64_t pages = pagesOfFile[file];
        if (plane < 0 || plane >= planes || page < 0 || page >= pages) return {};
        const std::int64_t count = runs[n].count.value_or(std::min(planes - plane, pages - page));
        if (count < 0 || count > planes - plane || count > pages - page) return {};
        for (std::int64_t k = 0; k < count; ++k) {
            OmePlace& place = places[static_cast<std::size_t>(plane + k)];
            const auto at = static_cast<std::size_t>(page + k);
            if (place.file >= 0 || taken[file][at]) return {};
            taken[file][at] = true;
            place = {fileOfRun[n], static_cast<int>(page + k)};
        }
        told += count;
    }
    return told == planes ? places : std::vector<OmePlace>();
}

}  // namespace rydecon
