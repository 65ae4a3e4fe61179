// SPDX-License-Identifier: MIT
#pragma once

// Accelerated, damped Richardson-Lucy with a line search: the whole algorithm in plain loops and double, with
// a record of every decision.

#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <functional>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "support/ref/damped_likelihood.h"
#include "support/ref/padded_volume.h"
#include "support/ref/quality.h"

namespace gnr::ref {

struct AcceleratedJob {
    bool wienerStart = false;
    double strength = 1;  ///< damping exponent and input of the Wiener start
    unsigned iterations = 1;
    double stopRatio = 1.0007;
    bool noAutoStop = false;
    SRyIRect3D box = {};
    const PaddedVolume* truth = nullptr;
    int stopAtCall = -1;  ///< which progress call, from 0, answers "stop"; -1: none
    /// Stands in for the line search: (iteration, bound) to (alpha, likelihood).
    std::function<std::pair<double, double>(unsigned, double)> scriptedSearch;
};

struct AcceleratedIteration {
    unsigned k;
    double alphaMax;
    LineSearchResult search;
    bool undone;              ///< the bound fell below 1: back to the estimate before, and the end
    double smallestContrast;  ///< least |g - h| / g: small values make low damping exponents ill-posed
};

struct AcceleratedStopVisit {
    unsigned done;
    double recent;
    double all;
    double base;
    bool falls;     ///< mean of six above mean of three
    bool flattens;  ///< gain since the beginning grows too little
};

struct AcceleratedResult {
    PaddedVolume image;
    int code = 0;
    unsigned done = 0;
    int calls = 0;
    double offset = 0;
    double mean = 0;
    bool stoppedByItself = false;
    std::vector<AcceleratedIteration> iterations = {};
    std::vector<AcceleratedStopVisit> visits = {};
    QualityVector quality = {};

    /// By how much over-relaxation stretches rounding errors. Each step adds new ones, times its length.
    /// Without damping a plain step would correct most of an old error, so an over-relaxed one turns it into
    /// its (alpha - 1)-fold; damped steps correct next to nothing.
    double ErrorGrowth(double strength) const {
        double added = 0;
        double product = 1;
        for (const AcceleratedIteration& it : iterations) {
            added += std::max(1.0, it.search.alpha);
            product *= std::max(1.0, it.search.alpha - 1);
        }
        return strength > 1 ? added : added + product;
    }
    double SmallestGainMargin() const {
        double least = std::numeric_limits<double>::infinity();
        for (const AcceleratedIteration& it : iterations) least = std::min(least, it.search.gainMargin);
        return least;
    }
    double SmallestBoundMargin() const {
        double least = std::numeric_limits<double>::infinity();
        for (const AcceleratedIteration& it : iterations) least = std::min(least, it.search.boundMargin);
        return least;
    }
    double SmallestContrast() const {
        double least = std::numeric_limits<double>::infinity();
        for (const AcceleratedIteration& it : iterations) least = std::min(least, it.smallestContrast);
        return least;
    }
};

/// How much is added so that the darkest value, padding included, lies at a fortieth of the range (at most
/// 20).
inline double Pedestal(const PaddedVolume& image) {
    const auto [least, most] = std::minmax_element(image.values.begin(), image.values.end());
    const double threshold = std::min((*most - *least) / 40, 20.0);
    return *least < threshold ? threshold - *least : 0;
}

/// Stop test on the last six likelihoods, oldest first.
inline AcceleratedStopVisit VisitStopTest(const std::deque<double>& d, double base, double stopRatio,
                                          unsigned done) {
    AcceleratedStopVisit visit{};
    visit.done = done;
    visit.recent = (d[4] + d[3] + d[5]) / 3;
    visit.all = (d[1] + d[0] + d[2] + d[3] + d[4] + d[5]) / 6;
    visit.base = base;
    visit.falls = visit.all > visit.recent;
    visit.flattens = (visit.recent - base) / (visit.all - base) < stopRatio;
    return visit;
}

/// Wiener filter with signal power |X(0)|^2 and noise power K, on the image scaled to sum 1 and back.
inline void WienerStart(PaddedVolume& x, const PaddedVolume& psf, double K) {
    const double sum = SumOfImageColumns(x) + 1e-10f;
    Scale(x, 1 / sum);
    ComplexVolume X = Spectrum(x);
    const ComplexVolume B = Spectrum(psf);
    const double e0 = std::norm(X.values[0]);
    for (std::size_t n = 0; n < X.values.size(); ++n) {
        X.values[n] *= e0 * std::conj(B.values[n]) / (std::norm(B.values[n]) * e0 + K);
    }
    x = FromSpectrum(X);
    Scale(x, sum / (SumOfImageColumns(x) + 1e-10f));
    ClipNegative(x);
}

/// Where the line from `previous` through `x` first reaches 0 at a sample that x leaves above 1e-30.
inline double StepBound(const PaddedVolume& x, const PaddedVolume& previous) {
    double bound = std::numeric_limits<float>::max();
    ForImageColumns(x, [&](int i, int j, int k) {
        const double d = x.at(i, j, k) - previous.at(i, j, k);
        if (d < 0 && x.at(i, j, k) > 1e-30f) bound = std::min(bound, -previous.at(i, j, k) / d);
    });
    return bound;
}

inline AcceleratedResult Accelerated(const PaddedVolume& image, const PaddedVolume& psf,
                                     const AcceleratedJob& job) {
    AcceleratedResult r{image};
    PaddedVolume& x = r.image;
    const auto N = static_cast<float>(job.strength);

    // Preparation.
    r.offset = Pedestal(x);
    for (double& value : x.values) value += r.offset;
    r.mean = (SumOfImageColumns(x) + 1e-10f) / (static_cast<double>(x.nx) * x.ny * x.nz);
    Scale(x, 1 / r.mean);
    ClipNegative(x);
    const PaddedVolume observed = x;
    if (job.wienerStart) WienerStart(x, psf, (job.strength - 0.99) / 13.0);
    const ComplexVolume otf = Spectrum(psf);
    double base = std::numeric_limits<double>::max();
    std::deque<double> history;

    const auto stopped = [&] {
        const bool stops = r.calls++ == job.stopAtCall;
        if (stops) r.code = -8;
        return stops;
    };

    for (unsigned k = 0; k < job.iterations; ++k) {
        if (stopped()) break;
        const PaddedVolume previous = x;
        PaddedVolume work = Blur(x, otf);
        const PaddedVolume blurredOld = work;
        if (stopped()) break;
        AcceleratedIteration it{k, 1, {}, false, std::numeric_limits<double>::infinity()};
        ForImageColumns(work, [&](int i, int j, int p) {
            const double g = observed.at(i, j, p);
            double& h = work.at(i, j, p);
            it.smallestContrast = std::min(it.smallestContrast, std::abs(g - h) / g);
            h = DampedRatio(g, h, kDampingConstant, N);
        });
        if (stopped()) break;
        MultiplyBy(x, BlurAdjoint(work, otf));
        const PaddedVolume blurredNew = Blur(x, otf);
        if (k > 0) it.alphaMax = StepBound(x, previous);
        if (stopped()) break;

        it.search.alpha = 0;
        it.undone = it.alphaMax < 1;
        if (it.undone) {
            k = job.iterations - 1;
        } else {
            if (job.scriptedSearch) {
                std::tie(it.search.alpha, it.search.likelihood) = job.scriptedSearch(k, it.alphaMax);
            } else {
                it.search = LineSearch(1, it.alphaMax, observed, blurredNew, blurredOld, kDampingConstant, N,
                                       job.box);
            }
            if (history.size() == 6) history.pop_front();
            history.push_back(it.search.likelihood);
        }
        if (history.size() == 1) base = history.front();
        for (std::size_t n = 0; n < x.values.size(); ++n) {
            x.values[n] += (it.search.alpha - 1) * (x.values[n] - previous.values[n]);
        }
        ClipNegative(x);
        ++r.done;
        r.iterations.push_back(it);
        if (stopped()) break;
        if (job.truth != nullptr) {
            r.quality.emplace_back(k, RootMeanSquareError(x, *job.truth, job.box, r.mean));
        }
        if (history.size() == 6 && r.done >= 15 && !job.noAutoStop) {
            r.visits.push_back(VisitStopTest(history, base, job.stopRatio, r.done));
            r.stoppedByItself = r.visits.back().falls || r.visits.back().flattens;
            if (r.stoppedByItself) break;
        }
    }

    // Completion, after a stop too.
    Scale(x, r.mean);
    for (double& value : x.values) value = std::max(0.0, value - r.offset);
    return r;
}

}  // namespace gnr::ref
