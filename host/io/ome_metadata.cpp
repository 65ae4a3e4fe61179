// SPDX-License-Identifier: MIT

#include "io/ome_metadata.h"

#include <algorithm>
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

std::optional<double> PhysicalSize(const pugi::xml_node& pixels, const char* name, const FileNotes& notes) {
    const pugi::xml_attribute size = pixels.attribute(name);
    if (!size) return std::nullopt;
    const std::string unitName = std::string(name) + "Unit";
    const auto unit = MicrometresPer(pixels.attribute(unitName.c_str()).as_string("um"));
    if (!unit) return std::nullopt;  // "pixel" or "reference frame": no length
    const auto number = ParseNumber(size.value());
    return AcceptDistance(number ? *number * *unit : std::numeric_limits<double>::quiet_NaN(), name, notes);
}

// Without `IFD` a TiffData element stands for all planes, with it for one, unless it counts them itself.
std::vector<OmePlaneRun> PlaneRuns(const pugi::xml_node& pixels, int sizeZ) {
    std::vector<OmePlaneRun> runs;
    for (const pugi::xml_node& node : pixels.children()) {
        if (LocalName(node) != "TiffData") continue;
        OmePlaneRun run;
        run.firstPlane = node.attribute("FirstZ").as_int(0);
        run.firstPage = node.attribute("IFD").as_int(0);
        run.count = node.attribute("PlaneCount").as_int(node.attribute("IFD") ? 1 : sizeZ);
        runs.push_back(run);
    }
    return runs;
}

OmeMetadata FromPixels(const pugi::xml_node& pixels, const FileNotes& notes) {
    OmeMetadata metadata;
    metadata.sizeX = pixels.attribute("SizeX").as_int();
    metadata.sizeY = pixels.attribute("SizeY").as_int();
    metadata.sizeZ = pixels.attribute("SizeZ").as_int(1);
    metadata.sizeC = pixels.attribute("SizeC").as_int(1);
    metadata.sizeT = pixels.attribute("SizeT").as_int(1);
    metadata.runs = PlaneRuns(pixels, metadata.sizeZ);
    metadata.voxel.x = PhysicalSize(pixels, "PhysicalSizeX", notes);
    metadata.voxel.y = PhysicalSize(pixels, "PhysicalSizeY", notes);
    metadata.voxel.z = PhysicalSize(pixels, "PhysicalSizeZ", notes);
    return metadata;
}

}  // namespace

std::optional<OmeMetadata> ParseOme(const std::string& description, const FileNotes& notes) {
    const std::string_view text = Trimmed(description);
    if (!(text.starts_with('<') || text.starts_with("\xEF\xBB\xBF<")) ||
        text.find("OME") == std::string_view::npos) {
        return std::nullopt;
    }
    pugi::xml_document document;
    // Default parsing keeps entities as they stand and skips a document type definition.
    const auto outcome =
        document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
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
    metadata.optics = ome::ReadOptics(root, notes);
    metadata.images = static_cast<int>(std::count_if(
        root.begin(), root.end(), [](const pugi::xml_node& node) { return LocalName(node) == "Image"; }));
    if (metadata.sizeX < 1 || metadata.sizeY < 1 || metadata.sizeZ < 1 || metadata.sizeC < 1 ||
        metadata.sizeT < 1) {
        notes.Note("the OME metadata give no usable image size and are ignored");
        return std::nullopt;
    }
    return metadata;
}

std::vector<int> PageOrder(const std::vector<OmePlaneRun>& runs, int planes) {
    std::vector<int> natural(static_cast<std::size_t>(planes));
    std::iota(natural.begin(), natural.end(), 0);
    std::vector<int> order(natural.size(), -1);
    for (const OmePlaneRun& run : runs) {
        const bool within = run.firstPlane >= 0 && run.firstPage >= 0 && run.count >= 0 &&
                            run.count <= planes - run.firstPlane && run.count <= planes - run.firstPage;
        if (!within) return natural;
        std::iota(order.begin() + run.firstPlane, order.begin() + run.firstPlane + run.count, run.firstPage);
    }
    return std::is_permutation(order.begin(), order.end(), natural.begin()) ? order : natural;
}

}  // namespace rydecon
