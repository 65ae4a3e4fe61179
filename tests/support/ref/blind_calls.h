// SPDX-License-Identifier: MIT
#pragma once

// The library's side of blind comparisons: one call of each form and of each whole run, a host that stops, and
// how far single precision may be from the twins.

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "support/progress_log.h"
#include "support/ref/blind.h"
#include "support/ref/landweber_runs.h"
#include "support/restoration_job.h"
#include "support/tolerances.h"

namespace gnr::test {

/// Answers as the host of a twin does.
class StoppingHost {
  public:
    explicit StoppingHost(const ref::BlindHost& answers)
        : stopAt_(answers.stopAt), persists_(answers.persists) {}

    static int Record(const CRyStringW& text, unsigned a, unsigned b, unsigned c, unsigned n,
                      ERyProgressPhase phase, void* pData) {
        StoppingHost& host = *static_cast<StoppingHost*>(pData);
        ProgressLog::Record(text, a, b, c, n, phase, &host.log);
        const int call = static_cast<int>(host.log.Calls().size()) - 1;
        if (host.stopAt_ < 0) return 0;
        return (host.persists_ ? call >= host.stopAt_ : call == host.stopAt_) ? -5 : 0;
    }

    ProgressLog log;

  private:
    int stopAt_;
    bool persists_;
};

/// Same calls in the same order; of long sequences, where they part.
inline testing::AssertionResult SameCalls(const std::vector<ProgressReport>& got,
                                          const std::vector<ProgressReport>& expected) {
    const std::size_t common = std::min(got.size(), expected.size());
    for (std::size_t n = 0; n < common; ++n) {
        if (got[n] == expected[n]) continue;
        return testing::AssertionFailure()
               << "call " << n << ": phase " << got[n].phase << ", " << got[n].n << " units; expected "
               << expected[n].phase << ", " << expected[n].n;
    }
    if (got.size() == expected.size()) return testing::AssertionSuccess();
    return testing::AssertionFailure() << got.size() << " calls, expected " << expected.size();
}

/// One call of the inner routine with working buffers of its own, all filled with sentinels.
struct BlindPassCall {
    BlindPassCall(const Volume& updated, const Volume& fixed, const Volume& observed)
        : a(updated),
          b(fixed),
          g(observed),
          planes(4 * static_cast<std::size_t>(a.sizes.planeStride), kSentinel) {
        for (Volume* v : {&otf, &ratio, &previous, &scratch, &gradient1, &gradient2}) {
            v->Fill([](int, int, int) { return kSentinel; }).FillPadding(kSentinel);
        }
    }

    unsigned Call(const ref::BlindPass& pass, StoppingHost* host = nullptr) {
        DFT3D s = a.sizes;
        const auto with = [&](auto inner, auto... more) {
            return inner(a, b, &s, pass.sweeps, pass.imagePass, pass.stopE8, planes.data(), g, otf, ratio,
                         previous, scratch, gradient1, gradient2, host ? &StoppingHost::Record : nullptr,
                         host, status, pass.report, more...);
        };
        switch (pass.form) {
            case ref::BlindForm::kSerial:
                return with(&CRy3DDeconvolutionLow::AccIBDProcessInner3D);
            case ref::BlindForm::kParallel:
                return with(&CRy3DDeconvolutionLow::SSE_AccIBDProcessInner3D);
            default:
                return with(&CRy3DDeconvolutionLow::SIM_AccIBDProcessInner3D, pass.accelerate);
        }
    }

    Volume a;
    Volume b;
    Volume g;
    std::vector<float> planes;
    Volume otf = Volume(a.sizes);
    Volume ratio = Volume(a.sizes);
    Volume previous = Volume(a.sizes);
    Volume scratch = Volume(a.sizes);
    Volume gradient1 = Volume(a.sizes);
    Volume gradient2 = Volume(a.sizes);
    int status = 77;
};

/// One whole run of the library: its code, volumes and progress calls.
struct BlindCall {
    BlindCall(const Volume& observed, const Volume& guess, const ref::BlindJob& settings)
        : image(observed), psf(guess), job(settings), host(settings.host) {}

    int Entry() {
        DFT3D s = sizes();
        return CRy3DDeconvolution().LucyRichardsonIBD(&s, psf, image, static_cast<int>(job.iterations),
                                                      listener(), &host, -3, 17, job.stopE8,
                                                      static_cast<unsigned>(job.innerSetting));
    }
    int Structured(IRyIterationDataCallback* between) {
        DFT3D s = sizes();
        return CRy3DDeconvolution().SIM_LucyRichardsonIBD(&s, psf, image, static_cast<int>(job.iterations),
                                                          listener(), &host, -3, 17, job.stopE8, between);
    }
    template <class Core>
    int Run(Core& core, const Volume* truth = nullptr) {
        CRy3DBlindDeconvRunParameters params;
        params.sizes = image.sizes;
        params.rcImage = job.box;
        params.pfImage = image;
        params.pfPsf = psf;
        params.pfnProgress = &StoppingHost::Record;
        params.pProgressData = &host;
        params.uiIterations = job.iterations;
        params.fBlindValue = job.stopE8;
        params.iBlindInnerSetting = job.innerSetting;
        params.bNoPsfGuard = job.unguarded;
        params.iBlindGuardSetting = job.guardSetting;
        params.pfReference = truth ? truth->get() : nullptr;
        params.fReferenceSum = static_cast<float>(job.truthSum);
        const CRyRefCountPtr<CRy3DBlindDeconvRunParameters> ptr(&params);
        const int prepared = core.Prepare(ptr);
        return prepared != kSuccess ? prepared : core.Run(ptr);
    }
    const std::vector<ProgressReport>& calls() const { return host.log.Calls(); }
    DFT3D sizes() const {
        DFT3D s = image.sizes;
        if (beyondMemory) s.total = 1LL << 60;
        return s;
    }
    RyProgressCallback listener() const { return listens ? &StoppingHost::Record : nullptr; }

    Volume image;
    Volume psf;
    ref::BlindJob job;
    StoppingHost host;
    bool listens = true;
    bool beyondMemory = false;
};

/// Decisions that single precision might take the other way, or divisions that it cannot follow.
inline void ExpectDecided(const ref::BlindTrace& trace) {
    EXPECT_GT(trace.testMargin, kDecisionMargin);
    EXPECT_GT(trace.skipMargin, kSkipMargin);
    EXPECT_GT(trace.smallestBlur, kBlurMargin);
}

/// A twin's run and how far a single-precision one may be from it, in image and PSF.
struct BlindExpectation {
    ref::BlindResult run;
    double imageTolerance;
    double psfTolerance;
};

using BlindTwin = ref::BlindResult (*)(const ref::PaddedVolume&, const ref::PaddedVolume&,
                                       const ref::BlindJob&);

inline BlindExpectation ExpectBlind(BlindTwin twin, const Volume& observed, const Volume& guess,
                                    ref::BlindJob job) {
    const ref::PaddedVolume image = ref::FromVolume(observed);
    const ref::PaddedVolume psf = ref::FromVolume(guess);
    ref::BlindResult run = twin(image, psf, job);
    ExpectDecided(run.trace);
    EXPECT_GT(run.guardMargin, kDecisionMargin);
    const auto disturbed = [&](auto volume) {
        return [&, volume](const ref::Disturbance& disturbance) {
            job.disturbance = disturbance;
            return twin(image, psf, job).*volume;
        };
    };
    const double ofImage = RoundingTolerance(run.image, disturbed(&ref::BlindResult::image));
    const double ofPsf = RoundingTolerance(run.psf, disturbed(&ref::BlindResult::psf));
    return {std::move(run), ofImage, ofPsf};
}

inline void ExpectSameRun(const BlindCall& call, int code, const BlindExpectation& expected) {
    EXPECT_EQ(code, expected.run.code);
    EXPECT_TRUE(SameCalls(call.calls(), expected.run.calls));
    ref::ExpectImageNear(call.image, expected.run.image, expected.imageTolerance);
    ref::ExpectImageNear(call.psf, expected.run.psf, expected.psfTolerance);
}

}  // namespace gnr::test
