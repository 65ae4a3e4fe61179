// SPDX-License-Identifier: MIT
#include "kernels/blind_sweeps.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <processor/vector_clones.h>
#include "detail/elementary_log.h"
#include "detail/elementary_power.h"
#include "detail/float_bounds.h"
#include "detail/parallel.h"
#include "kernels/acceleration_bounds.h"
#include "kernels/element_wise.h"
#include "kernels/pointwise.h"
#include "kernels/richardson_lucy_update.h"

namespace gnr::detail {

namespace {

/// Blocks of a plane for each thread: as few as there can be, since threads wait for each other at every one.
constexpr std::int64_t kBlocksPerThread = 1;
/// Fewer samples a block are not worth the waiting.
constexpr std::int64_t kLeastSamplesPerBlock = 2048;

GNR_VECTOR_CLONES
void StepRow(float* v, const float* A, const float* previous, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const float ratio = A[i] / previous[i];
        v[i] = previous[i] > kLeastDivisorOfStep ? ratio : 1.0f;
    }
}

GNR_VECTOR_CLONES
void PowerRow(float* v, float alpha, std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) v[i] = PowerUpToOne(AboveZero(v[i]), alpha);
}

/// Terms of the exponent's numerator and denominator; those of a sample that is left out stay.
GNR_VECTOR_CLONES
void ExponentTerms(float* t1, float* t2, const float* a, const float* b, const float* c, const float* d,
                   std::int64_t n) {
    for (std::int64_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(DecimalLog(d[i]) * b[i]);
        const double u = static_cast<double>(DecimalLog(c[i]) * a[i]);
        const bool counts = c[i] > kLeastRatio && d[i] > kLeastRatio;
        t1[i] = counts ? static_cast<float>(u * t) : t1[i];
        t2[i] = counts ? static_cast<float>(t * t) : t2[i];
    }
}

/// Raises one row after the other.
class RowPower {
  public:
    RowPower(const DFT3D& s, float alpha, Power power)
        : columns_(ImageColumns(s)),
          rowLength_(s.rowLength),
          alpha_(alpha),
          fills_(power == Power::WithShortcuts && IsPowerOfZero(alpha)),
          skips_(power == Power::WithShortcuts && IsPowerOfOne(alpha)) {}

    void operator()(float* row) const {
        if (fills_) {
            std::fill_n(row, rowLength_, 1.0f);
        } else if (!skips_) {
            PowerRow(row, alpha_, columns_);
        }
    }

  private:
    std::int32_t columns_;
    std::int32_t rowLength_;
    float alpha_;
    bool fills_;
    bool skips_;
};

}  // namespace

void FormRatio(const DFT3D& s, float* a, const float* g, ZeroDivisor zero) {
    if (zero == ZeroDivisor::Stays) {
        ParallelGroups(a, g, s.total, kDivideOrKeep);
    } else {
        ParallelGroups(a, g, s.total, kDivideOrZero);
    }
}

void Extrapolate(const DFT3D& s, float* A, float* v, float alpha, Power power) {
    const std::int32_t length = s.rowLength;
    const RowPower raise(s, alpha, power);
    ParallelRows(s, A, [=](float* row, std::int64_t r) {
        raise(v + r * length);
        MultiplyRow(row, v + r * length, length);
    });
}

void StepAndExtrapolate(const DFT3D& s, float* A, float* v, float* previous, float alpha, Power power) {
    const std::int32_t length = s.rowLength;
    const RowPower raise(s, alpha, power);
    ParallelRows(s, A, [=](float* row, std::int64_t r) {
        float* const step = v + r * length;
        float* const before = previous + r * length;
        StepRow(step, row, before, length);
        std::copy_n(row, length, before);
        raise(step);
        MultiplyRow(row, step, length);
    });
}

void Step(const DFT3D& s, const float* A, float* v, float* previous, bool keep) {
    const std::int32_t length = s.rowLength;
    ParallelRows(s, A, [=](const float* row, std::int64_t r) {
        StepRow(v + r * length, row, previous + r * length, length);
        if (keep) std::copy_n(row, length, previous + r * length);
    });
}

// Rows are dealt out in blocks; the terms of a block are added while others make theirs, in the order in which
// one thread would.
float ExponentOfStep(const DFT3D& s, float* planes, const float* A, const float* previous,
                     const float* gradient1, const float* gradient2) {
    const std::int64_t planeStride = s.planeStride;
    const std::int64_t length = s.rowLength;
    const std::int64_t columns = ImageColumns(s);
    const std::int64_t blocks =
        std::clamp(planeStride / kLeastSamplesPerBlock, std::int64_t{1}, kBlocksPerThread * ThreadsToCome());
    const std::int64_t rowsPerBlock = std::max((s.rows + blocks - 1) / blocks, std::int64_t{1});
    const std::int64_t blocksPerPlane = (s.rows + rowsPerBlock - 1) / rowsPerBlock;
    float* const t1 = planes;
    float* const t2 = planes + planeStride;
    std::fill_n(planes, 2 * planeStride, 0.0f);

    const auto rowsOf = [=, rows = std::int64_t{s.rows}](std::int64_t block) {
        const std::int64_t first = block % blocksPerPlane * rowsPerBlock;
        return std::pair(first, std::min(first + rowsPerBlock, rows));
    };
    double numerator = 0.0;
    double denominator = 0.0;
    ParallelThenInTurn(
        blocksPerPlane * s.planes, blocksPerPlane,
        [=](std::int64_t block) {
            const std::int64_t plane = block / blocksPerPlane * planeStride;
            const auto [first, end] = rowsOf(block);
            for (std::int64_t at = first * length; at < end * length; at += length) {
                ExponentTerms(t1 + at, t2 + at, A + plane + at, previous + plane + at, gradient1 + plane + at,
                              gradient2 + plane + at, columns);
            }
        },
        [&](std::int64_t block) {
            const auto [first, end] = rowsOf(block);
            for (std::int64_t i = first * length; i < end * length; ++i) {
                numerator += static_cast<double>(t1[i]);
                denominator += static_cast<double>(t2[i]);
            }
        });
    return ExponentOfSums(numerator, denominator);
}

void Arrange(const DFT3D& s, float* const (&target)[3], const float* const (&source)[3]) {
    const std::array<float*, 3> to = {target[0], target[1], target[2]};
    const std::array<const float*, 3> from = {source[0], source[1], source[2]};
    EachGroup<AllThreads>(s.total, [=](std::int64_t i, auto group) {
        const std::array<Lanes4, 3> v = {group.Load(from[0] + i), group.Load(from[1] + i),
                                         group.Load(from[2] + i)};
        for (std::size_t n = 0; n < to.size(); ++n) group.Store(to[n] + i, v[n]);
    });
}

}  // namespace gnr::detail
