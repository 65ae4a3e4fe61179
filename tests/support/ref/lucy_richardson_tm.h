// SPDX-License-Identifier: MIT
#pragma once

// Richardson-Lucy with a Tikhonov-Miller factor, fixed count or automatic stop: the whole algorithm in plain
// loops and double, with a record of every decision.

#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "support/ref/padded_volume.h"
#include "support/ref/quality.h"
#include "support/ref/regularization.h"

namespace gnr::ref {

struct LucyRichardsonTMJob {
    bool automatic = false;
    double strength = 0;
    unsigned iterations = 1;
    double stopRatio = 1.0007;
    SRyIRect3D box = {};
    const PaddedVolume* truth = nullptr;
    int stopAtCall = -1;  ///< which progress call, from 0, answers "stop"; -1: none
};

/// One visit of the automatic stop test.
struct StopVisit {
    unsigned k;
    double divergence;  ///< of the estimate from the observed image
    double ratio;       ///< first divergence / this one
    double previous;    ///< ratio of the visit before
    bool stops;
    double margin;  ///< by how much a comparison would have to change, relatively
};

struct LucyRichardsonTMResult {
    PaddedVolume image;
    int code = 0;
    unsigned done = 0;
    unsigned steps = 0;  ///< iterations finished, also where `done` doesn't count them
    int calls = 0;
    double scale = 1;
    double psfFactor = 1;
    double lambda = 0;  ///< at the end
    std::vector<StopVisit> visits = {};
    QualityVector quality = {};
    FieldMargin fieldMargin = {};
    double smallestBlur = std::numeric_limits<double>::infinity();  ///< |h * x| / max |x|, denominators
};

/// Fixed count: n = 2 trunc(p) as an unsigned 32-bit number; lambda = -1e-6 n^2, in float.
inline double FixedCountWeight(double strength) {
    const double doubled = std::fmod(2 * std::trunc(strength), 4294967296.0);
    if (!std::isfinite(doubled)) return 0;
    const float n = static_cast<float>(doubled < 0 ? doubled + 4294967296.0 : doubled);
    return n * -1e-6f * n;
}

inline double AutomaticWeight(double strength) {
    return static_cast<float>(strength * -0.20000000298023224 * strength);
}

/// Does the test end the run at iteration k? Both clauses, and how far they are from the other side.
inline StopVisit VisitStopTest(unsigned k, double first, double divergence, double previous,
                               double stopRatio) {
    StopVisit visit{k,        divergence, first / divergence,
                    previous, false,      std::numeric_limits<double>::infinity()};
    if (k < 5) return visit;
    const double growth = visit.ratio / previous;
    const bool rises = visit.ratio > previous;
    const bool above = growth > stopRatio;
    visit.stops = rises || above;
    const double ofRise = std::abs(growth - 1);
    const double ofRatio = std::abs(growth - stopRatio);
    visit.margin = !visit.stops     ? std::min(ofRise, ofRatio)
                   : rises && above ? std::max(ofRise, ofRatio)
                   : rises          ? ofRise
                                    : ofRatio;
    return visit;
}

inline LucyRichardsonTMResult LucyRichardsonTM(const PaddedVolume& image, const PaddedVolume& psf,
                                               const LucyRichardsonTMJob& job) {
    LucyRichardsonTMResult r{image};
    PaddedVolume& x = r.image;

    // Preparation.
    if (job.automatic) {
        double largest = std::numeric_limits<float>::lowest();
        ForImageColumns(x, [&](int i, int j, int k) { largest = std::max(largest, x.at(i, j, k)); });
        r.scale = largest + 1e-10f;
        Scale(x, 1 / r.scale);
    }
    const double psfSum = SumOfImageColumns(psf);
    r.psfFactor = psfSum < 1e-10 ? 1.0 : 1 / psfSum;
    if (job.automatic) ClipNegative(x);
    const PaddedVolume observed = x;
    const ComplexVolume otf = Spectrum(psf);
    r.lambda = job.automatic ? AutomaticWeight(job.strength) : FixedCountWeight(job.strength);
    double firstDivergence = 0;
    double previousRatio = 1;

    const auto stopped = [&] { return r.calls++ == job.stopAtCall; };

    for (unsigned k = 0; k < job.iterations; ++k) {
        if (stopped()) {
            r.code = -8;
            break;
        }
        if (job.automatic && k == 1) firstDivergence = MeanIDivergence(x, observed, job.box);
        if (job.automatic && k >= 2) {
            const StopVisit visit = VisitStopTest(k, firstDivergence, MeanIDivergence(x, observed, job.box),
                                                  previousRatio, job.stopRatio);
            r.visits.push_back(visit);
            if (visit.stops) k = job.iterations - 1;
            previousRatio = visit.ratio;
        }

        PaddedVolume work = Blur(x, otf);
        const double largest = LargestMagnitude(work);
        ForImageColumns(work, [&](int i, int j, int p) {
            double& h = work.at(i, j, p);
            r.smallestBlur = std::min(r.smallestBlur, std::abs(h) / largest);
            h = h == 0 ? 0 : observed.at(i, j, p) / h;
        });
        work = BlurAdjoint(work, otf);
        if (r.lambda != 0) {
            MultiplyBy(x, job.automatic ? SelfLimitingField(x, r.lambda, r.fieldMargin)
                                        : ClampedField(x, r.lambda, r.fieldMargin));
        }
        MultiplyBy(x, work);
        if (r.psfFactor != 1) Scale(x, r.psfFactor);
        if (job.automatic) {
            ClipNegative(x);
            ++r.done;
        }
        ++r.steps;
        if (stopped()) {
            r.code = -8;
            break;
        }
        if (job.truth != nullptr) {
            r.quality.emplace_back(k, RootMeanSquareError(x, *job.truth, job.box, r.scale));
        }
    }

    if (job.automatic) Scale(x, r.scale);
    return r;
}

}  // namespace gnr::ref
