// SPDX-License-Identifier: MIT
#pragma once

// The part of a written TIFF file before its samples: header, directories and metadata, all made in advance.
//
// All planes follow the prologue as one run of uncompressed float32, because ImageJ looks only at the first
// directory of its stacks and expects plane k at k plane sizes behind the first. libtiff writes a directory
// behind the samples of each page, or makes room for all directories only in a first pass over empty pages;
// with every offset known in advance, writing the bytes is the shorter way, and the only one to
// SingleDirectory.

#include <cstdint>
#include <string>

#include "io/stack_header.h"

namespace rydecon {

enum class TiffForm {
    Classic,          // a directory a plane, offsets of 32 bits
    SingleDirectory,  // one directory; ImageJ and its readers count the planes behind the first by themselves
    Big,              // BigTIFF: a directory a plane, offsets of 64 bits
};

/// Classic below 4 GiB. Above, SingleDirectory: it is the form that both ImageJ, which knows no BigTIFF, and
/// Python's tifffile read as a stack. Big only where a single plane exceeds 4 GiB.
TiffForm ChooseForm(const StackHeader& header);

/// The bytes before the first sample, in the byte order of this machine.
std::string MakePrologue(const StackHeader& header, TiffForm form);

/// Bytes of one plane of float32.
std::uint64_t PlaneBytes(const StackHeader& header);

}  // namespace rydecon
