// SPDX-License-Identifier: MIT
#pragma once

// The one-call Richardson-Lucy forms in plain loops and double: fixed count and automatic stop with a
// Tikhonov-Miller factor, plain with a spectrum, and with a total-variation factor. With a record of every
// decision.

#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/ref/lucy_richardson_tm.h"
#include "support/ref/padded_volume.h"
#include "support/ref/regularization.h"

namespace gnr::ref {

struct RichardsonLucyEntryResult {
    PaddedVolume image;
    int code = 1;
    unsigned done = 0;   ///< counted by the automatic form only
    unsigned steps = 0;  ///< iterations finished
    int calls = 0;
    double lambda = 0;  ///< at the end
    std::vector<StopVisit> visits = {};
    FieldMargin fieldMargin = {};
    double smallestBlur = std::numeric_limits<double>::infinity();      ///< |h * x| / max |x|, denominators
    double smallestGradient = std::numeric_limits<double>::infinity();  ///< |grad x| / max |x| of TV fields
};

namespace entry_detail {

inline double PsfFactor(const PaddedVolume& psf) {
    const double sum = SumOfImageColumns(psf);
    return sum >= 1e-10 ? 1 / sum : 1.0;
}

inline bool Stopped(RichardsonLucyEntryResult& r, int stopAtCall) {
    const bool stops = r.calls++ == stopAtCall;
    if (stops) r.code = -8;
    return stops;
}

/// observed / (H x), 0 where H x is 0.
inline PaddedVolume Ratio(RichardsonLucyEntryResult& r, const PaddedVolume& observed,
                          const ComplexVolume& otf) {
    PaddedVolume ratio = Blur(r.image, otf);
    const double largest = LargestMagnitude(ratio);
    ForImageColumns(ratio, [&](int i, int j, int k) {
        double& h = ratio.at(i, j, k);
        r.smallestBlur = std::min(r.smallestBlur, std::abs(h) / largest);
        h = h == 0 ? 0 : observed.at(i, j, k) / h;
    });
    return ratio;
}

/// 1 / (1 - (sum of the forward gradient / its length) lambda); 1 where the length is not above 1e-10 and at
/// samples that are not interior, which the plane index decides for rows and columns too.
inline PaddedVolume TotalVariationField(RichardsonLucyEntryResult& r, double lambda) {
    const PaddedVolume& x = r.image;
    const double largest = LargestMagnitude(x);
    PaddedVolume field(x.nx, x.ny, x.nz);
    for (int k = 0; k < x.nz; ++k) {
        for (int j = 0; j < x.ny; ++j) {
            for (int i = 0; i < x.RowLength(); ++i) {
                const bool interior =
                    k >= 1 && k < x.nz - 1 && j >= 1 && k < x.ny - 1 && i >= 1 && k < x.RowLength() - 3;
                double& value = field.at(i, j, k);
                value = 1;
                if (!interior) continue;
                const std::size_t n = x.Index(i, j, k);
                const double gx = x.values[n + 1] - x.values[n];
                const double gy = x.values[n + static_cast<std::size_t>(x.RowLength())] - x.values[n];
                const double gz = x.values[n + static_cast<std::size_t>(x.PlaneStride())] - x.values[n];
                const double m = std::sqrt(gx * gx + gy * gy + gz * gz);
                if (i < x.nx) r.smallestGradient = std::min(r.smallestGradient, m / largest);
                if (m > 1e-10) value = 1 / (1 - (gx + gy + gz) / m * lambda);
            }
        }
    }
    return field;
}

}  // namespace entry_detail

inline RichardsonLucyEntryResult LucyRichardsonTMEntry(const PaddedVolume& image, const PaddedVolume& psf,
                                                       int iterations, std::uint32_t strength,
                                                       int stopAtCall = -1) {
    RichardsonLucyEntryResult r{image};
    PaddedVolume& x = r.image;
    const double norm = entry_detail::PsfFactor(psf);
    const PaddedVolume observed = x;
    const ComplexVolume otf = Spectrum(psf);
    const double a = static_cast<float>(strength * 2u);
    r.lambda = a * -1e-6 * a;
    for (int i = 0; i < iterations; ++i) {
        if (entry_detail::Stopped(r, stopAtCall)) break;
        const PaddedVolume t = BlurAdjoint(entry_detail::Ratio(r, observed, otf), otf);
        if (strength != 0) MultiplyBy(x, ClampedField(x, r.lambda, r.fieldMargin));
        MultiplyBy(x, t);
        Scale(x, norm);
        ++r.steps;
        if (entry_detail::Stopped(r, stopAtCall)) break;
    }
    return r;
}

struct AutomaticEntryJob {
    int iterations = 1;
    double strength = 0;
    double stopRatio = 1.0007;
    SRyIRect3D box = {};
    int stopAtCall = -1;
};

inline RichardsonLucyEntryResult LucyRichardsonTMAutomaticEntry(const PaddedVolume& image,
                                                                const PaddedVolume& psf,
                                                                const AutomaticEntryJob& job) {
    RichardsonLucyEntryResult r{image};
    PaddedVolume& x = r.image;
    double most = std::numeric_limits<float>::lowest();
    ForImageColumns(x, [&](int i, int j, int k) { most = std::max(most, x.at(i, j, k)); });
    const double range = most + 1e-10f;
    Scale(x, 1 / range);
    const double norm = entry_detail::PsfFactor(psf);
    ClipNegative(x);
    const PaddedVolume observed = x;
    const ComplexVolume otf = Spectrum(psf);
    r.lambda = job.strength * -0.2f * job.strength;
    double first = 0;
    double previous = 1;
    for (int i = 0; i < job.iterations; ++i) {
        if (entry_detail::Stopped(r, job.stopAtCall)) break;
        double current = previous;
        if (i == 1) first = MeanIDivergence(x, observed, job.box);
        if (i > 1) {
            r.visits.push_back(VisitStopTest(static_cast<unsigned>(i), first,
                                             MeanIDivergence(x, observed, job.box), previous, job.stopRatio));
            current = r.visits.back().ratio;
            if (r.visits.back().stops) i = job.iterations - 1;
        }
        const PaddedVolume t = BlurAdjoint(entry_detail::Ratio(r, observed, otf), otf);
        if (job.strength != 0) MultiplyBy(x, SelfLimitingField(x, r.lambda, r.fieldMargin));
        MultiplyBy(x, t);
        if (norm != 1) Scale(x, norm);
        ClipNegative(x);
        ++r.done;
        ++r.steps;
        if (entry_detail::Stopped(r, job.stopAtCall)) break;
        previous = current;
    }
    Scale(x, range);
    return r;
}

/// The second product is with the spectrum itself.
inline RichardsonLucyEntryResult LucyRichardsonEntry(const PaddedVolume& image, const ComplexVolume& otf,
                                                     int iterations, int stopAtCall = -1) {
    RichardsonLucyEntryResult r{image};
    const PaddedVolume observed = r.image;
    for (int n = 0; n < iterations; ++n) {
        if (entry_detail::Stopped(r, stopAtCall)) break;
        MultiplyBy(r.image, Blur(entry_detail::Ratio(r, observed, otf), otf));
        ++r.steps;
        if (entry_detail::Stopped(r, stopAtCall)) break;
    }
    return r;
}

inline RichardsonLucyEntryResult LucyRichardsonRealTVEntry(const PaddedVolume& image,
                                                           const PaddedVolume& kernel, int iterations,
                                                           std::uint32_t strength, int stopAtCall = -1) {
    RichardsonLucyEntryResult r{image};
    PaddedVolume& x = r.image;
    const double c = entry_detail::PsfFactor(kernel);
    const PaddedVolume observed = x;
    const ComplexVolume otf = Spectrum(kernel);
    const double f = static_cast<float>(2u * strength);
    r.lambda = f * 0.0001 * f;
    for (int n = 0; n < iterations; ++n) {
        if (entry_detail::Stopped(r, stopAtCall)) break;
        const PaddedVolume w = BlurAdjoint(entry_detail::Ratio(r, observed, otf), otf);
        if (strength != 0) MultiplyBy(x, entry_detail::TotalVariationField(r, r.lambda));
        MultiplyBy(x, w);
        Scale(x, c);
        ++r.steps;
        if (entry_detail::Stopped(r, stopAtCall)) break;
    }
    return r;
}

}  // namespace gnr::ref
