// SPDX-License-Identifier: MIT
#include "entries/gradient_rows.h"

#include <cmath>

#include <processor/vector_clones.h>

namespace gnr::detail {

namespace {

/// Gradients not above this have no direction.
constexpr double kLeastLength = 1e-20;

// below, behind  the same columns of the next row and of the next plane     n  length of the gradient
GNR_VECTOR_CLONES
void NormaliseRow(const float* row, const float* below, const float* behind, std::int64_t count,
                  float* __restrict gx, float* __restrict gy, float* __restrict gz) {
    for (std::int64_t i = 0; i < count; ++i) {
        const double dx = row[i + 1] - row[i];
        const double dy = below[i] - row[i];
        const double dz = behind[i] - row[i];
        const double n = std::sqrt((dy * dy + dx * dx) + dz * dz);
        const bool flat = n <= kLeastLength;
        gx[i] = flat ? 0.0f : static_cast<float>(dx / n);
        gy[i] = flat ? 0.0f : static_cast<float>(dy / n);
        gz[i] = flat ? 0.0f : static_cast<float>(dz / n);
    }
}

GNR_VECTOR_CLONES
void DivergenceOfRow(const float* gx, const float* gy, const float* gz, const float* yBelow,
                     const float* zBehind, std::int64_t count, float* __restrict T) {
    for (std::int64_t i = 0; i < count; ++i) {
        T[i] = ((yBelow[i] - gy[i]) + (gx[i + 1] - gx[i])) + (zBehind[i] - gz[i]);
    }
}

}  // namespace

void NormaliseGradient(const DFT3D& s, const float* row, std::int64_t count, const GradientRow& g) {
    NormaliseRow(row, row + s.rowLength, row + s.planeStride, count, g.x, g.y, g.z);
}

// deliberate: forward differences of a field that is made by forward differences itself
void Divergence(const GradientRow& g, const float* yBelow, const float* zBehind, std::int64_t count,
                float* T) {
    DivergenceOfRow(g.x, g.y, g.z, yBelow, zBehind, count, T);
}

}  // namespace gnr::detail
