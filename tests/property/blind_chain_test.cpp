// SPDX-License-Identifier: MIT

// A blind pass against the plain chain of kernels that it fuses: the volume it improves and every working
// volume, at the end and wherever it is stopped.

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "support/blind_call.h"

namespace {

using namespace gnr::test;

/// Image columns of both agree within `relative` of the largest sample.
testing::AssertionResult Near(const Volume& a, const Volume& b, double relative) {
    const double bound = relative * static_cast<double>(LargestSample(b));
    double worst = 0;
    ForEachSample(a, [&](int i, int j, int k) {
        worst = std::max(worst, std::abs(double{a.at(i, j, k)} - double{b.at(i, j, k)}));
    });
    if (worst <= bound) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "apart by " << worst << ", allowed " << bound;
}

class BlindChain : public testing::TestWithParam<std::tuple<BlindForm, int>> {
  protected:
    BlindChain() : threads_(std::get<1>(GetParam())) {}
    BlindForm Form() const { return std::get<0>(GetParam()); }

    /// Every volume of `fused` holds what that of `chain` holds; bit for bit where the bound is 0.
    static void ExpectSame(const BlindCall& fused, const BlindCall& chain, double relative) {
        EXPECT_TRUE(Near(fused.updated, chain.updated, relative)) << "updated";
        const char* const names[] = {"otf", "v", "previous", "scratch", "gradient1", "gradient2"};
        for (std::size_t n = 1; n < fused.work.size(); ++n) {
            EXPECT_TRUE(Near(fused.work[n], chain.work[n], relative)) << names[n];
        }
    }

  private:
    ThreadCount threads_;
};

INSTANTIATE_TEST_SUITE_P(FormsAndThreads, BlindChain,
                         testing::Combine(testing::ValuesIn(kBlindForms), testing::Values(1, 2, 5)));

TEST_P(BlindChain, PlainPassesBitForBit) {
    for (const unsigned sweeps : {1u, 2u}) {
        BlindCall fused = SmallBlindCall(sweeps);
        BlindCall chain = fused;
        fused.Run(Form());
        RunChain(chain, Form());
        ExpectSame(fused, chain, 0.0);
    }
}

/// Powers and logarithms may differ by one unit in the last place, which the sweeps carry on.
TEST_P(BlindChain, AcceleratedPasses) {
    for (const unsigned sweeps : {3u, 4u, 5u, 6u, 11u}) {
        BlindCall fused = SmallBlindCall(sweeps);
        fused.accelerates = true;
        BlindCall chain = fused;
        fused.Run(Form());
        RunChain(chain, Form());
        ExpectSame(fused, chain, sweeps == 3 ? 0.0 : 2e-5);
    }
}

TEST_P(BlindChain, WhereverItIsStopped) {
    for (const unsigned sweeps : {2u, 6u}) {
        BlindCall whole = SmallBlindCall(sweeps);
        whole.accelerates = sweeps > 2;
        const int polls = 1 + static_cast<int>(sweeps * (sweeps > 2 ? 7 : 3));
        for (int at = 0; at < polls; ++at) {
            SCOPED_TRACE(at);
            BlindCall fused = whole;
            BlindCall chain = whole;
            ProgressLog log(at);
            fused.Run(Form(), &log);
            ASSERT_FALSE(RunChain(chain, Form(), at));
            ExpectSame(fused, chain, 2e-5);
        }
    }
}

}  // namespace
