// SPDX-License-Identifier: MIT
#pragma once

// One call of a one-call Richardson-Lucy entry, on its own image and PSF, and a scene to run it on.

#include <gnr_deconvolution/legacy.h>

#include <ostream>
#include <vector>

#include "support/ref/entry_chains.h"
#include "support/ref/landweber_runs.h"

namespace gnr::test {

enum class RichardsonLucy { kManual, kAutomatic, kPlain, kRealTV };
inline constexpr RichardsonLucy kRichardsonLucyEntries[] = {
    RichardsonLucy::kManual, RichardsonLucy::kAutomatic, RichardsonLucy::kPlain, RichardsonLucy::kRealTV};

inline const char* NameOf(RichardsonLucy entry) {
    constexpr const char* kNames[] = {"Manual", "Automatic", "Plain", "RealTV"};
    return kNames[static_cast<int>(entry)];
}
inline void PrintTo(RichardsonLucy entry, std::ostream* out) {
    *out << NameOf(entry);
}

struct RichardsonLucyCall {
    RichardsonLucyCall(RichardsonLucy which, const Volume& observed, const Volume& spread, int count)
        : entry(which),
          image(observed),
          psf(which == RichardsonLucy::kPlain ? ref::ChainSpectrum(spread) : spread),
          iterations(count),
          box(WholeBox(observed.sizes)) {}

    int Run(EntryLog* log = nullptr) { return RunOn(image, psf, log); }
    int RunOn(float* pfImage, float* pfPsf, EntryLog* log = nullptr) {
        using Family = CRyLegacy3DDeconvolutionFamily;
        DFT3D s = image.sizes;
        if (beyondMemory) s.total = 1LL << 60;
        const RyProgressCallback callback = log != nullptr ? log->callback() : nullptr;
        void* const pointer = log != nullptr ? log->pointer() : nullptr;
        CRy3DDeconvolution front;
        switch (entry) {
            case RichardsonLucy::kManual:
                return front.LucyRichardsonTM(&s, pfPsf, pfImage, iterations, callback, pointer, unused,
                                              unused, strength);
            case RichardsonLucy::kAutomatic:
                return front.LucyRichardsonTM_Automatic(&s, pfPsf, pfImage, iterations, callback, pointer,
                                                        unused, unused, automaticStrength, box,
                                                        asked ? &done : nullptr, stopRatio);
            case RichardsonLucy::kPlain:
                return Family::LucyRichardson(&s, pfPsf, pfImage, iterations, &result, callback, pointer,
                                              unused, unused);
            case RichardsonLucy::kRealTV:
                break;
        }
        return Family::LucyRichardsonRealTV(&s, pfPsf, pfImage, iterations, &result, callback, pointer,
                                            unused, unused, strength);
    }
    bool HasResult() const { return entry == RichardsonLucy::kPlain || entry == RichardsonLucy::kRealTV; }

    RichardsonLucy entry;
    Volume image;
    Volume psf;  ///< the plain entry's is a spectrum
    int iterations;
    unsigned strength = 10;
    double automaticStrength = 0.3;
    SRyIRect3D box;
    double stopRatio = 1e9;
    unsigned done = 77;
    bool asked = true;
    float result = 77.0f;
    int unused = 0;
    bool beyondMemory = false;
};

/// Begin and end for each iteration, cut after `count` calls. The plain entry counts at the begin as well.
inline std::vector<ProgressReport> RichardsonLucyReports(RichardsonLucy entry, int count) {
    std::vector<ProgressReport> calls;
    for (int n = 0; n < count; ++n) {
        calls.push_back(ReportOf(n % 2 == 0 ? eProgressStepBegin : eProgressStepEnd));
        if (entry == RichardsonLucy::kPlain) calls.back().n = 1;
    }
    return calls;
}

}  // namespace gnr::test
