// SPDX-License-Identifier: MIT
#pragma once

// Defects of a camera: single samples far above all around them, in one plane or at one place of all planes.

#include <array>
#include <vector>

#include "volume/plane_stream.h"

namespace rydecon {

/// A hot sample exceeds the median of its neighbours by more than this many times the noise of the stack,
inline constexpr double kHotTimesNoise = 8.0;
/// and by more than this many times what the brightest neighbour exceeds it by.
inline constexpr float kHotTimesNeighbours = 8.0f;
/// Where more samples than this share are hot, they are no defects but the image.
inline constexpr double kMostHot = 1.0e-3;

/// Replaces hot samples by the median of their neighbours: the eight around in the own plane and in the planes
/// before and after, where there are such. The samples straight before and after are none: a camera's defect
/// is in all planes.
class RepairedPlanes final : public PlaneSource {
  public:
    /// least       excess over the median that a hot sample has at least
    /// alone       planes are pictures of their own: neighbours are in the own plane only
    RepairedPlanes(PlaneSource& from, double least, bool alone);

    Extent shape() const override { return from_.shape(); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override;

    /// Samples replaced in the plane read last.
    long long replaced() const { return replaced_; }

  private:
    const std::vector<float>& Raw(int k);

    PlaneSource& from_;
    float least_;
    bool alone_;
    struct Held {
        int plane = -1;
        std::vector<float> samples;
    };
    std::array<Held, 3> held_;  // plane k at k % 3
    long long replaced_ = 0;
};

/// Noise of a stack: root mean square of its high-pass part, without the largest hundredth. 0 where planes are
/// narrower than three samples.
double NoiseLevel(PlaneSource& from);

}  // namespace rydecon
