// SPDX-License-Identifier: MIT
#pragma once

// What one TIFF directory says of its image, checked: grey, or colour where that is welcome, of a sample type that is read, its samples all in
// the file.

#include <cstdint>
#include <optional>
#include <string>

#include "io/imagej_blocks.h"
#include "io/sample_conversion.h"
#include "io/stack_header.h"
#include "io/tiff_file.h"

namespace rydecon {

struct TiffPage {
    int number = 0;               // place in the file's chain of directories, from 1
    std::uint64_t directory = 0;  // byte offset of the directory
    int width = 0;
    int height = 0;
    SampleType type = SampleType::Float32;
    int file = 0;  // in a set of files, the place of its own
    int samplesPerPixel = 1;
    int components = 1;     // channels in the page: its samples per pixel without those of transparency
    int component = 0;      // which of them is the plane
    bool separate = false;  // the components stand one after another, not side by side
    bool redGreenBlue = false;
    bool tiled = false;
    bool lossy = false;  // JPEG: its decoder fills up missing samples and only warns
    // Byte offset of the samples where they stand uncompressed in one run, row after row.
    std::optional<std::uint64_t> run;

    /// Samples of one pixel that lie side by side.
    int SamplesAbreast() const { return separate ? 1 : samplesPerPixel; }
    /// Of one row of a strip.
    std::uint64_t RowBytes() const {
        return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(SamplesAbreast()) *
               BytesOf(type);
    }
    /// Of the plane alone.
    std::uint64_t Bytes() const {
        return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) * BytesOf(type);
    }
};

/// Resolution as the tags of a page give it.
struct ResolutionTags {
    std::optional<double> x;  // samples per unit
    std::optional<double> y;
    std::uint16_t unit = RESUNIT_INCH;
};

/// True for thumbnails, pyramid levels and masks, which are no planes of the stack.
bool IsReducedOrMask(const TiffFile& file);

/// Describes and checks the directory on which the file stands; a UserError says what is wrong with it.
TiffPage DescribePage(const TiffFile& file, int number, Accept accept);

ResolutionTags ReadResolution(const TiffFile& file);

/// Text of the tag ImageDescription, empty if there is none.
std::string ReadDescription(const TiffFile& file);

/// What ImageJ's blocks of the page tell.
ImageJBlockContents ReadImageJBlocks(const TiffFile& file);

/// True if the page is shown through a colour table. Refused unless its colours brighten with the sample,
/// as those of a pseudo-colour display do: only then are the samples grey values.
bool HasPseudoColours(const TiffFile& file);

}  // namespace rydecon
