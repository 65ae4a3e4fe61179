// SPDX-License-Identifier: MIT
#pragma once

// How strong the noise of an image is, told from the image alone.

#include <cstddef>
#include <optional>
#include <vector>

namespace rydecon {

/// Estimates the standard deviation of white noise in planes of one size.
///
/// Each plane is filtered by N = [1 -2 1; -2 4 -2; 1 -2 1], the difference of two Laplacians, which cancels whatever
/// varies slowly and multiplies the deviation of white noise by 6 (J. Immerkaer, "Fast noise variance estimation",
/// Computer Vision and Image Understanding 64, 1996, 300-302). The deviation of the filtered plane is taken from the
/// median of its magnitudes, which edges hardly move: 0.67449 deviations of a normal distribution. Where more than half
/// of the magnitudes are 0, as in coarse integers, it is taken from their mean, sqrt(2 / pi) deviations.
class NoiseEstimate {
  public:
    /// Adds a plane; row j begins at rows[j * rowStride]. Neighbourhoods with a sample that is not finite are left out.
    void AddPlane(const float* rows, std::ptrdiff_t rowStride, int width, int height);

    /// The median of the planes' deviations; empty where no plane has 3 x 3 finite samples.
    std::optional<double> Deviation() const;

  private:
    std::vector<float> magnitudes_;  // of one plane
    std::vector<double> planes_;
};

}  // namespace rydecon
