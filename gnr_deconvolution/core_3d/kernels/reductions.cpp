// SPDX-License-Identifier: MIT

// Sums and extremes over the samples of a volume.

#include <gnr_deconvolution/kernels_3d.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "detail/parallel.h"
#include "detail/volume_walk.h"

using namespace gnr::detail;

namespace {

/// Rows whose sums run side by side: one chain of additions waits for itself, four hide their latency.
constexpr std::int64_t kRowsTogether = 4;

/// In double, in ascending order.
double SumOfRow(const float* row, std::int32_t columns) {
    double sum = 0.0;
    for (std::int32_t i = 0; i < columns; ++i) sum += static_cast<double>(row[i]);
    return sum;
}

/// The same for four neighbouring rows, each by itself, then their total.
double SumOfFourRows(const float* row, std::int64_t rowLength, std::int32_t columns) {
    std::array<double, kRowsTogether> sums{};
    for (std::int32_t i = 0; i < columns; ++i) {
        for (std::size_t j = 0; j < sums.size(); ++j) {
            sums[j] += static_cast<double>(row[static_cast<std::int64_t>(j) * rowLength + i]);
        }
    }
    return ((sums[0] + sums[1]) + sums[2]) + sums[3];
}

}  // namespace

float CRy3DDeconvolutionLow::GetSumOfImage(const DFT3D* s, float* p) {
    double sum = 0.0;
    WalkImageColumns(*s, p, [&sum](float v) { sum += v; });
    return static_cast<float>(sum);
}

float CRy3DDeconvolutionLow::GetSumOfImageXX(const DFT3D* s, float* pf) {
    const std::int32_t columns = ImageColumns(*s);
    const std::int64_t rowLength = s->rowLength;
    const std::int64_t rows = RowsOfVolume(*s);
    const std::int64_t bundles = (rows + kRowsTogether - 1) / kRowsTogether;
    const auto [sum] = ParallelSums<1>(bundles, [=](std::int64_t bundle, double* sums) {
        const std::int64_t first = bundle * kRowsTogether;
        if (first + kRowsTogether <= rows) {
            sums[0] += SumOfFourRows(pf + first * rowLength, rowLength, columns);
            return;
        }
        for (std::int64_t r = first; r < rows; ++r) sums[0] += SumOfRow(pf + r * rowLength, columns);
    });
    return static_cast<float>(sum);
}

float CRy3DDeconvolutionLow::GetSumOfImageInteg(const DFT3D* s, float* p, int iFirstPlane, int iPlanes,
                                                int iMargin, int iWidth, int iHeight) {
    // deliberate: one margin for x and for y, and columns up to the row's end, padding included
    const std::int64_t begin = std::max(iMargin, 0);
    const std::int64_t endColumn = std::min(std::int64_t{iMargin} + iWidth, std::int64_t{s->rowLength});
    const std::int64_t endRow = std::min(std::int64_t{iMargin} + iHeight, std::int64_t{s->rows});

    const float* const first = p + WrappedProduct(s->planeStride, iFirstPlane);
    double sum = 0.0;
    for (std::int64_t k = 0; k < iPlanes; ++k) {
        for (std::int64_t j = begin; j < endRow; ++j) {
            const float* const row = first + (k * s->rows + j) * s->rowLength;
            for (std::int64_t i = begin; i < endColumn; ++i) sum += row[i];
        }
    }
    return static_cast<float>(sum);
}

// Among equal values, zeros of either sign included, the last one is taken; no comparison takes a NaN.

float CRy3DDeconvolutionLow::GetMaxOfImageXX(const DFT3D* s, float* p) {
    float greatest = std::numeric_limits<float>::lowest();
    WalkImageColumns(*s, p, [&greatest](float v) { greatest = greatest <= v ? v : greatest; });
    return greatest;
}

float CRy3DDeconvolutionLow::GetMinOfImageXX(const DFT3D* s, float* p) {
    float least = std::numeric_limits<float>::max();
    WalkImageColumns(*s, p, [&least](float v) { least = v <= least ? v : least; });
    return least;
}
