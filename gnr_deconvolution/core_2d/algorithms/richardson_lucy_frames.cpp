// SPDX-License-Identifier: MIT
#include "algorithms/richardson_lucy_frames.h"

#include <cstdint>

#include "kernels/richardson_lucy_update.h"

namespace gnr::detail {

void RichardsonLucyFrames::Update(const float* first, const float* second) const {
    // A frame is a volume of one plane; the sweep reads neither the plane's stride nor the total.
    const DFT3D geometry = {static_cast<std::int32_t>(W()), static_cast<std::int32_t>(H()), 1, 0, 0};
    RichardsonLucyUpdate(geometry, x(), first, second, inverseSum_, false);
}

}  // namespace gnr::detail
