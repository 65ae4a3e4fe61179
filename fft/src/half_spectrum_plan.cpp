// SPDX-License-Identifier: MIT
#include "half_spectrum_plan.h"

#include <fft/volume_passes.h>
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

/// All axes in one plan, in place.
Plan PlanBackward(const Geometry& g, float* real) {
    fftwf_iodim64 axes[3];
    for (std::size_t a = 0; a < 3; ++a) axes[a] = Axis(g.lengths[a], g.complexStrides[a], g.realStrides[a]);
    return MakeGuarded(omp_get_max_threads(), [&] {
        return fftwf_plan_guru64_dft_c2r(3, axes, 0, nullptr, reinterpret_cast<fftwf_complex*>(real), real,
                                         FFTW_ESTIMATE);
    });
}

/// Scales the samples of a real row and clears what lies between it and the next.
void FinishRow(const Geometry& g, float* row, float scale) {
    const std::ptrdiff_t width = g.lengths[2];
    const std::ptrdiff_t used = 2 * g.ComplexColumns();
    for (std::ptrdiff_t i = 0; i < width; ++i) row[i] *= scale;
    for (std::ptrdiff_t i = width; i < std::max(used, g.realStrides[1]); ++i) row[i] = 0.0f;
}

VolumeShape ShapeOf(const Geometry& g) {
    return {g.lengths[0], g.lengths[1], g.lengths[2]};
}

/// Passes can work on this spectrum, whose rows follow each other without gaps.
bool PassesFit(const Geometry& g, const float* spectrum) {
    const VolumeShape shape = ShapeOf(g);
    const std::ptrdiff_t columns = g.ComplexColumns();
    const bool dense = (g.lengths[0] == 1 || g.complexStrides[0] == g.lengths[1] * columns) &&
                       (g.lengths[1] == 1 || g.complexStrides[1] == columns) && g.complexStrides[2] == 1;
    return dense && VolumePasses::Fit(shape) && VolumePasses::Fit(spectrum);
}

/// The first sample of a row, counted through all planes.
template <class Float>
Float* RealRow(const Geometry& g, Float* real, std::ptrdiff_t row) {
    return real + row / g.lengths[1] * g.realStrides[0] + row % g.lengths[1] * g.realStrides[1];
}

bool PassForward(const Geometry& g, const float* real, float* spectrum) {
    const VolumePasses passes(ShapeOf(g), Directions::kForward, 1.0f, omp_get_max_threads());
    if (!passes) return false;
    passes.Sweep(nullptr, spectrum, AllThreads{}, [=, &g, &passes](const RowChunk& rows, auto*) {
        rows.EachRow([&](std::ptrdiff_t row, float* samples) {
            std::copy_n(RealRow(g, real, row), g.lengths[2], samples);
            passes.ForwardRow(samples, spectrum + row * passes.shape().RowFloats());
        });
    });
    passes.ForwardDepth(spectrum, AllThreads{});
    return true;
}

bool PassBackwardInPlace(const Geometry& g, float* real, float scale) {
    const VolumePasses passes(ShapeOf(g), Directions::kInverse, scale, omp_get_max_threads());
    if (!passes) return false;
    passes.InverseDepth(real, AllThreads{});
    passes.Sweep(real, nullptr, AllThreads{}, [=, &passes](const RowChunk& rows, auto*) {
        const std::ptrdiff_t floats = passes.shape().RowFloats();
        rows.EachRow([&](std::ptrdiff_t row, float* samples) {
            passes.InverseRow(real + row * floats, samples);
            std::copy_n(samples, floats, real + row * floats);
        });
    });
    return true;
}

}  // namespace

bool TransformForward(const Geometry& g, float* real, fftwf_complex* spectrum) {
    auto* const floats = reinterpret_cast<float*>(spectrum);
    if (g.realStrides[2] == 1 && PassesFit(g, floats)) return PassForward(g, real, floats);
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
    if (PassesFit(g, real)) return PassBackwardInPlace(g, real, scale);
    const Plan plan = PlanBackward(g, real);
    if (plan == nullptr) return false;
    fftwf_execute(plan.get());
    ParallelFor(g.lengths[0] * g.lengths[1],
                [=, &g](std::ptrdiff_t row) { FinishRow(g, RealRow(g, real, row), scale); });
    return true;
}

}  // namespace gnr::fft
