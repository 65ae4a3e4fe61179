// SPDX-License-Identifier: MIT

#include "io/stack_layout.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "io/imagej_info.h"
#include "io/imagej_metadata.h"
#include "io/ome_metadata.h"
#include "io/resolution_tags.h"

namespace rydecon {
namespace {

constexpr std::uint64_t kMostSamples = std::uint64_t{1} << 40;

// Pages of the stack, and what the first of them says about all.
struct Pages {
    std::vector<TiffPage> pages;
    std::string description;
    ImageJBlockContents blocks;
    ResolutionTags resolution;
};

std::string Shape(const TiffPage& page) {
    return std::to_string(page.width) + " x " + std::to_string(page.height) + " " +
           (page.samplesPerPixel > 1 ? "colour " : "") + std::string(NameOf(page.type));
}

void CheckLikeFirst(const TiffFile& file, const TiffPage& first, const TiffPage& page) {
    const bool alike = page.width == first.width && page.height == first.height && page.type == first.type &&
                       page.samplesPerPixel == first.samplesPerPixel;
    if (alike) return;
    throw file.Refusal("page " + std::to_string(page.number) + " is " + Shape(page) + ", page " +
                       std::to_string(first.number) + " is " + Shape(first) +
                       "; all planes of a stack need one size and one type");
}

Pages CollectPages(TiffFile& file, const FileNotes& notes, Accept accept) {
    Pages found;
    int number = 0;
    do {
        ++number;
        if (IsReducedOrMask(file)) continue;
        const TiffPage page = DescribePage(file, number, accept);
        const bool coloured = HasPseudoColours(file);
        if (found.pages.empty()) {
            found.description = ReadDescription(file);
            found.resolution = ReadResolution(file);
            found.blocks = ReadImageJBlocks(file);
            if (coloured) notes.Note("its colour table is ignored: the samples are taken as grey values");
        } else {
            CheckLikeFirst(file, found.pages.front(), page);
        }
        found.pages.push_back(page);
    } while (file.NextDirectory());
    if (found.pages.empty()) {
        throw file.Refusal("the file holds only thumbnails or masks; a stack of full-size pages is needed");
    }
    return found;
}

// One page of colour becomes a plane a component.
void SplitColour(const TiffFile& file, Pages& found) {
    const TiffPage first = found.pages.front();
    if (first.samplesPerPixel == 1) return;
    if (found.pages.size() > 1) {
        throw file.Refusal(
            "it holds " + std::to_string(found.pages.size()) +
            " pages of colour; one page is needed, or a grey stack: split the channels (in ImageJ: "
            "Image > Color > Split Channels) and give one of them");
    }
    found.pages.resize(static_cast<std::size_t>(first.samplesPerPixel), first);
    int component = 0;
    for (TiffPage& page : found.pages) page.component = component++;
}

void RefuseSeveral(const TiffFile& file, int channels, int times, int slices) {
    if (channels == 1 && times == 1) return;
    std::string reason = "it holds " + std::to_string(channels) + " channel(s) and " + std::to_string(times) +
                         " time point(s); a stack of one channel and one time point is needed: ";
    // Python's writers call the planes channels or times unless told better.
    const bool likelyPlanes = slices == 1 && (channels == 1 || times == 1);
    reason += likelyPlanes
                  ? "if these are its z planes, declare them as slices (in ImageJ: Image > Properties), "
                    "otherwise save one of them"
                  : "save one of them (in ImageJ: Image > Duplicate)";
    throw file.Refusal(reason);
}

// ImageJ writes stacks above 4 GiB as one directory with all planes behind the first; the directories it
// leaves out are made up here.
void AddPlanesBehindFirst(const TiffFile& file, Pages& found, int images) {
    const TiffPage first = found.pages.front();
    const auto count = static_cast<std::uint64_t>(images);
    const bool fits =
        first.run && *first.run <= file.size() && (file.size() - *first.run) / first.Bytes() >= count;
    if (!fits) {
        throw file.Refusal("the file is truncated: it tells of " + std::to_string(images) +
                           " planes but holds fewer; copy or export it again");
    }
    found.pages.resize(count, first);
    for (std::size_t k = 1; k < count; ++k) found.pages[k].run = *first.run + k * first.Bytes();
}

/// How many channels of one slice the pages are, where those are welcome or lie in one page; 1 otherwise.
int ChannelsOf(const Pages& found, int channels, int slices, int times, Accept accept) {
    const TiffPage& first = found.pages.front();
    const auto held = static_cast<int>(found.pages.size()) * first.samplesPerPixel;
    const bool onePicture = slices == 1 && times == 1 && channels == held;
    return accept == Accept::AnyStack && onePicture ? channels : 1;
}

VoxelSize ApplyImageJ(const TiffFile& file, const ImageJMetadata& metadata, const FileNotes& notes,
                      Accept accept, Pages& found, StackHeader& header) {
    header.channels = ChannelsOf(found, metadata.channels, metadata.slices, metadata.frames, accept);
    RefuseSeveral(file, metadata.channels / header.channels, metadata.frames, metadata.slices);
    const int told = std::max(metadata.images / header.channels, metadata.slices);
    const auto held = found.pages.size() * static_cast<std::size_t>(found.pages.front().samplesPerPixel) /
                      static_cast<std::size_t>(header.channels);
    if (held == 1 && told > 1) {
        AddPlanesBehindFirst(file, found, told);
    } else if (told > 1 && held != static_cast<std::size_t>(told)) {
        notes.Note("its metadata tell of " + std::to_string(told) + " planes; the " + std::to_string(held) +
                   " pages in the file are taken");
    }
    return VoxelFromImageJ(metadata, found.resolution, notes);
}

void TakeResolution(const Pages& found, StackHeader& header) {
    header.voxel = VoxelFromResolution(found.resolution);
    header.voxelSource = "TIFF resolution tags";
}

void ApplyOme(const TiffFile& file, const OmeMetadata& metadata, const FileNotes& notes, Pages& found,
              StackHeader& header) {
    const TiffPage& first = found.pages.front();
    if (metadata.sizeX != first.width || metadata.sizeY != first.height) {
        notes.Note("its OME metadata describe an image of another size and are ignored");
        TakeResolution(found, header);
        return;
    }
    if (metadata.images > 1) {
        throw file.Refusal("it holds " + std::to_string(metadata.images) +
                           " images; a file with one stack is needed: save one of them");
    }
    RefuseSeveral(file, metadata.sizeC, metadata.sizeT, metadata.sizeZ);
    if (static_cast<std::size_t>(metadata.sizeZ) != found.pages.size()) {
        throw file.Refusal("its OME metadata tell of " + std::to_string(metadata.sizeZ) +
                           " planes but it holds " + std::to_string(found.pages.size()) +
                           " pages; save the whole stack in one file");
    }
    std::vector<TiffPage> planes;
    planes.reserve(found.pages.size());
    for (const int page : PageOrder(metadata.runs, metadata.sizeZ)) {
        planes.push_back(found.pages[static_cast<std::size_t>(page)]);
    }
    found.pages = std::move(planes);
    header.voxel = metadata.voxel;
    header.voxelSource = "OME-XML";
    header.optics = metadata.optics;
    header.optics.source = "OME-XML";
}

void CheckTotal(const TiffFile& file, const Pages& found) {
    const TiffPage& first = found.pages.front();
    const std::uint64_t samples = first.Bytes() / BytesOf(first.type);
    if (found.pages.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) ||
        found.pages.size() > kMostSamples / samples) {
        throw file.Refusal("it claims " + std::to_string(found.pages.size()) + " planes of " + Shape(first) +
                           ", more than any machine holds; the file is damaged");
    }
}

}  // namespace

StackLayout ReadStackLayout(TiffFile& file, const FileNotes& notes, Accept accept) {
    Pages found = CollectPages(file, notes, accept);
    StackLayout layout;
    if (const auto imagej = ParseImageJ(found.description)) {
        layout.header.voxel = ApplyImageJ(file, *imagej, notes, accept, found, layout.header);
        layout.header.voxelSource = "ImageJ metadata";
        layout.header.optics = OpticsFromInfo(found.blocks.info);
    } else if (const auto ome = ParseOme(found.description, notes)) {
        ApplyOme(file, *ome, notes, found, layout.header);
    } else {
        TakeResolution(found, layout.header);
    }
    SplitColour(file, found);
    CheckTotal(file, found);
    const TiffPage& first = found.pages.front();
    layout.header.channels = std::max(layout.header.channels, first.samplesPerPixel);
    layout.header.width = first.width;
    layout.header.height = first.height;
    layout.header.slices = static_cast<int>(found.pages.size()) / layout.header.channels;
    layout.header.sampleType = first.type;
    layout.planes = std::move(found.pages);
    return layout;
}

}  // namespace rydecon
