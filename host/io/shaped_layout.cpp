// SPDX-License-Identifier: MIT
// The planes of a stack whose description names its axes in JSON, as Python's tifffile writes it:
// {"shape": [3, 2, 5, 512, 512], "axes": "TZCYX"}.

#include <algorithm>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "io/resolution_tags.h"
#include "io/stack_layout.h"
#include "report/counted.h"

namespace rydecon {
namespace {

using Json = nlohmann::json;

struct NamedAxes {
    std::string letters;  // the slowest first
    std::vector<int> lengths;
};

std::optional<NamedAxes> ParseShaped(const std::string& description) {
    if (!description.starts_with('{')) return std::nullopt;
    const Json text = Json::parse(description, nullptr, false);
    if (!text.is_object() || !text.contains("axes") || !text.contains("shape")) return std::nullopt;
    const Json& letters = text["axes"];
    const Json& lengths = text["shape"];
    if (!letters.is_string() || !lengths.is_array()) return std::nullopt;
    NamedAxes axes{letters.get<std::string>(), {}};
    if (axes.letters.size() != lengths.size()) return std::nullopt;
    for (const Json& length : lengths) {
        if (!length.is_number_integer()) return std::nullopt;
        const auto number = length.get<std::int64_t>();
        if (number < 1 || number > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
        axes.lengths.push_back(static_cast<int>(number));
    }
    return axes;
}

/// The stack's axes and the order of its pages.
struct ShapedAxes {
    StackAxes axes;
    std::string order;  // the fastest first
    int width = 1;
    int height = 1;
};

UserError Unknown(const TiffFile& file, const NamedAxes& named) {
    return file.Refusal("its axes are '" + named.letters +
                        "'; time, z and channels (T, Z, C) beside X and Y can be read: save it with those");
}

ShapedAxes Understand(const TiffFile& file, const NamedAxes& named, const TiffPage& first) {
    ShapedAxes shaped;
    const auto take = [&](char axis, int& place, int length) {
        if (place != 1) throw Unknown(file, named);
        place = length;
        shaped.order.insert(shaped.order.begin(), axis);
    };
    for (std::size_t n = 0; n < named.letters.size(); ++n) {
        const char letter = named.letters[n];
        const int length = named.lengths[n];
        if (letter == 'X') {
            shaped.width = length;
        } else if (letter == 'Y') {
            shaped.height = length;
        } else if (length == 1) {
            continue;
        } else if (letter == 'T') {
            take('T', shaped.axes.times, length);
        } else if (letter == 'Z' || letter == 'Q' || letter == 'I') {
            take('Z', shaped.axes.slices, length);  // Q and I: pages that nothing is told of are slices
        } else if (letter == 'C') {
            take('C', shaped.axes.channels, length);
        } else if (letter != 'S' || length != first.samplesPerPixel) {
            throw Unknown(file, named);
        }
    }
    for (const char axis : {'C', 'Z', 'T'}) {
        if (shaped.order.find(axis) == std::string::npos) shaped.order += axis;
    }
    // A further channel axis beside the colours of a page has no place among neighbouring channels.
    if (first.components > 1 && shaped.axes.channels > 1 && shaped.axes.channels != first.components) {
        throw Unknown(file, named);
    }
    if (first.components > 1) shaped.axes.channels = first.components;
    return shaped;
}

}  // namespace

bool LayOutShaped(const TiffFile& file, const FileNotes& notes, Accept accept, PageList& list,
                  StackLayout& layout) {
    const auto named = ParseShaped(list.description);
    if (!named) return false;
    const TiffPage& first = list.first();
    const ShapedAxes shaped = Understand(file, *named, first);
    if (shaped.width != first.width || shaped.height != first.height) {
        notes.Note("its description tells of an image of another size and is ignored");
        return false;
    }
    RequireAccepted(file, shaped.axes, accept);
    const auto planes = shaped.axes.Planes();
    const auto components = static_cast<std::size_t>(first.components);
    if (planes && list.pages.size() == 1 && components == 1 && *planes > 1) {
        AddPlanesBehindFirst(file, list, static_cast<std::uint64_t>(*planes));
    }
    if (!planes || list.pages.size() != static_cast<std::size_t>(*planes) / components) {
        throw file.Refusal("its axes tell of " + shaped.axes.Text() + ", but it holds " +
                           Counted(list.pages.size() * components, "plane") + "; export it again");
    }
    ArrangePlanes(list.pages, shaped.axes, shaped.order, layout);
    layout.header.container = Container::PlainTiff;
    layout.header.voxel = VoxelFromResolution(list.resolution);
    layout.header.voxelSource = "TIFF resolution tags";
    return true;
}

}  // namespace rydecon
