// SPDX-License-Identifier: MIT
#pragma once

// ImageJ's metadata blocks in two tags of the first page (ImageJ's TiffDecoder and TiffEncoder): free text, colour
// tables of channels, labels of planes.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "io/stack_header.h"

namespace rydecon {

inline constexpr std::uint16_t kImageJByteCountsTag = 50838;
inline constexpr std::uint16_t kImageJBlocksTag = 50839;

/// The values of both tags.
struct ImageJBlocks {
    std::vector<std::uint32_t> byteCounts;
    std::string bytes;
};

/// What the blocks tell; text is UTF-8.
struct ImageJBlockContents {
    std::string info;
    std::vector<std::string> labels;                 // one a plane
    std::vector<std::vector<std::uint8_t>> lookups;  // one a channel, each of 768 bytes
};

/// Whatever of the blocks can be understood. `swapped`: the file has the byte order that this machine has not.
ImageJBlockContents ReadImageJBlocks(std::span<const std::uint32_t> byteCounts,
                                     std::span<const unsigned char> blocks, bool swapped);

/// The header's info with its optics, the names of the channels as labels, and their colours; empty where nothing of
/// these is told.
ImageJBlocks WriteImageJBlocks(const StackHeader& header);

}  // namespace rydecon
