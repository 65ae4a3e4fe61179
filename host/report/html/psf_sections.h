// SPDX-License-Identifier: MIT
#pragma once

// The pictures of a PSF for a report.

#include <vector>

#include "report/html/restoration_report.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// Sections through the largest sample of a PSF that is wrapped around the volume, as far as it exceeds a
/// thousandth of its peak in them, but no farther than `sides`; and its widths. The spectrum that a core leaves
/// is no PSF: call it before the run, or after the core has transformed it back.
ReportPsf DescribeWrappedPsf(const PaddedVolume& psf, const Extent& sides, const VoxelSize& voxel);

/// The same of a square PSF of one plane, `side` rows of as many samples.
ReportPsf DescribeSquarePsf(const std::vector<float>& psf, int side, const VoxelSize& voxel);

}  // namespace rydecon
