// SPDX-License-Identifier: MIT
#include "cleaning/cleaned_planes.h"

#include <algorithm>

namespace rydecon {

void LoweredPlanes::ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) {
    from_.ReadPlane(k, rows, rowStride);
    const Extent size = shape();
    for (int j = 0; j < size.y; ++j) {
        float* const row = rows + j * rowStride;
        // A NaN stays one, so that it is found.
        for (int i = 0; i < size.x; ++i) row[i] = row[i] < background_ ? 0.0f : row[i] - background_;
    }
}

CleanedPlanes::CleanedPlanes(PlaneSource& from, const Cleaning& cleaning)
    : repairedOrRaw_(&from), last_(&from) {
    if (cleaning.hotPixels > 0) {
        repaired_.emplace(from, cleaning.hotExcess, cleaning.planesAlone);
        repairedOrRaw_ = last_ = &*repaired_;
    }
    if (cleaning.background) {
        lowered_.emplace(*last_, *cleaning.background);
        last_ = &*lowered_;
    }
}

}  // namespace rydecon
