// SPDX-License-Identifier: MIT
#pragma once

// One pass of blind deconvolution in its three forms: the sweeps in plain loops and double, with every
// progress call and a record of how sure the decisions are.

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/progress_log.h"
#include "support/ref/landweber_step.h"
#include "support/ref/padded_volume.h"

namespace gnr::ref {

/// Of the one-call entry, of the core, of the entry for structured illumination.
enum class BlindForm { kSerial, kParallel, kStructured };

/// A host that records what it is told and answers "stop" at one call, or from that call on.
struct BlindHost {
    int stopAt = -1;  ///< counted from 0; -1: never
    bool persists = false;
    std::vector<test::ProgressReport> calls = {};

    bool Stops(ERyProgressPhase phase, unsigned units = 0) {
        const int call = static_cast<int>(calls.size());
        calls.push_back({L"Performing Deconvolution...", 0, 0, 0, units, phase});
        return stopAt >= 0 && (persists ? call >= stopAt : call == stopAt);
    }
};

/// What a pass leaves in its working volumes, all of which begin as ones, padding included.
struct BlindWork {
    explicit BlindWork(const PaddedVolume& like) : v(like) { SetOnes(); }
    void SetOnes() {
        std::fill(v.values.begin(), v.values.end(), 1.0);
        previous = gradient1 = gradient2 = v;
    }
    PaddedVolume v;  ///< ratio of the last two estimates, raised
    PaddedVolume previous = v;
    PaddedVolume gradient1 = v;
    PaddedVolume gradient2 = v;
};

struct BlindTrace {
    /// How far the energy tests were from their other side, relatively.
    double testMargin = std::numeric_limits<double>::infinity();
    /// How far back-projections stayed from the bound below which they are skipped, to their largest.
    double skipMargin = std::numeric_limits<double>::infinity();
    /// |h * a| / max |h * a|: denominators.
    double smallestBlur = std::numeric_limits<double>::infinity();
    std::vector<double> energies = {};   ///< of every test
    std::vector<double> moves = {};      ///< |1 - E before / E|, where that ends passes
    std::vector<double> exponents = {};  ///< of every accelerated sweep
    int skipped = 0;                     ///< samples left out of an exponent
    int refilled = 0;                    ///< of those, places that add what a plane before left
    int negativeRatios = 0;              ///< raised to a power other than 0
    int negativesKept = 0;               ///< of those, left negative by a power of 1
};

/// All that passes of one run share.
struct BlindRun {
    BlindRun(const PaddedVolume& like, BlindHost answers, const Disturbance& disturbance)
        : host(std::move(answers)), work(like), disturb(disturbance) {}

    bool Stops(ERyProgressPhase phase, unsigned units = 0) {
        const bool stops = host.Stops(phase, units);
        if (stops) status = -1;
        return stops;
    }

    BlindHost host;
    BlindWork work;
    Disturber disturb;
    BlindTrace trace = {};
    int status = 0;
};

struct BlindPass {
    BlindForm form = BlindForm::kParallel;
    unsigned sweeps = 1;
    bool imagePass = true;
    float stopE8 = -1;
    bool report = false;
    bool accelerate = false;  ///< heeded by the structured form alone; the others go by the count of sweeps
};

/// Q_psf S_image / (Q_image S_psf), S sums and Q sums of squares.
inline double EnergyRatio(const PaddedVolume& image, const PaddedVolume& psf) {
    double s[2] = {};
    double q[2] = {};
    ForImageColumns(image, [&](int i, int j, int k) {
        s[0] += image.at(i, j, k);
        s[1] += psf.at(i, j, k);
        q[0] += image.at(i, j, k) * image.at(i, j, k);
        q[1] += psf.at(i, j, k) * psf.at(i, j, k);
    });
    if (!(std::abs(s[1]) > 1e-10) || !(std::abs(q[0]) > 1e-10)) return 1;
    return q[1] * s[0] / (q[0] * s[1]);
}

namespace blind_detail {

/// a := a max(v, 0)^alpha; the parallel form knows 0 and 1 and leaves a negative v as it is at 1.
inline void Extrapolate(PaddedVolume& a, PaddedVolume& v, double alpha, bool parallel, BlindTrace& trace) {
    const bool keeps = parallel && std::abs(alpha - 1) < 1e-10;
    ForImageColumns(v, [&](int i, int j, int k) {
        double& value = v.at(i, j, k);
        if (value < 0 && alpha != 0) {
            ++trace.negativeRatios;
            if (keeps) ++trace.negativesKept;
        }
        if (!keeps) value = std::pow(std::max(value, 0.0), alpha);
    });
    MultiplyBy(a, v);
}

inline void StepRatio(PaddedVolume& v, const PaddedVolume& a, const PaddedVolume& previous) {
    for (std::size_t n = 0; n < v.values.size(); ++n) {
        v.values[n] = previous.values[n] > 1e-20 ? a.values[n] / previous.values[n] : 1.0;
    }
}

/// Correlation of the last two steps, in logarithms. Terms of a sample that is left out are those of the last
/// plane before that had some at its place.
inline double Exponent(const PaddedVolume& a, const BlindWork& w, BlindTrace& trace) {
    const auto stride = static_cast<std::size_t>(a.PlaneStride());
    std::vector<double> products(stride);
    std::vector<double> squares(stride);
    double largest = 0;
    for (const PaddedVolume* g : {&w.gradient1, &w.gradient2}) {
        ForImageColumns(a,
                        [&](int i, int j, int k) { largest = std::max(largest, std::abs(g->at(i, j, k))); });
    }
    double numerator = 0;
    double denominator = 0;
    for (int k = 0; k < a.nz; ++k) {
        for (int j = 0; j < a.ny; ++j) {
            for (int i = 0; i < a.nx; ++i) {
                const double last = w.gradient1.at(i, j, k);
                const double older = w.gradient2.at(i, j, k);
                const std::size_t place = a.Index(i, j, 0);
                for (const double g : {last, older}) {
                    trace.skipMargin = std::min(trace.skipMargin, std::abs(g - 1e-10) / largest);
                }
                if (!(last > 1e-10) || !(older > 1e-10)) {
                    ++trace.skipped;
                    if (squares[place] != 0) ++trace.refilled;
                    continue;
                }
                const double t = std::log10(older) * w.previous.at(i, j, k);
                const double u = std::log10(last) * a.at(i, j, k);
                products[place] = u * t;
                squares[place] = t * t;
            }
        }
        for (const double product : products) numerator += product;
        for (const double square : squares) denominator += square;
    }
    if (!(denominator > 1e-10)) return 0;
    return std::clamp(numerator / denominator, 0.0, 1.0);
}

}  // namespace blind_detail

/// The pass on `a`, `b` held fixed, against the observed `g`; what it returns depends on the form.
inline unsigned SweepBlind(BlindRun& run, const BlindPass& pass, PaddedVolume& a, const PaddedVolume& b,
                           const PaddedVolume& g) {
    const bool parallel = pass.form == BlindForm::kParallel;
    const bool structured = pass.form == BlindForm::kStructured;
    const bool accelerated = structured ? pass.accelerate : pass.sweeps >= 3;
    const bool tests = pass.stopE8 > -0.5f && (!structured || pass.accelerate);
    const bool testsMoves = !parallel && pass.stopE8 > 0 && (!structured || pass.accelerate);
    const bool reports = pass.report && pass.stopE8 < 0;
    BlindTrace& trace = run.trace;
    const auto polled = [&] { return run.Stops(eProgressPoll); };
    double energy = 0;
    double energyBefore = 0;
    const auto ends = [&] {
        energy = pass.imagePass ? EnergyRatio(a, b) : EnergyRatio(b, a);
        trace.energies.push_back(energy);
        const double bound = pass.stopE8;
        const double scale = std::max(std::abs(energy), std::abs(bound));
        trace.testMargin = std::min(trace.testMargin, std::abs(energy - bound) / scale);
        return pass.imagePass ? energy < bound : energy > bound;
    };
    const auto settles = [&] {
        const double move = std::abs(1 - energyBefore / energy);
        trace.moves.push_back(move);
        trace.testMargin = std::min(trace.testMargin, std::abs(move - 0.01));
        return move < 0.01;
    };

    const double sum = SumOfImageColumns(b);
    const double c = sum < 1e-10 ? 1.0 : 1 / sum;
    const ComplexVolume otf = Spectrum(b);
    if (!structured || pass.accelerate) run.work.SetOnes();
    BlindWork& w = run.work;
    double alpha = parallel ? 0 : 1;
    if (polled()) return 0;

    for (unsigned i = 0; i < pass.sweeps; ++i) {
        const unsigned whenPolledOut = parallel ? i : i + 1;
        if (reports && run.Stops(eProgressStepBegin)) return 0;
        if (tests && !parallel && ends()) return i + 1;
        if (polled()) return whenPolledOut;
        if (accelerated) {
            blind_detail::Extrapolate(a, w.v, alpha, parallel, trace);
            if (polled()) return whenPolledOut;
        }
        PaddedVolume scratch = Blur(a, otf);
        run.disturb(scratch);
        if (polled()) return whenPolledOut;
        double largest = 0;
        ForImageColumns(
            g, [&](int x, int y, int z) { largest = std::max(largest, std::abs(scratch.at(x, y, z))); });
        ForImageColumns(g, [&](int x, int y, int z) {
            double& h = scratch.at(x, y, z);
            if (largest > 0) trace.smallestBlur = std::min(trace.smallestBlur, std::abs(h) / largest);
            h = h == 0 ? 0 : g.at(x, y, z) / h;
        });
        scratch = BlurAdjoint(scratch, otf);
        run.disturb(scratch);
        if (polled()) return whenPolledOut;
        MultiplyBy(a, scratch);
        Scale(a, c);
        if (accelerated) {
            if (polled()) return whenPolledOut;
            blind_detail::StepRatio(w.v, a, w.previous);
            if (polled()) return whenPolledOut;
            alpha = blind_detail::Exponent(a, w, trace);
            trace.exponents.push_back(alpha);
            if (polled()) return whenPolledOut;
            w.previous = a;
            w.gradient2 = w.gradient1;
            w.gradient1 = scratch;
        }
        if (testsMoves && i != 0 && settles()) return i + 1;
        energyBefore = energy;
        if (tests && parallel && ends()) return i + 1;
        if (reports && run.Stops(eProgressStepEnd, 4)) return 0;
    }
    return parallel ? pass.sweeps : pass.sweeps + 1;
}

}  // namespace gnr::ref
