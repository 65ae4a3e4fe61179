// SPDX-License-Identifier: MIT
#pragma once

// Richardson-Lucy on pictures with a Tikhonov-Miller or a total-variation term: the whole algorithms in plain
// loops and double, with a record of every decision.

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/ref/richardson_lucy_2d_frame.h"

namespace gnr::ref {

/// Which pictures an entry is for: they differ in what a stopped run counts, and where negatives are cut.
enum class PictureKind { kInteger, kFloat };

struct PictureJob {
    PictureKind kind = PictureKind::kFloat;
    unsigned iterations = 1;
    double lambda = 0;    ///< strength of the Tikhonov-Miller term
    int strength = 0;     ///< of a total-variation term
    int stopAtCall = -1;  ///< which progress call, from 0, answers "stop"; -1: none
};

/// One visit of the stop test at iteration i.
struct PictureStopVisit {
    unsigned i;
    double ratio;     ///< first divergence / this one
    double previous;  ///< ratio of the visit before
    bool stops;
};

struct PictureResult {
    RealVolume picture;  ///< at the place of the source, not yet cut to samples
    RealVolume frame;    ///< the estimate when the run ended, in its own scale
    int code = 0;
    unsigned done = 0;
    unsigned steps = 0;  ///< iterations finished
    int calls = 0;
    double lambda = 0;  ///< at the end
    std::vector<PictureStopVisit> visits = {};
    double limitMargin = std::numeric_limits<double>::infinity();  ///< least | max |v| - 0.21 | of a pass
};

/// Mean of a ln((a + 1e-20) / (b + 1e-20)) - a + b over the picture's place.
inline double DivergenceAtPicture(const RealVolume& a, const RealVolume& b, int w, int h) {
    double sum = 0;
    for (int y = kPictureMargin; y < h + kPictureMargin; ++y) {
        for (int x = kPictureMargin; x < w + kPictureMargin; ++x) {
            const double va = a.at(x, y, 0);
            const double vb = b.at(x, y, 0);
            sum += va * std::log((va + 1e-20) / (vb + 1e-20)) - va + vb;
        }
    }
    return sum / (static_cast<double>(w) * h);
}

/// Four neighbours less four times the sample; inside only.
inline double LaplacianAt(const RealVolume& x, int i, int j) {
    return x.at(i, j - 1, 0) + x.at(i, j + 1, 0) + x.at(i - 1, j, 0) + x.at(i + 1, j, 0) - 4 * x.at(i, j, 0);
}

/// field(i, j) inside, 1 on the first and last row and column.
template <class F>
RealVolume BorderedField(int W, int H, F field) {
    RealVolume out(W, H, 1);
    for (int j = 0; j < H; ++j) {
        for (int i = 0; i < W; ++i) {
            const bool border = i == 0 || j == 0 || i == W - 1 || j == H - 1;
            out.at(i, j, 0) = border ? 1 : field(i, j);
        }
    }
    return out;
}

/// 1 / (1 + v), v = lambda L; lambda shrinks until all v are within 0.21 of 0.
inline RealVolume ShrinkingField(const RealVolume& x, double& lambda, double& limitMargin) {
    const double aim = 0.2f;
    const double limit = 0.21f;
    for (;;) {
        double least = std::numeric_limits<double>::max();
        double greatest = std::numeric_limits<double>::lowest();
        RealVolume field = BorderedField(x.nx, x.ny, [&](int i, int j) {
            const double v = LaplacianAt(x, i, j) * lambda;
            least = std::min(least, v);
            greatest = std::max(greatest, v);
            return 1 / (1 + v);
        });
        const double extreme = std::max(std::abs(least), std::abs(greatest));
        limitMargin = std::min(limitMargin, std::abs(extreme - limit));
        if (!(least < -limit || greatest > limit)) return field;
        lambda = lambda * aim / extreme;
    }
}

/// 1 / (1 + v), v = lambda L within +-0.2.
inline RealVolume ClampedField2D(const RealVolume& x, double lambda) {
    return BorderedField(x.nx, x.ny, [&](int i, int j) {
        return 1 / (1 + std::clamp<double>(LaplacianAt(x, i, j) * lambda, -0.2f, 0.2f));
    });
}

/// Sum of the direction's components.
inline double DirectionSum(double dx, double dy) {
    const double n = std::sqrt(dx * dx + dy * dy + 1e-20);
    return dy / n + dx / n;
}

/// 1 / (1 - lambda g), g from forward differences.
inline RealVolume DirectionField2D(const RealVolume& x, double lambda) {
    return BorderedField(x.nx, x.ny, [&](int i, int j) {
        const double v = x.at(i, j, 0);
        return 1 / (1 - lambda * DirectionSum(x.at(i + 1, j, 0) - v, x.at(i, j + 1, 0) - v));
    });
}

/// H^T(y / (H x))
inline RealVolume PictureCorrection(const RealVolume& y, const RealVolume& x, const ComplexVolume& otf) {
    return Filtered(RatioOfFrames(y, Filtered(x, otf, Filter::kConvolve)), otf, Filter::kCorrelate);
}

/// The Tikhonov-Miller form.
inline PictureResult PictureTM(const RealVolume& source, const std::vector<float>& psf, int n,
                               const PictureJob& job) {
    RealVolume x = FrameOfPicture(source);
    const RealVolume wrapped = FrameOfPsf(x.nx, x.ny, psf, n);
    double greatest = std::numeric_limits<double>::lowest();
    for (const double v : x.values) greatest = std::max(greatest, v);
    const double scale = greatest + 1e-10;
    ScaleFrameBy(x, 1 / scale);
    const double factor = FactorOfPsf(wrapped);
    x = Prefiltered(x);
    ClipFrame(x);
    const RealVolume y = x;
    const ComplexVolume otf = Forward(Prefiltered(wrapped));

    PictureResult r{source, x};
    r.lambda = static_cast<float>(job.lambda * -2.0 * job.lambda);
    double first = 0;
    double previous = 1;
    for (unsigned i = 0; i < job.iterations; ++i) {
        if (job.kind == PictureKind::kInteger) r.done = i + 1;
        if (r.calls++ == job.stopAtCall) {
            r.code = -9;
            break;
        }
        unsigned next = i;
        if (i == 1) first = DivergenceAtPicture(x, y, source.nx, source.ny);
        if (i >= 2) {
            const double ratio = first / DivergenceAtPicture(x, y, source.nx, source.ny);
            const bool stops = (ratio > previous || ratio / previous > 0.998) && i > 4;
            r.visits.push_back({i, ratio, previous, stops});
            if (stops) next = job.iterations - 1;
            previous = ratio;
        }
        const RealVolume correction = PictureCorrection(y, x, otf);
        if (job.lambda != 0) MultiplyFrames(x, ShrinkingField(x, r.lambda, r.limitMargin));
        MultiplyFrames(x, correction);
        if (factor != 1) ScaleFrameBy(x, factor);
        ClipFrame(x);
        ++r.steps;
        if (job.kind == PictureKind::kFloat) r.done = i + 1;
        i = next;
    }
    r.frame = x;
    ScaleFrameBy(x, scale);
    r.picture = PictureOfFrame(x, source.nx, source.ny);
    return r;
}

enum class VariationTerm { kLaplacian, kDirection };

/// The total-variation forms.
inline PictureResult PictureTV(VariationTerm term, const RealVolume& source, const std::vector<float>& psf,
                               int n, const PictureJob& job) {
    RealVolume x = FrameOfPicture(source);
    const RealVolume wrapped = FrameOfPsf(x.nx, x.ny, psf, n);
    const double factor = FactorOfPsf(wrapped);
    const RealVolume y = x;
    const ComplexVolume otf = Forward(wrapped);
    const float s = static_cast<float>(3 * job.strength);
    const float lambda = term == VariationTerm::kLaplacian ? s * -2e-05f * s : s * 0.0001f * s;
    const bool clipsFirst = term == VariationTerm::kDirection && job.kind == PictureKind::kInteger;

    PictureResult r{source, x};
    r.lambda = lambda;
    for (unsigned i = 0; i < job.iterations; ++i) {
        if (clipsFirst) ClipFrame(x);
        if (r.calls++ == job.stopAtCall) {
            r.code = -9;
            break;
        }
        if (!clipsFirst) ClipFrame(x);
        const RealVolume before = x;
        MultiplyFrames(x, PictureCorrection(y, x, otf));
        if (job.strength != 0) {
            MultiplyFrames(x, term == VariationTerm::kLaplacian ? ClampedField2D(before, lambda)
                                                                : DirectionField2D(before, lambda));
        }
        ScaleFrameBy(x, factor);
        ++r.steps;
    }
    r.frame = x;
    r.picture = PictureOfFrame(x, source.nx, source.ny);
    return r;
}

}  // namespace gnr::ref
