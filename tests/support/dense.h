// SPDX-License-Identifier: MIT
#pragma once

// Padded volumes as the dense double-precision volumes of the reference implementations.

#include "support/ref/direct_dft.h"
#include "support/volumes.h"

namespace gnr::test {

/// The image columns.
inline ref::RealVolume ToDense(const Volume& v) {
    ref::RealVolume dense(v.x(), v.y(), v.z());
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) dense.at(i, j, k) = v.at(i, j, k);
        }
    }
    return dense;
}

}  // namespace gnr::test
