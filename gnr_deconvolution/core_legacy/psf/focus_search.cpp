// SPDX-License-Identifier: MIT
#include "psf/focus_search.h"

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include "detail/parallel.h"
#include "psf/truncation.h"

namespace gnr::detail {

namespace {

using Complex = std::complex<double>;

/// Nodes of the pupil on the axis, where no Bessel factor asks for more.
constexpr int kAxisNodes = 256;

/// Stage positions one plane apart, `count` of them about a middle.
struct StageScan {
    const LayeredOptics& optics;
    double middle;
    std::int64_t count;

    double Stage(std::int64_t i) const {
        const std::int64_t planes = i - count / 2;
        return optics.Stage(static_cast<double>(planes), middle);
    }
};

/// The amplitudes on the axis along a scan.
std::vector<Complex> AmplitudesAlong(const StageScan& scan, const LayeredPupil& pupil) {
    if (scan.count <= 0) return {};
    std::vector<Complex> amplitudes(static_cast<std::size_t>(scan.count));
    ParallelFor(scan.count, [&](std::int64_t i) {
        amplitudes[static_cast<std::size_t>(i)] = pupil.OnAxis(scan.Stage(i));
    });
    return amplitudes;
}

/// The first position of largest amplitude; the middle where all are 0.
double Brightest(const StageScan& scan, const LayeredPupil& pupil) {
    const std::vector<Complex> amplitudes = AmplitudesAlong(scan, pupil);
    double best = 0.0;
    double focus = scan.middle;
    for (std::size_t i = 0; i < amplitudes.size(); ++i) {
        const double amplitude = std::abs(amplitudes[i]);
        if (amplitude > best) {
            best = amplitude;
            focus = scan.Stage(static_cast<std::int64_t>(i));
        }
    }
    return focus;
}

/// Centroid of the intensity; not a number where all intensities are 0.
double Centroid(const StageScan& scan, const LayeredPupil& pupil) {
    const std::vector<Complex> amplitudes = AmplitudesAlong(scan, pupil);
    double sum = 0.0;
    double moment = 0.0;
    for (std::size_t i = 0; i < amplitudes.size(); ++i) {
        const double intensity = std::abs(amplitudes[i] * amplitudes[i]);
        sum += intensity;
        moment += intensity * scan.Stage(static_cast<std::int64_t>(i));
    }
    return moment / sum;
}

}  // namespace

double FindFocus(const LayeredOptics& optics, std::int64_t planes) {
    if (optics.depth == 0.0) return 0.0;
    const LayeredPupil pupil(optics, kAxisNodes);
    const std::int64_t coarse = TruncateToInt32(std::ceil((optics.depth * 4.0) / optics.planePitch));
    const double brightest = Brightest({optics, optics.depth, coarse}, pupil);
    return Centroid({optics, brightest, 2 * planes}, pupil);
}

}  // namespace gnr::detail
