// SPDX-License-Identifier: MIT
#include "kernels/divergence_2d.h"

#include <fft/ippi.h>

#include "kernels/mean_divergence.h"

namespace gnr::detail {

void MeanIDivergence(const float* a, const float* b, double* result, const FrameRectangle& rectangle,
                     const IppiSize& frame) {
    // A frame is a volume of one plane whose rows have no padding; the plane's stride is not read.
    const DFT3D geometry = {frame.width, frame.height, 1, 0, 0};
    const auto& [minX, minY, maxX, maxY] = rectangle;
    *result = MeanDivergence(geometry, a, b, {minX, maxX, minY, maxY, 0, 1});
}

}  // namespace gnr::detail
