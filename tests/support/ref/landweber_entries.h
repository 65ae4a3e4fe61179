// SPDX-License-Identifier: MIT
#pragma once

// The one-call Landweber forms: momentum that restarts every 35 iterations, and over-relaxed with a stop
// test. Plain loops and double, with a record of every decision.

#include <gnr_deconvolution/object_frame.h>

#include <vector>

#include "support/ref/landweber_step.h"
#include "support/ref/lucy_richardson_tm.h"
#include "support/ref/padded_volume.h"

namespace gnr::ref {

struct LandweberEntryJob {
    int iterations = 1;
    double stopRatio = 1.0007;  ///< automatic form
    SRyIRect3D box = {};        ///< automatic form
    int stopAtCall = -1;        ///< which progress call, from 0, answers "stop"; -1: none
    Disturbance disturbance = {};
};

struct LandweberEntryResult {
    PaddedVolume image;
    int code = 1;
    unsigned done = 0;   ///< counted by the automatic form only
    unsigned steps = 0;  ///< iterations finished by either form
    double psfFactor = 1;
    bool stoppedByItself = false;
    std::vector<ERyProgressPhase> phases = {};
    std::vector<StopVisit> visits = {};
    std::vector<double> factors = {};  ///< of the extrapolation, from the second iteration on
    std::vector<int> restarts = {};
};

namespace landweber_detail {

inline double PsfFactor(const PaddedVolume& psf) {
    const double sum = SumOfImageColumns(psf);
    return sum >= 1e-10 ? 1 / sum : 1.0;
}

inline bool Stopped(LandweberEntryResult& r, const LandweberEntryJob& job, ERyProgressPhase phase) {
    r.phases.push_back(phase);
    const bool stops = static_cast<int>(r.phases.size()) - 1 == job.stopAtCall;
    if (stops) r.code = -8;
    return stops;
}

}  // namespace landweber_detail

inline LandweberEntryResult LandweberWithRestart(const PaddedVolume& image, const PaddedVolume& psf,
                                                 const LandweberEntryJob& job) {
    LandweberEntryResult r{image};
    PaddedVolume& x = r.image;
    Disturber disturb(job.disturbance);
    r.psfFactor = landweber_detail::PsfFactor(psf);
    PaddedVolume observed = x;
    PaddedVolume y = x;
    const ComplexVolume otf = Spectrum(psf);

    double m = 1;
    for (int k = 0; k < job.iterations; ++k) {
        if (landweber_detail::Stopped(r, job, eProgressStepBegin)) break;
        AddScaled(y, 1.0, Gradient(observed, y, otf, disturb));
        const PaddedVolume previous = x;
        x = y;
        Scale(x, r.psfFactor);
        ClipNegative(x);
        double next = NextMomentum(m);
        y = x;
        if (k != 0) {
            r.factors.push_back((m - 1) / next);
            AddScaled(y, r.factors.back(), Difference(x, previous));
        }
        if (k != 0 && k % 35 == 0) {
            r.restarts.push_back(k);
            observed = x;
            y = x;
            next = 1;
        }
        ++r.steps;
        if (landweber_detail::Stopped(r, job, eProgressStepEnd)) break;
        m = next;
    }
    return r;
}

inline LandweberEntryResult LandweberAutomatic(const PaddedVolume& image, const PaddedVolume& psf,
                                               const LandweberEntryJob& job) {
    LandweberEntryResult r{image};
    Disturber disturb(job.disturbance);
    r.psfFactor = landweber_detail::PsfFactor(psf);
    ClipNegative(r.image);
    const PaddedVolume observed = r.image;
    PaddedVolume x = r.image;
    const ComplexVolume otf = Spectrum(psf);

    double first = 0;
    double previous = 1;
    for (int i = 0; i < job.iterations; ++i) {
        if (landweber_detail::Stopped(r, job, eProgressStepBegin)) break;
        double current = previous;
        if (i == 1) first = MeanIDivergence(x, observed, job.box);
        if (i > 1) {
            const StopVisit visit =
                VisitStopTest(static_cast<unsigned>(i), first, MeanIDivergence(x, observed, job.box),
                              previous, job.stopRatio);
            r.visits.push_back(visit);
            r.stoppedByItself = r.stoppedByItself || visit.stops;
            current = visit.ratio;
            if (visit.stops) i = job.iterations - 1;
        }
        AddScaled(x, kOverRelaxation, Gradient(observed, x, otf, disturb));
        r.image = x;
        if (r.psfFactor != 1) Scale(r.image, r.psfFactor);
        ClipNegative(r.image);
        x = r.image;
        ++r.done;
        ++r.steps;
        if (landweber_detail::Stopped(r, job, eProgressStepEnd)) break;
        previous = current;
    }
    return r;
}

}  // namespace gnr::ref
