// SPDX-License-Identifier: MIT
#pragma once

// One run of the Landweber core or of a one-call Landweber entry, ready to be called, for the tests of what
// their hosts see.

#include <gnr_deconvolution/legacy.h>

#include <vector>

#include "support/ref/landweber_runs.h"

namespace gnr::test {

/// Samples of one job, and settings under which every part of the iteration has something to do.
struct LandweberCoreJob : RestorationJob<> {
    LandweberCoreJob() : LandweberCoreJob(8, 4, 16) {}
    LandweberCoreJob(int x, int y, int z)
        : RestorationJob<>(Observed(Scene(x, y, z, 20, 400), AsymmetricPsf(x, y, z), 0.02f),
                           AsymmetricPsf(x, y, z)) {
        params.dRegularization = 10;
        params.uiIterations = 3;
        params.puiIterationsDone = &done;
    }
    unsigned done = 77;
};

/// A box without samples has no mean divergence, and no number stops nothing.
inline constexpr SRyIRect3D kNowhere = {0, 0, 0, 0, 0, 0};

/// One call of either entry, on its own image and PSF.
struct LandweberEntryCall {
    LandweberEntryCall(const Volume& observed, const Volume& spread, int count)
        : image(observed), psf(spread), iterations(count), box(WholeBox(observed.sizes)) {}

    int WithRestart(EntryLog* log = nullptr) {
        DFT3D s = sizes();
        return CRy3DDeconvolution().Landweber(&s, psf, image, iterations, log ? log->callback() : nullptr,
                                              log ? log->pointer() : nullptr, unused, unused,
                                              static_cast<unsigned>(unused), unused);
    }
    int Automatic(EntryLog* log = nullptr) {
        DFT3D s = sizes();
        return CRy3DDeconvolution().Landweber_Automatic(
            &s, psf, image, iterations, log ? log->callback() : nullptr, log ? log->pointer() : nullptr,
            unused, unused, unused, box, unused, asked ? &done : nullptr, stopRatio);
    }
    int Call(bool automatic, EntryLog* log = nullptr) {
        return automatic ? Automatic(log) : WithRestart(log);
    }
    DFT3D sizes() const {
        DFT3D s = image.sizes;
        if (beyondMemory) s.total = 1LL << 60;
        return s;
    }

    Volume image;
    Volume psf;
    int iterations;
    SRyIRect3D box;
    double stopRatio = 1e9;
    unsigned done = 77;
    bool asked = true;
    int unused = 0;
    bool beyondMemory = false;
};

/// Begin and end for each iteration, cut after `count` calls.
inline std::vector<ProgressReport> EntryReports(int count) {
    std::vector<ProgressReport> calls;
    for (int n = 0; n < count; ++n)
        calls.push_back(ReportOf(n % 2 == 0 ? eProgressStepBegin : eProgressStepEnd));
    return calls;
}

}  // namespace gnr::test
