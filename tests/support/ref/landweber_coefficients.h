// SPDX-License-Identifier: MIT
#pragma once

// Accelerated iterative shrinkage of wavelet coefficients under a Fourier-domain blur, with a step for each
// band from how strongly the blur couples it with the others. Plain loops and double, with a record of every
// decision.

#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <map>
#include <utility>
#include <vector>

#include "support/ref/landweber_step.h"
#include "support/ref/padded_volume.h"
#include "support/ref/wavelet.h"

namespace gnr::ref {

/// Step divisors by level and band.
using StepDivisors = std::vector<std::array<double, 8>>;

struct CoefficientJob {
    int iterations = 1;
    unsigned regularization = 0;
    double strength = 1;
    int stopAtCall = -1;  ///< which progress call, from 0, answers "stop"; -1: none
    Disturbance disturbance = {};
    StepDivisors divisors = {};  ///< known from an earlier run; found from the PSF where there are none
    bool wholeSpectrum = false;  ///< coupling over all frequencies, to show what the shortened walk changes
};

struct CoefficientResult {
    PaddedVolume image;
    int code = 1;
    unsigned steps = 0;
    double psfFactor = 1;
    double threshold = 0;
    unsigned levels = 0;
    StepDivisors divisors = {};
    bool undefinedCoupling = false;  ///< the walk met pairs that no frequency stands in; they were left out
    std::vector<ERyProgressPhase> phases = {};
    std::vector<double> factors = {};  ///< of the extrapolation, from the first iteration on
};

/// Half spectrum of a band tiled to a larger volume, as pairs in the order of the padded layout.
struct PairWalk {
    std::vector<Complex> pairs;
    std::vector<bool> defined;
};

/// Those pairs that the walk sees, or all.
inline PairWalk TiledHalfSpectrum(const RealVolume& band, int nx, int ny, int nz, bool whole) {
    RealVolume tiled(nx, ny, nz);
    for (int k = 0; k < nz; ++k) {
        for (int j = 0; j < ny; ++j) {
            for (int i = 0; i < nx; ++i) {
                tiled.at(i, j, k) = band.at(i % band.nx, j % band.ny, k % band.nz);
            }
        }
    }
    const ComplexVolume spectrum = Forward(tiled);
    const int rowPairs = (nx + 2) / 2;
    const int planePairs = (nx + 2) * ny / 2;
    const auto walked = static_cast<std::size_t>(nz * ny * ((nx - 1) / 2 + 1));
    const auto room = static_cast<std::size_t>(nz * planePairs) + 1;
    PairWalk walk{std::vector<Complex>(room), std::vector<bool>(room, false)};
    for (int w = 0; w < nz; ++w) {
        for (int v = 0; v < ny; ++v) {
            for (int u = 0; u <= nx / 2; ++u) {
                const auto at = static_cast<std::size_t>(w * planePairs + v * rowPairs + u);
                walk.pairs[at] = spectrum.at(u, v, w);
                walk.defined[at] = true;
            }
        }
    }
    if (!whole) {
        walk.pairs.resize(walked);
        walk.defined.resize(walked);
    }
    return walk;
}

/// Square root of the largest product of powers over the walk: nz ny ((nx - 1) / 2 + 1) pairs from the start,
/// row ends not skipped, so that for even nx the last nz ny pairs stay unseen.
inline double Coupling(const PairWalk& a, const PairWalk& c, bool& undefined) {
    double largest = 0;
    for (std::size_t n = 0; n < a.pairs.size(); ++n) {
        if (!a.defined[n]) {
            undefined = true;
            continue;
        }
        largest = std::max(largest, std::norm(a.pairs[n]) * std::norm(c.pairs[n]));
    }
    return std::sqrt(largest);
}

/// Step divisors: sum of a band's couplings with all bands, plus 0.01, at least 0.25.
inline StepDivisors FindStepDivisors(const Pyramid& psf, bool whole, bool& undefined) {
    const std::size_t levels = psf.size();
    // Band (level, band) tiled to the size of each level above it.
    std::map<std::array<std::size_t, 3>, PairWalk> walks;
    for (std::size_t l = 0; l < levels; ++l) {
        for (std::size_t b = 0; b < 8; ++b) {
            for (std::size_t m = 0; m <= l; ++m) {
                const RealVolume& size = psf[m][0];
                walks[{l, b, m}] = TiledHalfSpectrum(psf[l][b], size.nx, size.ny, size.nz, whole);
            }
        }
    }
    StepDivisors divisors(levels);
    for (std::size_t l1 = 0; l1 < levels; ++l1) {
        for (std::size_t b1 = 0; b1 < 8; ++b1) {
            double sum = 0;
            for (std::size_t l2 = 0; l2 < levels; ++l2) {
                const std::size_t m = std::min(l1, l2);
                for (std::size_t b2 = 0; b2 < 8; ++b2) {
                    bool gaps = false;
                    sum += Coupling(walks.at({l1, b1, m}), walks.at({l2, b2, m}), gaps);
                    undefined = undefined || (gaps && !whole);
                }
            }
            divisors[l1][b1] = std::max(0.25, sum + 0.01);
        }
    }
    return divisors;
}

inline CoefficientResult LandweberOfCoefficients(const PaddedVolume& image, const PaddedVolume& psf,
                                                 const CoefficientJob& job) {
    CoefficientResult r{image};
    PaddedVolume& x = r.image;
    Disturber disturb(job.disturbance);

    // Set-up.
    r.levels = std::min((static_cast<unsigned>(x.nz) >> 4) & 0xFFFu, 4u);
    if (r.levels == 0) {
        r.code = -9;
        return r;
    }
    const double sum = SumOfImageColumns(psf);
    r.psfFactor = sum >= 1e-10 ? 1 / sum : 1.0;
    const PaddedVolume observed = x;
    const ComplexVolume otf = Spectrum(psf);
    r.threshold = std::pow(2.0 * job.regularization, 1.4) * 0.04 * job.strength;
    r.divisors = job.divisors;
    if (r.divisors.empty()) {
        r.divisors =
            FindStepDivisors(Decompose(ImageColumns(psf), r.levels), job.wholeSpectrum, r.undefinedCoupling);
    }
    Pyramid w = Decompose(ImageColumns(x), r.levels);

    const auto rebuild = [&] {
        RealVolume columns = Reconstruct(w);
        disturb(columns);
        ForImageColumns(x, [&](int i, int j, int k) { x.at(i, j, k) = columns.at(i, j, k); });
        Scale(x, r.psfFactor);
        ClipNegative(x);
    };
    const auto stopped = [&](int k, ERyProgressPhase phase) {
        if (k == 0) return false;
        r.phases.push_back(phase);
        const bool stops = static_cast<int>(r.phases.size()) - 1 == job.stopAtCall;
        if (stops) r.code = -8;
        return stops;
    };

    double t = 1;
    for (int k = 0; k < job.iterations; ++k) {
        if (stopped(k, eProgressStepBegin)) break;
        if (k != 0) rebuild();
        const Pyramid g = Decompose(ImageColumns(Gradient(observed, x, otf, disturb)), r.levels);
        const Pyramid before = w;
        const double next = NextMomentum(t);
        r.factors.push_back((t - 1) / next);
        for (std::size_t l = 0; l < r.levels; ++l) {
            for (std::size_t b = 0; b < 8; ++b) {
                const double step = 1 / r.divisors[l][b];
                for (std::size_t n = 0; n < w[l][b].values.size(); ++n) {
                    double& v = w[l][b].values[n];
                    v = SoftThreshold(v + step * g[l][b].values[n], step * r.threshold);
                    v += (v - before[l][b].values[n]) * r.factors.back();
                }
            }
        }
        ++r.steps;
        if (stopped(k, eProgressStepEnd)) break;
        t = next;
    }
    rebuild();
    return r;
}

}  // namespace gnr::ref
