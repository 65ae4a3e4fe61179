// SPDX-License-Identifier: MIT

// The one-call Wiener filter as its host sees it: codes, noise constants, progress and a stop at every call.

#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/ref/entry_chains.h"
#include "support/ref/landweber_runs.h"
#include "support/tolerances.h"
#include "support/wiener_job.h"

namespace {

using namespace gnr::test;
using Low = CRy3DDeconvolutionLow;

struct Call {
    Call(const Volume& observed, const Volume& spread, unsigned noiseSetting = 1)
        : image(observed), psf(spread), setting(noiseSetting) {}
    int Run(EntryLog* log = nullptr) {
        DFT3D s = image.sizes;
        if (beyondMemory) s.total = 1LL << 60;
        return CRy3DDeconvolution().Wiener(&s, psf, image, log != nullptr ? log->callback() : nullptr,
                                           log != nullptr ? log->pointer() : nullptr, setting, unused,
                                           unused);
    }
    Volume image;
    Volume psf;
    unsigned setting;
    int unused = 0;
    bool beyondMemory = false;
};

class WienerEntry : public testing::Test {
  protected:
    const Volume psf = LopsidedPsf(8, 6, 5, 1.0);
    const Volume observed = Observed(Scene(8, 6, 5, 20, 400), LopsidedPsf(8, 6, 5, 1.0), 0.02f);
};

TEST_F(WienerEntry, SuccessIsOne) {
    EXPECT_EQ(Call(observed, psf).Run(), 1);
}

TEST_F(WienerEntry, SettingsChooseTheNoise) {
    const std::pair<unsigned, double> settings[] = {
        {0, 0.01}, {1, 0.03}, {2, 0.08}, {3, 0.2},
        {4, 0.5},  {5, 0.01}, {9, 0.01}, {std::numeric_limits<unsigned>::max(), 0.01}};
    for (const auto& [setting, K] : settings) {
        Call call(observed, psf, setting);
        ASSERT_EQ(call.Run(), 1);
        EXPECT_TRUE(SameBytes(call.image, gnr::ref::WienerChain(observed, psf, K))) << setting;
    }
}

/// Far from the origin-symmetric case the two filters must not be mistaken for one another.
TEST_F(WienerEntry, AnAsymmetricPsfIsNotTheCoresFilter_stays) {
    Call call(observed, psf);
    WienerJob core(observed, psf, 1.0);
    ASSERT_EQ(call.Run(), 1);
    ASSERT_EQ(core.Run(), 0);
    double largest = 0;
    ForEachSample(observed, [&](int i, int j, int k) {
        largest = std::max(largest, std::abs(1.0 * call.image.at(i, j, k) - core.image.at(i, j, k)));
    });
    EXPECT_GT(largest, 0.1 * LargestSample(observed));
}

TEST_F(WienerEntry, ASymmetricPsfGivesWhatTheCoreGives) {
    const Volume even = Volume(8, 6, 5).Fill([&](int i, int j, int k) {
        return (psf.at(i, j, k) + psf.at((8 - i) % 8, (6 - j) % 6, (5 - k) % 5)) / 2;
    });
    for (const unsigned setting : {0u, 2u, 4u}) {
        Call call(observed, even, setting);
        WienerJob core(observed, even, setting);
        ASSERT_EQ(call.Run(), 1);
        ASSERT_EQ(core.Run(), 0);
        const double tolerance = kWienerRelative * LargestSample(core.image);
        ForEachSample(observed, [&](int i, int j, int k) {
            ASSERT_NEAR(call.image.at(i, j, k), core.image.at(i, j, k), tolerance);
        });
    }
}

TEST_F(WienerEntry, ThePsfIsOnlyRead) {
    Call call(observed, psf);
    call.psf.FillPadding(kSentinel);
    const Volume before = call.psf;
    ASSERT_EQ(call.Run(), 1);
    EXPECT_TRUE(SameBytes(call.psf, before));
}

TEST_F(WienerEntry, PaddingAndUnusedArgumentsChangeNothing) {
    Call clean(observed, psf);
    ASSERT_EQ(clean.Run(), 1);
    Call other(observed, psf);
    other.image.FillPadding(1e30f);
    other.psf.FillPadding(-1e30f);
    other.unused = -7;
    EntryLog log;
    ASSERT_EQ(other.Run(&log), 1);
    EXPECT_TRUE(SameImage(other.image, clean.image));
}

TEST_F(WienerEntry, AnAllZeroImageStaysZero) {
    Call call(Volume(8, 6, 5), psf);
    ASSERT_EQ(call.Run(), 1);
    ForEachSample(call.image, [&](int i, int j, int k) { ASSERT_EQ(Bits(call.image.at(i, j, k)), 0u); });
}

// --------------------------------------------------------------------------------------- failure and stop

std::vector<ProgressReport> Reports(int count) {
    std::vector<ProgressReport> calls;
    for (int n = 0; n < count; ++n)
        calls.push_back(ReportOf(n % 2 == 0 ? eProgressStepBegin : eProgressStepEnd));
    return calls;
}

/// The value of a core's success; the first unit has begun by then.
TEST_F(WienerEntry, MoreMemoryThanThereIsGivesZero_stays) {
    Call call(observed, psf);
    call.beyondMemory = true;
    EntryLog log;
    EXPECT_EQ(call.Run(&log), 0);
    EXPECT_TRUE(SameBytes(call.image, observed));
    EXPECT_EQ(log.log.Calls(), Reports(1));
}

/// The first call comes before the allocation, which would fail here.
TEST_F(WienerEntry, AStopAtTheFirstCallAllocatesNothing) {
    Call call(observed, psf);
    call.beyondMemory = true;
    EntryLog log(0);
    EXPECT_EQ(call.Run(&log), -1);
    EXPECT_TRUE(SameBytes(call.image, observed));
}

TEST_F(WienerEntry, FourUnits) {
    Call call(observed, psf);
    EntryLog log;
    ASSERT_EQ(call.Run(&log), 1);
    EXPECT_EQ(log.log.Calls(), Reports(8));
    EXPECT_EQ(log.log.Units(), 4u);
}

/// Untouched in the first unit and at the begin of the second, a spectrum until the begin of the fourth, the
/// whole result at the last call.
TEST_F(WienerEntry, StopAtEveryCall) {
    Volume spectrum = observed;
    const float sum = Low::GetSumOfImageXX(&spectrum.sizes, spectrum);
    Low::MulFloatC3DXX(&spectrum.sizes, spectrum, 1.0f / (sum + 1e-10f));
    Low::DFT3D_Transform(&spectrum.sizes, spectrum);
    Volume filtered = spectrum;
    const Volume conjugate = gnr::ref::ChainSpectrum(psf);
    Low::ComplexConjugate(conjugate, &conjugate.sizes);
    Low::ComputeWiener3D(&filtered.sizes, filtered, conjugate, 0.03);
    const Volume restored = gnr::ref::WienerChain(observed, psf, 0.03);
    const Volume* const left[] = {&observed, &observed, &observed, &spectrum,
                                  &spectrum, &filtered, &filtered, &restored};
    for (int at = 0; at < 8; ++at) {
        Call call(observed, psf);
        EntryLog log(at, -at - 1);
        EXPECT_EQ(call.Run(&log), -1);
        EXPECT_EQ(log.log.Calls(), Reports(at + 1));
        EXPECT_TRUE(SameBytes(call.image, *left[at])) << at;
    }
}

}  // namespace
