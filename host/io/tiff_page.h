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
    int samplesPerPixel = 1;
    int component = 0;  // which of them is the plane
    bool tiled = false;
    bool lossy = false;  // JPEG: its decoder fills up missing samples and only warns
    // Byte offset of the samples where they stand uncompressed in one run, row after row.
    std::optional<std::uint64_t> run;

    /// Of one row of all its samples.
    std::uint64_t RowBytes() const {
        return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(samplesPerPixel) *
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
