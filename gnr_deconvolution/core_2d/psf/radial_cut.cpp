// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_2d.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "kernels/frame_blocks.h"

namespace {

using namespace gnr::detail;

/// Distance of (x, y) from the middle of w by h samples; the sum of squares is modulo 2^32.
double DistanceFromMiddle(unsigned x, unsigned y, unsigned w, unsigned h) {
    const std::uint32_t dx = x - w / 2;
    const std::uint32_t dy = y - h / 2;
    return std::sqrt(static_cast<double>(dx * dx + dy * dy));
}

/// Linear between the samples of a column; at a whole t the sample itself.
float SampleAt(const float* column, double t) {
    const double above = std::ceil(t);
    const double f = above - t;
    const double lower = column[static_cast<std::size_t>(std::floor(t))];
    const double upper = column[static_cast<std::size_t>(above)];
    return static_cast<float>(lower * f + upper * (1.0 - f));
}

}  // namespace

void FloatPSF2D::GetPlaneCutAiry(float* pfOut, float* pfPlane, unsigned w, unsigned h, unsigned uiColumn) {
    const unsigned middle = h / 2;
    // Radii reach from the middle row to the first one: of w samples those beyond the plane are not needed,
    // and those that the plane does not have are 0.
    const unsigned length = std::max(w, middle + 1);
    const FrameBlock<float> column = NewFrame<float>(length, 1, Contents::kZero);
    if (column == nullptr) return;
    const float* const from = pfPlane + (w / 2 - std::min(uiColumn, w / 2));
    for (std::size_t j = 0; j < std::min(w, h); ++j) column[j] = from[j * w];

    float sum = 0.0f;
    const double reach = static_cast<double>(middle) - 1.0;
    for (unsigned y = 0; y < h; ++y) {
        float* const row = pfOut + std::size_t{y} * w;
        for (unsigned x = 0; x < w; ++x) {
            const double r = DistanceFromMiddle(x, y, w, h);
            row[x] = 0.0f;
            if (r < reach) {
                row[x] = SampleAt(column.get(), middle - r);
                sum += row[x];
            }
        }
    }
    std::for_each_n(pfOut, std::size_t{w} * h, [sum](float& v) { v /= sum; });
}
