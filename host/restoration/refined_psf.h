// SPDX-License-Identifier: MIT
#pragma once

// The PSF that a blind restoration leaves behind: its widths, and its file.

#include <filesystem>
#include <string>

#include "io/stack_header.h"
#include "io/stack_writer.h"
#include "optics/wrapped_psf.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// "0.31 um -> 0.36 um in x, ..." along the axes that have more than one sample; in samples where the voxel
/// size is not known.
std::string WidthChange(const PsfWidths& before, const PsfWidths& after, const Extent& size,
                        const VoxelSize& voxel);

/// The file of a refined PSF: largest sample at the middle, sum 1, float32. Not committed, it leaves nothing.
class RefinedPsfFile {
  public:
    /// size   sides to write, around the largest sample; no larger than the volume
    RefinedPsfFile(const std::filesystem::path& path, const Extent& size, const VoxelSize& voxel,
                   bool overwrite);

    /// UserError where the PSF has no positive sum or is not finite.
    void Write(const PaddedVolume& psf);
    void Commit() { writer_.Commit(); }

  private:
    Extent size_;
    StackWriter writer_;
};

}  // namespace rydecon
