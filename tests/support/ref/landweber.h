// SPDX-License-Identifier: MIT
#pragma once

// Landweber iterations with shrinkage in randomly shifted wavelets: the restartable form, with momentum or
// over-relaxed with a stop test. The whole algorithm in plain loops and double, with a record of every
// decision.

#include <gnr_deconvolution/object_frame.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "support/ref/landweber_step.h"
#include "support/ref/lucy_richardson_tm.h"
#include "support/ref/padded_volume.h"
#include "support/ref/wavelet.h"

namespace gnr::ref {

struct LandweberJob {
    bool automatic = false;
    double strength = 0;
    double scale = 1;  ///< multiplies the threshold
    unsigned iterations = 1;
    double stopRatio = 1.0007;
    SRyIRect3D box = {};
    int stopAtCall = -1;  ///< which progress call, from 0, answers "stop"; -1: none
    Disturbance disturbance = {};
};

struct LandweberResult {
    PaddedVolume image;
    int code = 0;
    unsigned done = 0;   ///< counted by the automatic form only
    unsigned steps = 0;  ///< iterations finished by either form
    double psfFactor = 1;
    double threshold = 0;
    unsigned levels = 0;
    bool stoppedByItself = false;
    std::vector<ERyProgressPhase> phases = {};
    std::vector<StopVisit> visits = {};
    std::vector<std::array<int, 3>> shifts = {};  ///< one draw for each shrinkage
    std::vector<double> factors = {};             ///< of the extrapolation, from the second iteration on
};

/// One level for each whole 16 planes, at most 4, of the low sixteen bits of the count.
inline unsigned LevelsOf(int planes) {
    const auto z = static_cast<std::uint32_t>(planes);
    return (z & 0xFFF0u) < 0x40u ? (z >> 4) & 0xFFFu : 4u;
}

inline bool DivisibleByLevels(const PaddedVolume& v, unsigned levels) {
    const int block = 1 << levels;
    return v.nx % block == 0 && v.ny % block == 0 && v.nz % block == 0;
}

/// Soft threshold of every band of every level, after a random cyclic shift that is undone again.
inline std::array<int, 3> ShrinkByShiftedWavelets(PaddedVolume& x, double threshold, unsigned levels) {
    const int rx = std::rand() % x.nx;
    const int ry = std::rand() % x.ny;
    const int rz = std::rand() % x.nz;
    Pyramid pyramid = Decompose(CyclicShift(ImageColumns(x), rx, ry, rz), levels);
    for (Bands& bands : pyramid) {
        for (RealVolume& band : bands) Shrink(band, threshold);
    }
    const RealVolume back = CyclicShift(Reconstruct(std::move(pyramid)), x.nx - rx, x.ny - ry, x.nz - rz);
    ForImageColumns(x, [&](int i, int j, int k) { x.at(i, j, k) = back.at(i, j, k); });
    return {rx, ry, rz};
}

/// Seeds and uses the generator of the C library, as the form that it is the twin of does.
inline LandweberResult Landweber(const PaddedVolume& image, const PaddedVolume& psf,
                                 const LandweberJob& job) {
    LandweberResult r{image};
    PaddedVolume& x = r.image;
    Disturber disturb(job.disturbance);

    // Preparation.
    std::srand(0);
    const double psfSum = SumOfImageColumns(psf);
    r.psfFactor = psfSum < 1e-10 ? 1.0 : 1 / psfSum;
    const PaddedVolume observed = x;
    PaddedVolume y = x;
    const ComplexVolume otf = Spectrum(psf);
    r.threshold = std::pow(2.0 * job.strength, 1.4) * 0.04 * job.scale;
    r.levels = LevelsOf(x.nz);
    if (!DivisibleByLevels(x, r.levels)) {
        r.code = -9;
        return r;
    }
    double t = 1;
    double previousRatio = 1;
    double firstDivergence = 0;

    const auto stopped = [&](ERyProgressPhase phase) {
        r.phases.push_back(phase);
        const bool stops = static_cast<int>(r.phases.size()) - 1 == job.stopAtCall;
        if (stops) r.code = -8;
        return stops;
    };

    const auto limit = static_cast<std::int32_t>(job.iterations);
    for (std::int32_t k = 0; k < limit; ++k) {
        if (stopped(eProgressStepBegin)) break;
        if (job.automatic && k == 1) firstDivergence = MeanIDivergence(y, observed, job.box);
        if (job.automatic && k >= 2) {
            const StopVisit visit =
                VisitStopTest(static_cast<unsigned>(k), firstDivergence,
                              MeanIDivergence(y, observed, job.box), previousRatio, job.stopRatio);
            r.visits.push_back(visit);
            r.stoppedByItself = r.stoppedByItself || visit.stops;
            if (visit.stops) k = limit - 1;
            previousRatio = visit.ratio;
        }

        const PaddedVolume gradient = Gradient(observed, y, otf, disturb);
        if (stopped(eProgressPoll)) break;
        const PaddedVolume previous = x;
        AddScaled(y, job.automatic ? kOverRelaxation : 1.0, gradient);
        x = y;
        if (job.strength != 0 && x.nz >= 16) {
            r.shifts.push_back(ShrinkByShiftedWavelets(x, r.threshold, r.levels));
            disturb(x);
        }
        if (r.psfFactor != 1) Scale(x, r.psfFactor);
        ClipNegative(x);

        y = x;
        if (job.automatic) {
            ++r.done;
        } else {
            const double next = NextMomentum(t);
            if (k > 0) {
                r.factors.push_back((t - 1) / next);
                AddScaled(y, r.factors.back(), Difference(x, previous));
            }
            t = next;
        }
        ++r.steps;
        if (stopped(eProgressStepEnd)) break;
    }
    return r;
}

}  // namespace gnr::ref
