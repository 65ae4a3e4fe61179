// SPDX-License-Identifier: MIT
#include "driver/psf_frame.h"

#include <algorithm>
#include <cstddef>

namespace gnr::detail {

void WrapPSFToFrame(float* frame, unsigned W, unsigned H, const float* psf, unsigned n, unsigned m) {
    const std::size_t width = W;
    const std::size_t height = H;
    const std::size_t centreX = n / 2;
    const std::size_t centreY = m / 2;
    const std::size_t columns = std::min(centreX, width / 2 + 1);
    const std::size_t rows = std::min(centreY, height / 2 + 1);
    for (const bool above : {false, true}) {
        for (const bool left : {false, true}) {
            for (std::size_t y = 0; y < rows; ++y) {
                const float* const from = psf + (above ? centreY - 1 - y : centreY + y) * n;
                float* const to = frame + (above ? height - 1 - y : y) * width;
                for (std::size_t x = 0; x < columns; ++x) {
                    to[left ? width - 1 - x : x] = from[left ? centreX - 1 - x : centreX + x];
                }
            }
        }
    }
}

}  // namespace gnr::detail
