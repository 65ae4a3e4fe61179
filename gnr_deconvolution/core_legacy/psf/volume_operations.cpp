// SPDX-License-Identifier: MIT

// What every generator ends with, on the object's own volume: scaling, search for the peak, cyclic shift.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "detail/parallel.h"
#include "detail/volume_geometry.h"
#include "psf/psf_volume.h"
#include "psf/truncation.h"

using namespace gnr::detail;

namespace {

/// Calls visit(sample) for the usable samples in plane, row, column order; with padding, that becomes 0.
template <class Visit>
void WalkAndClearPadding(const DFT3D& s, float* volume, bool padded, Visit visit) {
    const std::int32_t width = UsableWidth(s, padded);
    for (std::int64_t r = 0; r < RowsOfVolume(s); ++r) {
        float* const row = volume + r * s.rowLength;
        for (std::int32_t x = 0; x < width; ++x) visit(row[x]);
        std::fill(row + width, row + s.rowLength, 0.0f);
    }
}

void ScaleToMaximum(const DFT3D& s, float* volume, float value, bool padded) {
    float maximum = volume[0];
    WalkAndClearPadding(s, volume, padded, [&maximum](float v) {
        if (v > maximum) maximum = v;
    });
    const float factor = maximum == 0.0f ? value : value / maximum;
    ParallelGroups(volume, s.total, [all = Lanes4(factor)](Lanes4 v) { return v * all; });
}

void ScaleToSum(const DFT3D& s, float* volume, double value, bool padded) {
    double sum = 0.0;
    WalkAndClearPadding(s, volume, padded, [&sum](float v) { sum += v; });
    // deliberate: a sum of 0 keeps the samples, where a maximum of 0 takes the value as the factor
    const double factor = sum != 0.0 ? value / sum : 1.0;
    ParallelRows(s, volume, [factor, rowLength = s.rowLength](float* row, std::int64_t) {
        for (std::int32_t x = 0; x < rowLength; ++x) row[x] = static_cast<float>(row[x] * factor);
    });
}

/// Calls visit(sample, x, y, z) for each float of the buffer in ascending order.
template <class Visit>
void WalkPlaces(const DFT3D& s, const float* volume, Visit visit) {
    for (std::int32_t z = 0; z < s.planes; ++z) {
        for (std::int32_t y = 0; y < s.rows; ++y) {
            const float* const row = volume + z * std::int64_t{s.planeStride} + y * std::int64_t{s.rowLength};
            for (std::int32_t x = 0; x < s.rowLength; ++x) visit(row[x], x, y, z);
        }
    }
}

/// What a shift by d adds to a target place to give the source place, modulo the side: side - d % period,
/// taken into [0, side).
std::int32_t SourceOffset(std::int32_t side, std::int32_t d, std::int32_t period) {
    const std::int64_t offset = (std::int64_t{side} - d % period) % side;
    return static_cast<std::int32_t>(offset < 0 ? offset + side : offset);
}

}  // namespace

void FloatPSF3D::Normalize(ENormalizationType eType, double dValue, bool bPadded) {
    if (eType == NormalizeToMaximum) ScaleToMaximum(sizes, pfPSF, static_cast<float>(dValue), bPadded);
    if (eType == NormalizeToSum) ScaleToSum(sizes, pfPSF, dValue, bPadded);
}

void FloatPSF3D::GetMaxValue(int& x, int& y, int& z, float* pfMax) {
    x = y = z = 0;
    if (pfPSF == nullptr) return;
    float maximum = pfPSF[0];
    WalkPlaces(sizes, pfPSF, [&](float v, int column, int row, int plane) {
        if (v > maximum) {
            maximum = v;
            x = column;
            y = row;
            z = plane;
        }
    });
    if (pfMax != nullptr) *pfMax = maximum;
}

void FloatPSF3D::GetMaxValueCenter(float fFraction, int& x, int& y, int& z) {
    float maximum = 0.0f;
    GetMaxValue(x, y, z, &maximum);
    x = y = z = 0;
    if (pfPSF == nullptr) return;
    const float threshold = (1.0f - fFraction) * maximum;
    std::array<double, 3> sums{};
    double count = 0.0;
    WalkPlaces(sizes, pfPSF, [&](float v, int column, int row, int plane) {
        if (v >= threshold) {
            sums[0] += column;
            sums[1] += row;
            sums[2] += plane;
            count += 1.0;
        }
    });
    if (count == 0.0) return;
    x = TruncateToInt32(sums[0] / count);
    y = TruncateToInt32(sums[1] / count);
    z = TruncateToInt32(sums[2] / count);
}

int FloatPSF3D::Shift(int dx, int dy, int dz, bool bPadded) {
    float* const shifted = CRy3DDeconvolutionLow::SSE_Alloc(sizes.total);
    if (shifted == nullptr) return gnr::kOutOfMemory;
    const std::int32_t width = UsableWidth(sizes, bPadded);
    if (width > 0 && sizes.rows > 0 && sizes.planes > 0) {
        // deliberate: dx is reduced by the row length, not by the usable width
        const std::int32_t offsetX = SourceOffset(width, dx, sizes.rowLength);
        const std::int32_t offsetY = SourceOffset(sizes.rows, dy, sizes.rows);
        const std::int32_t offsetZ = SourceOffset(sizes.planes, dz, sizes.planes);
        ParallelRows(sizes, shifted, [=, this](float* target, std::int64_t r) {
            const std::int64_t y = (r % sizes.rows + offsetY) % sizes.rows;
            const std::int64_t z = (r / sizes.rows + offsetZ) % sizes.planes;
            const float* const source = pfPSF + z * sizes.planeStride + y * sizes.rowLength;
            std::rotate_copy(source, source + offsetX, source + width, target);
        });
    }
    CRy3DDeconvolutionLow::SSE_Destroy(pfPSF);
    pfPSF = shifted;
    return gnr::kSuccess;
}

void FloatPSF3D::MovePSFToCorrect(DFT3D* pSizes, float* pf, bool bWholeRow) {
    const std::int32_t rowLength = pSizes->rowLength;
    const std::int32_t from = bWholeRow ? 1 : rowLength / 2 + 1;
    const std::int32_t to = bWholeRow ? 0 : rowLength / 2 - 1;
    const std::int32_t count = bWholeRow ? rowLength - 2 : rowLength / 2 - 1;
    if (count <= 0) return;
    for (std::int64_t r = 0; r < RowsOfVolume(*pSizes); ++r) {
        float* const row = pf + r * rowLength;
        std::copy_n(row + from, count, row + to);
    }
}

void FloatPSF3D::KERNEL3D_Square(DFT3D* pSizes, float* pf) {
    ParallelGroups(pf, pSizes->total, [](Lanes4 v) { return v * v; });
}
