// SPDX-License-Identifier: MIT
#pragma once

// The part of a written TIFF file before its samples: header, directories and metadata, all made in advance.
//
// All planes follow the prologue as one run of uncompressed samples, channel by channel of a slice, slice by slice, time
// by time, because ImageJ looks only at the first
// directory of its stacks and expects plane k at k plane sizes behind the first. libtiff writes a directory
// behind the samples of each page, or makes room for all directories only in a first pass over empty pages;
// with every offset known in advance, writing the bytes is the shorter way, and the only one to
// SingleDirectory.

#include <cstdint>
#include <limits>
#include <string>

#include "io/stack_header.h"

namespace rydecon {

enum class TiffForm {
    Classic,          // a directory a plane, offsets of 32 bits
    SingleDirectory,  // one directory; ImageJ and its readers count the planes behind the first by themselves
    Big,              // BigTIFF: a directory a plane, offsets of 64 bits
};

/// Classic up to `classicLimit` bytes. Above, a file for ImageJ is a SingleDirectory: it is the form that both ImageJ,
/// which knows no BigTIFF, and Python's tifffile read as a stack; Big only where a single plane exceeds the limit. An
/// OME-TIFF above the limit is Big.
TiffForm ChooseForm(const StackHeader& header,
                    std::uint64_t classicLimit = std::numeric_limits<std::uint32_t>::max());

/// The bytes before the first sample, in the byte order of this machine. The header's sample type and container are
/// those of the file.
std::string MakePrologue(const StackHeader& header, TiffForm form);

/// Bytes of one plane.
std::uint64_t PlaneBytes(const StackHeader& header);

/// Where a plane begins, counted from the end of the prologue.
std::uint64_t PlaneOffset(const StackHeader& header, const PlaneIndex& plane);

}  // namespace rydecon
