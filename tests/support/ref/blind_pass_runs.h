// SPDX-License-Identifier: MIT
#pragma once

// Passes of blind deconvolution side by side, the library's and the twin's, on jobs made for them.

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/ref/blind_calls.h"

namespace gnr::test {

inline constexpr ref::BlindForm kBlindForms[] = {ref::BlindForm::kSerial, ref::BlindForm::kParallel,
                                                 ref::BlindForm::kStructured};

inline const char* NameOf(ref::BlindForm form) {
    return form == ref::BlindForm::kSerial     ? "serial"
           : form == ref::BlindForm::kParallel ? "parallel"
                                               : "structured";
}

/// Volumes of one pass.
struct PassScenery {
    Volume updated;
    Volume fixed;
    Volume observed;
};

/// What the twin makes of a pass.
struct PassRun {
    ref::PaddedVolume a;
    unsigned count;
    ref::BlindRun run;
};

inline PassRun RunTwin(const PassScenery& scenery, const ref::BlindPass& pass,
                       const ref::BlindHost& host = {}, const ref::Disturbance& disturbance = {}) {
    ref::PaddedVolume a = ref::FromVolume(scenery.updated);
    ref::BlindRun run(a, host, disturbance);
    run.status = 77;
    const unsigned count =
        SweepBlind(run, pass, a, ref::FromVolume(scenery.fixed), ref::FromVolume(scenery.observed));
    return {std::move(a), count, std::move(run)};
}

/// A volume of the twin and how far a single-precision one may be from it.
struct Bounded {
    ref::PaddedVolume exact;
    double tolerance;
};

template <class Pick>
Bounded Bound(const PassScenery& scenery, const ref::BlindPass& pass, const ref::BlindHost& host,
              const PassRun& twin, Pick pick) {
    const double tolerance = RoundingTolerance(
        pick(twin), [&](const ref::Disturbance& d) { return pick(RunTwin(scenery, pass, host, d)); });
    return {pick(twin), tolerance};
}

inline bool Accelerates(const ref::BlindPass& pass) {
    return pass.form == ref::BlindForm::kStructured ? pass.accelerate : pass.sweeps >= 3;
}

/// Library against twin, with the thread counts given; of a pass that nobody stops, the accelerating volumes
/// too.
inline void ComparePass(const PassScenery& scenery, const ref::BlindPass& pass,
                        const ref::BlindHost& host = {}, const std::vector<int>& threadCounts = {2}) {
    SCOPED_TRACE(NameOf(pass.form));
    const PassRun twin = RunTwin(scenery, pass, host);
    ExpectDecided(twin.run.trace);
    const auto bound = [&](auto pick) { return Bound(scenery, pass, host, twin, pick); };
    const Bounded a = bound([](const PassRun& r) { return r.a; });
    std::vector<Bounded> work;
    if (host.stopAt < 0 && Accelerates(pass)) {
        work = {bound([](const PassRun& r) { return r.run.work.previous; }),
                bound([](const PassRun& r) { return r.run.work.gradient1; }),
                bound([](const PassRun& r) { return r.run.work.gradient2; })};
    }
    for (const int threads : threadCounts) {
        SCOPED_TRACE(threads);
        const ThreadCount scope(threads);
        BlindPassCall call(scenery.updated, scenery.fixed, scenery.observed);
        StoppingHost recorder(host);
        EXPECT_EQ(call.Call(pass, &recorder), twin.count);
        EXPECT_EQ(call.status, twin.run.status);
        EXPECT_TRUE(SameCalls(recorder.log.Calls(), twin.run.host.calls));
        ref::ExpectImageNear(call.a, a.exact, a.tolerance);
        EXPECT_TRUE(SameBytes(call.b, scenery.fixed));
        EXPECT_TRUE(SameBytes(call.g, scenery.observed));
        const Volume* volumes[] = {&call.previous, &call.gradient1, &call.gradient2};
        for (std::size_t n = 0; n < work.size(); ++n) {
            SCOPED_TRACE(n);
            ref::ExpectImageNear(*volumes[n], work[n].exact, work[n].tolerance);
        }
    }
}

/// The image as observed, or a PSF pass on the same job.
inline PassScenery MakeScenery(int x, int y, int z, bool imagePass, double psfSum = 1.0, float lift = 0.0f,
                               unsigned seed = 11, double width = 1.3) {
    Volume observed = Observed(Scene(x, y, z, 20, 400, seed), AsymmetricPsf(x, y, z), 0.02f);
    observed.Fill([&](int i, int j, int k) { return observed.at(i, j, k) + lift; });
    const Volume guess = AsymmetricPsf(x, y, z, psfSum, width);
    return imagePass ? PassScenery{observed, guess, observed} : PassScenery{guess, observed, observed};
}

}  // namespace gnr::test
