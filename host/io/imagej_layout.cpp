// SPDX-License-Identifier: MIT
// The planes of a stack that ImageJ or a writer for ImageJ made.

#include <algorithm>
#include <cstddef>
#include <limits>

#include "io/imagej_info.h"
#include "io/imagej_metadata.h"
#include "io/stack_layout.h"
#include "report/counted.h"

namespace rydecon {
namespace {

UserError Contradiction(const TiffFile& file, const StackAxes& axes, std::size_t planes) {
    return file.Refusal("its ImageJ metadata tell of " + axes.Text() + ", but it holds " +
                        Counted(planes, "plane") + "; export it again");
}

int PagesOf(const PageList& list) {
    return static_cast<int>(std::min<std::size_t>(list.pages.size(), std::numeric_limits<int>::max()));
}

/// Without channels and times: the number of slices, which older files tell as images alone.
StackAxes SliceAxes(const TiffFile& file, const ImageJMetadata& metadata, const FileNotes& notes,
                    PageList& list) {
    const int told = std::max(metadata.images, metadata.slices);
    if (list.pages.size() == 1 && told > 1) {
        AddPlanesBehindFirst(file, list, static_cast<std::uint64_t>(told));
    } else if (told > 1 && PagesOf(list) != told) {
        notes.Note("its metadata tell of " + Counted(told, "plane") + ", the file holds " +
                   Counted(list.pages.size(), "page") + "; those in the file are taken");
    }
    return {PagesOf(list), list.first().components, 1};
}

/// With channels or times: their product must be the pages there are.
StackAxes HyperstackAxes(const TiffFile& file, const ImageJMetadata& metadata, PageList& list) {
    StackAxes axes = {metadata.slices, metadata.channels, metadata.frames};
    const auto told = axes.Planes();
    const int components = list.first().components;
    if (!told || (metadata.images > 1 && metadata.images != *told)) {
        const auto planes =
            metadata.images > 1 ? static_cast<std::size_t>(metadata.images) : list.pages.size();
        throw Contradiction(file, axes, planes);
    }
    if (components > 1) {
        // Colours of a page are channels that the counts leave out or are all of them.
        const bool inPages = axes.channels == components && PagesOf(list) == *told / components;
        if (!inPages && PagesOf(list) == *told &&
            axes.channels <= std::numeric_limits<int>::max() / components) {
            axes.channels *= components;
        } else if (!inPages) {
            throw Contradiction(file, axes, list.pages.size());
        }
        return axes;
    }
    if (list.pages.size() == 1 && *told > 1)
        AddPlanesBehindFirst(file, list, static_cast<std::uint64_t>(*told));
    if (PagesOf(list) != *told) throw Contradiction(file, axes, list.pages.size());
    return axes;
}

/// The label that all planes of the channel share; empty if there is none.
std::string SharedLabel(const std::vector<std::string>& labels, std::size_t c, std::size_t channels) {
    for (std::size_t k = c; k < labels.size(); k += channels) {
        if (labels[k] != labels[c]) return {};
    }
    return labels[c];
}

std::vector<ChannelRecord> ChannelRecords(const ImageJBlockContents& blocks, const StackHeader& header) {
    auto records = ChannelsFromInfo(blocks.info, header.channels);
    const std::size_t channels = records.size();
    for (std::size_t c = 0; c < channels; ++c) {
        if (channels > 1 && blocks.labels.size() == static_cast<std::size_t>(header.planes())) {
            records[c].name = SharedLabel(blocks.labels, c, channels);
        }
        if (c < blocks.lookups.size()) {
            const std::vector<std::uint8_t>& table = blocks.lookups[c];
            records[c].lookup = table;
            records[c].colour = Rgb{table[255], table[511], table[767]};
        }
    }
    return records;
}

}  // namespace

bool LayOutImageJ(const TiffFile& file, const FileNotes& notes, Accept accept, PageList& list,
                  StackLayout& layout) {
    const auto metadata = ParseImageJ(list.description);
    if (!metadata) return false;
    RequireAccepted(file, {metadata->slices, metadata->channels, metadata->frames}, accept);
    const bool hyperstack = metadata->channels > 1 || metadata->frames > 1;
    const StackAxes axes =
        hyperstack ? HyperstackAxes(file, *metadata, list) : SliceAxes(file, *metadata, notes, list);
    ArrangePlanes(list.pages, axes, "CZT", layout);
    StackHeader& header = layout.header;
    header.container = Container::ImageJ;
    header.voxel = VoxelFromImageJ(*metadata, list.resolution, notes);
    header.voxelSource = "ImageJ metadata";
    header.timeStep = TimeStepOf(*metadata);
    header.optics = OpticsFromInfo(list.blocks.info);
    header.info = list.blocks.info;
    header.channel = ChannelRecords(list.blocks, header);
    return true;
}

}  // namespace rydecon
