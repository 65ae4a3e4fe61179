// SPDX-License-Identifier: MIT

#include "io/stack_layout.h"

#include <algorithm>
#include <limits>
#include <string>

#include "io/resolution_tags.h"
#include "report/counted.h"

namespace rydecon {
namespace {

constexpr std::uint64_t kMostSamples = std::uint64_t{1} << 40;

/// Pages without metadata are slices.
void LayOutPlain(const TiffFile& file, Accept accept, const PageList& list, StackLayout& layout) {
    StackAxes axes;
    axes.slices = static_cast<int>(std::min<std::size_t>(list.pages.size(), std::numeric_limits<int>::max()));
    axes.channels = list.first().components;
    RequireAccepted(file, axes, accept);
    ArrangePlanes(list.pages, axes, "CZT", layout);
    layout.header.container = Container::PlainTiff;
    layout.header.voxel = VoxelFromResolution(list.resolution);
    layout.header.voxelSource = "TIFF resolution tags";
}

void RequirePossible(const TiffFile& file, const PageList& list) {
    const TiffPage& first = list.first();
    const auto planes =
        static_cast<std::uint64_t>(list.pages.size()) * static_cast<std::uint64_t>(first.components);
    const std::uint64_t samples = first.Bytes() / BytesOf(first.type);
    if (planes > static_cast<std::uint64_t>(std::numeric_limits<int>::max()) ||
        planes > kMostSamples / samples) {
        throw file.Refusal("it claims " + Counted(planes, "plane") + " of " + ShapeOfPage(first) +
                           ", more than any machine holds; the file is damaged: copy or export it again");
    }
}

/// A page of red, green and blue says what colours its channels have.
void ColourChannels(const TiffPage& page, StackHeader& header) {
    if (!page.redGreenBlue || header.channels != 3) return;
    header.channel.resize(3);
    for (std::size_t c = 0; c < 3; ++c) {
        Rgb colour{};
        colour[c] = 255;
        if (!header.channel[c].colour) header.channel[c].colour = colour;
    }
}

}  // namespace

void ArrangePlanes(const std::vector<TiffPage>& pages, const StackAxes& axes, std::string_view order,
                   StackLayout& layout) {
    StackHeader& header = layout.header;
    header.slices = axes.slices;
    header.channels = axes.channels;
    header.times = axes.times;
    const int components = pages.front().components;
    const StackAxes paged = {axes.slices, axes.channels / components, axes.times};
    layout.planes.resize(static_cast<std::size_t>(header.planes()));
    for (std::size_t k = 0; k < layout.planes.size(); ++k) {
        const PlaneIndex plane = PlaneAt(header, static_cast<int>(k));
        const auto page = PlaceInOrder(paged, order, {plane.z, plane.c / components, plane.t});
        layout.planes[k] = pages.at(static_cast<std::size_t>(page));
        layout.planes[k].component = plane.c % components;
    }
}

StackLayout ReadStackLayout(TiffFile& file, const FileNotes& notes, Accept accept) {
    PageList list = CollectPages(file, notes, accept);
    RequirePossible(file, list);
    StackLayout layout;
    layout.files.push_back(file.path());
    const TiffPage first = list.first();
    const bool told = LayOutImageJ(file, notes, accept, list, layout) ||
                      LayOutOme(file, notes, accept, list, layout) ||
                      LayOutShaped(file, notes, accept, list, layout);
    if (!told) LayOutPlain(file, accept, list, layout);
    RequirePossible(file, list);
    StackHeader& header = layout.header;
    header.width = first.width;
    header.height = first.height;
    header.sampleType = first.type;
    header.byteOrder = list.byteOrder;
    ColourChannels(first, header);
    header.optics = OpticsOf(header, 0);
    return layout;
}

}  // namespace rydecon
