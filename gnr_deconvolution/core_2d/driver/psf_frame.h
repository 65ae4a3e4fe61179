// SPDX-License-Identifier: MIT
#pragma once

// The PSF as a frame of its own, its centre at the origin.

namespace gnr::detail {

/// Lays a PSF of n by m samples, rows adjacent, into a zeroed frame, wrapped so that sample (n / 2, m / 2) comes
/// to (0, 0). One quadrant after the other: lower right, lower left, upper right, upper left. Of each at most
/// W / 2 + 1 columns and H / 2 + 1 rows are taken, so that quadrants of a PSF as large as the frame overlap
/// and the later ones stay. deliberate: the last column of an odd n and the last row of an odd m are left out
void WrapPSFToFrame(float* frame, unsigned W, unsigned H, const float* psf, unsigned n, unsigned m);

}  // namespace gnr::detail
