// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/return_codes.h>

#include <cmath>
#include <cstdint>

#include "detail/parallel.h"
#include "kernels/mean_divergence.h"

int CRy3DDeconvolutionLow::CalculateIDIV(float* pfA, float* pfB, double& dResult, unsigned long long uiMinX,
                                         unsigned long long uiMaxX, unsigned long long uiMinY,
                                         unsigned long long uiMaxY, unsigned long long uiMinZ,
                                         unsigned long long uiMaxZ, const DFT3D* s) {
    const bool empty = uiMaxX <= uiMinX || uiMaxY <= uiMinY || uiMaxZ <= uiMinZ;
    const std::uint64_t rowsOfBox = uiMaxY - uiMinY;
    const std::uint64_t planesOfBox = uiMaxZ - uiMinZ;
    const std::uint64_t rows = static_cast<std::uint64_t>(s->rows);
    const std::uint64_t rowLength = static_cast<std::uint64_t>(s->rowLength);

    const std::int64_t boxRows = empty ? 0 : static_cast<std::int64_t>(rowsOfBox * planesOfBox);
    const auto [sum] = gnr::detail::ParallelSums<1>(boxRows, [=](std::int64_t boxRow, double* sums) {
        const std::uint64_t r = static_cast<std::uint64_t>(boxRow);
        const std::uint64_t z = uiMinZ + r / rowsOfBox;
        const std::uint64_t y = uiMinY + r % rowsOfBox;
        const float* const rowA = pfA + (rows * z + y) * rowLength;
        const float* const rowB = pfB + (rows * z + y) * rowLength;
        double threadSum = sums[0];
        for (std::uint64_t x = uiMinX; x < uiMaxX; ++x) {
            const double a = rowA[x];
            const double b = rowB[x];
            const double L =
                std::log((a + gnr::detail::kDivergenceOffset) / (b + gnr::detail::kDivergenceOffset));
            // deliberate: the terms join the running sum one by one, in this order
            threadSum = (threadSum + (L * a - a)) + b;
        }
        sums[0] = threadSum;
    });
    dResult = sum / static_cast<double>((uiMaxX - uiMinX) * rowsOfBox * planesOfBox);
    return gnr::kSuccess;
}
