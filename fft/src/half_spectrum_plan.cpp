// SPDX-License-Identifier: MIT
#include "half_spectrum_plan.h"

#include <omp.h>

#include <algorithm>

#include "parallel.h"
#include "planner.h"

namespace gnr::fft {

namespace {

/// FFTW's description of an axis from its length and strides.
fftwf_iodim64 Axis(std::ptrdiff_t length, std::ptrdiff_t in, std::ptrdiff_t out) {
    return {length, in, out};
}

/// Rows that are transformed and scaled together, while they are in the nearest cache. A multiple of four
/// keeps every chunk at the alignment of the first.
constexpr std::ptrdiff_t kRowsPerChunk = 16;

/// Up to so many floats (4 MiB) a volume stays in the caches from one pass to the next. Then one plan and a pass
/// that scales take less time than the making of separate plans.
constexpr std::ptrdiff_t kFloatsInCache = std::ptrdiff_t{1} << 20;

/// All axes in one plan, in place.
Plan PlanBackward(const Geometry& g, float* real) {
    fftwf_iodim64 axes[3];
    for (std::size_t a = 0; a < 3; ++a) axes[a] = Axis(g.lengths[a], g.complexStrides[a], g.realStrides[a]);
    return MakeGuarded(omp_get_max_threads(), [&] {
        return fftwf_plan_guru64_dft_c2r(3, axes, 0, nullptr, reinterpret_cast<fftwf_complex*>(real), real,
                                         FFTW_ESTIMATE);
    });
}

/// Transforms along planes and rows, in place, for every spectral column.
Plan PlanColumns(const Geometry& g, fftwf_complex* spectrum) {
    const auto& c = g.complexStrides;
    const fftwf_iodim64 axes[] = {Axis(g.lengths[0], c[0], c[0]), Axis(g.lengths[1], c[1], c[1])};
    const fftwf_iodim64 columns = Axis(g.ComplexColumns(), 1, 1);
    return MakeGuarded(omp_get_max_threads(), [&] {
        return fftwf_plan_guru64_dft(2, axes, 1, &columns, spectrum, spectrum, FFTW_BACKWARD, FFTW_ESTIMATE);
    });
}

/// Transforms `rows` neighbouring spectral rows to real rows, in place, on one thread.
Plan PlanRows(const Geometry& g, std::ptrdiff_t rows, float* real) {
    const fftwf_iodim64 axis = Axis(g.lengths[2], 1, 1);
    const fftwf_iodim64 neighbours = Axis(rows, g.complexStrides[1], g.realStrides[1]);
    const auto bytes = static_cast<std::ptrdiff_t>(sizeof(float));
    const bool aligned = g.realStrides[0] * bytes % 16 == 0;
    const unsigned flags = FFTW_ESTIMATE | (aligned ? 0U : FFTW_UNALIGNED);
    return MakeGuarded(1, [&] {
        return fftwf_plan_guru64_dft_c2r(1, &axis, 1, &neighbours, reinterpret_cast<fftwf_complex*>(real),
                                         real, flags);
    });
}

/// Scales the samples of a real row and clears what lies between it and the next.
void FinishRow(const Geometry& g, float* row, float scale) {
    const std::ptrdiff_t width = g.lengths[2];
    const std::ptrdiff_t used = 2 * g.ComplexColumns();
    for (std::ptrdiff_t i = 0; i < width; ++i) row[i] *= scale;
    for (std::ptrdiff_t i = width; i < std::max(used, g.realStrides[1]); ++i) row[i] = 0.0f;
}

/// One plan, then one pass that scales.
bool TransformBackwardAtOnce(const Geometry& g, float* real, float scale) {
    const Plan plan = PlanBackward(g, real);
    if (plan == nullptr) return false;
    fftwf_execute(plan.get());
    const std::ptrdiff_t rows = g.lengths[1];
    ParallelFor(g.lengths[0] * rows, [=, &g](std::ptrdiff_t n) {
        FinishRow(g, real + n / rows * g.realStrides[0] + n % rows * g.realStrides[1], scale);
    });
    return true;
}

/// Planes and rows first, then the columns, each chunk of rows scaled while it is in the cache.
bool TransformBackwardInChunks(const Geometry& g, float* real, float scale) {
    const std::ptrdiff_t rows = g.lengths[1];
    const std::ptrdiff_t chunksPerPlane = (rows + kRowsPerChunk - 1) / kRowsPerChunk;
    const std::ptrdiff_t lastChunkRows = rows - (chunksPerPlane - 1) * kRowsPerChunk;

    const Plan columns = PlanColumns(g, reinterpret_cast<fftwf_complex*>(real));
    const Plan chunk = PlanRows(g, std::min(rows, kRowsPerChunk), real);
    const bool uneven = chunksPerPlane > 1 && lastChunkRows != kRowsPerChunk;
    const Plan shorter = uneven ? PlanRows(g, lastChunkRows, real) : nullptr;
    if (columns == nullptr || chunk == nullptr || (uneven && shorter == nullptr)) return false;

    fftwf_execute(columns.get());
    ParallelFor(g.lengths[0] * chunksPerPlane, [&](std::ptrdiff_t n) {
        const std::ptrdiff_t plane = n / chunksPerPlane;
        const std::ptrdiff_t firstRow = n % chunksPerPlane * kRowsPerChunk;
        const bool last = firstRow + kRowsPerChunk >= rows;
        float* const first = real + plane * g.realStrides[0] + firstRow * g.realStrides[1];
        fftwf_execute_dft_c2r((last && uneven ? shorter : chunk).get(),
                              reinterpret_cast<fftwf_complex*>(first), first);
        const std::ptrdiff_t count = last ? lastChunkRows : kRowsPerChunk;
        for (std::ptrdiff_t j = 0; j < count; ++j) FinishRow(g, first + j * g.realStrides[1], scale);
    });
    return true;
}

}  // namespace

bool TransformForward(const Geometry& g, float* real, fftwf_complex* spectrum) {
    fftwf_iodim64 axes[3];
    for (std::size_t a = 0; a < 3; ++a) axes[a] = Axis(g.lengths[a], g.realStrides[a], g.complexStrides[a]);
    const Plan plan = MakeGuarded(omp_get_max_threads(), [&] {
        return fftwf_plan_guru64_dft_r2c(3, axes, 0, nullptr, real, spectrum, FFTW_ESTIMATE);
    });
    if (plan == nullptr) return false;
    fftwf_execute(plan.get());
    return true;
}

bool TransformBackwardInPlace(const Geometry& g, float* real, float scale) {
    const bool inCache = g.lengths[0] * g.lengths[1] * g.ComplexColumns() * 2 <= kFloatsInCache;
    return inCache ? TransformBackwardAtOnce(g, real, scale) : TransformBackwardInChunks(g, real, scale);
}

}  // namespace gnr::fft
