// SPDX-License-Identifier: MIT
#pragma once

// Wavelet sets as the pyramid operations of the cores see them, and as owners.

#include <gnr_deconvolution/legacy.h>

#include "cores/wavelet_pyramid.h"

namespace gnr::detail {

inline PyramidShape ShapeOf(const SWaveletSet& set) {
    return {set.uiX, set.uiY, set.uiZ, set.uiLevels};
}

/// A set that frees itself.
struct OwnedWaveletSet : SWaveletSet {
    explicit OwnedWaveletSet(const PyramidShape& shape)
        : code(Allocate(shape.x, shape.y, shape.z, shape.levels)) {}
    ~OwnedWaveletSet() { Free(); }
    OwnedWaveletSet(const OwnedWaveletSet&) = delete;
    OwnedWaveletSet& operator=(const OwnedWaveletSet&) = delete;

    const int code;  ///< of the allocation
};

}  // namespace gnr::detail
