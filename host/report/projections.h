// SPDX-License-Identifier: MIT
#pragma once

// Maximum projections of a stack, gathered plane by plane.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "io/stack_header.h"

namespace rydecon {

class Projections {
  public:
    explicit Projections(const StackHeader& header);

    /// Adds the next plane, height rows of width samples, `rowLength` floats from row to row. Samples that are
    /// not finite only count.
    void AddPlane(const float* samples, std::ptrdiff_t rowLength);
    void AddPlane(const float* samples) { AddPlane(samples, header_.width); }

    const StackHeader& header() const { return header_; }
    /// Seen along z: height rows of width samples. Not-a-number where no sample was finite.
    const std::vector<float>& xy() const { return xy_; }
    /// Seen along y: planes rows of width samples.
    const std::vector<float>& xz() const { return xz_; }
    /// Seen along x: height rows of planes samples.
    const std::vector<float>& yz() const { return yz_; }
    std::uint64_t nonFinite() const { return nonFinite_; }

  private:
    StackHeader header_;
    std::vector<float> xy_;
    std::vector<float> xz_;
    std::vector<float> yz_;
    std::size_t added_ = 0;
    std::uint64_t nonFinite_ = 0;
};

/// The samples that are shown black and white.
struct Contrast {
    float black = 0.0f;
    float white = 0.0f;
};

/// Percentiles 1 and 99.9 of the finite samples of all parts together, or their extremes where those coincide.
Contrast ContrastOf(std::initializer_list<const std::vector<float>*> parts);

/// That of the projections along z and y.
Contrast ChooseContrast(const Projections& projections);

}  // namespace rydecon
