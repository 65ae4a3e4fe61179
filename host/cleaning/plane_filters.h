// SPDX-License-Identifier: MIT
#pragma once

// What the looks at a stack before its restoration have in common: the walk over its planes, local means, and
// the part of a plane in which noise lives.

#include <array>
#include <cstddef>
#include <vector>

#include "report/stop_request.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// Calls look(samples, k) for each plane, its rows without padding. UserError after Ctrl-C.
template <class Look>
void ForEachPlane(PlaneSource& from, Look look) {
    const Extent shape = from.shape();
    std::vector<float> plane(static_cast<std::size_t>(shape.x) * static_cast<std::size_t>(shape.y));
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        from.ReadPlane(k, plane.data(), shape.x);
        look(plane.data(), k);
    }
}

/// The mean of the 5 x 5 samples around each one, as far as the plane has them.
std::vector<float> LocalMeans(const float* plane, int width, int height);

/// (1 -2 1) along x and y, its taps `step` samples apart, divided by 6: white noise keeps its variance, and
/// what is smooth is gone. i and j lie at least `step` samples inside the plane.
/// Source: Immerkaer 1996 (docs/bibliography.md)
inline double HighPass(const float* plane, std::ptrdiff_t width, int i, int j, int step) {
    const float* const middle = plane + j * width + i;
    const std::ptrdiff_t down = step * width;
    const auto across = [step](const float* tap) {
        return double{tap[-step]} - 2.0 * double{tap[0]} + double{tap[step]};
    };
    return (across(middle - down) - 2.0 * across(middle) + across(middle + down)) / 6.0;
}

/// The mean of the samples around one, each weighted by its share in the variance of the high-pass part with
/// taps side by side.
inline double MeanOfHighPass(const float* plane, std::ptrdiff_t width, int i, int j) {
    const float* const middle = plane + j * width + i;
    const auto across = [](const float* tap) {
        return double{tap[-1]} + 4.0 * double{tap[0]} + double{tap[1]};
    };
    return (across(middle - width) + 4.0 * across(middle) + across(middle + width)) / 36.0;
}

/// Squares sorted by their size, so that a mean can leave out the largest.
class TrimmedSquares {
  public:
    void Add(double value);

    /// Root of the mean of all squares but the largest hundredth; 0 without any.
    double Rms() const;

  private:
    static constexpr std::size_t kBins = 1024;  // eight an octave
    struct Bin {
        double sum = 0.0;
        double count = 0.0;
    };
    std::array<Bin, kBins> bins_{};
};

}  // namespace rydecon
