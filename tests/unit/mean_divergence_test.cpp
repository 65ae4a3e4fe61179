// SPDX-License-Identifier: MIT

// The I-divergence that sweeps measure while they go, against the same measured afterwards.

#include "kernels/mean_divergence.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/kernel_buffers.h"
#include "support/volumes.h"

namespace {

using gnr::detail::Comparison;
using gnr::detail::FinishRows;
using gnr::detail::MeanDivergence;
using gnr::test::Volume;

class FinishedRows : public testing::Test {
  protected:
    static constexpr int kX = 21;
    static constexpr int kY = 11;
    static constexpr int kZ = 5;

    const Volume start_ = Volume(kX, kY, kZ).FillRandom(1, 0.0f, 20.0f).FillPadding(gnr::test::kNaN);
    const Volume observed_ = Volume(kX, kY, kZ).FillRandom(2, 0.0f, 20.0f).FillPadding(gnr::test::kNaN);

    /// Doubles every row, counting how often each is met.
    double Finish(Volume& v, const Comparison* comparison, std::vector<int>& met) const {
        const std::int64_t length = v.sizes.rowLength;
        met.assign(static_cast<std::size_t>(kY * kZ), 0);
        return FinishRows(v.sizes, v, comparison, [&v, &met, length](std::int64_t r) {
            ++met[static_cast<std::size_t>(r)];
            for (std::int64_t i = 0; i < length; ++i) v.get()[r * length + i] *= 2.0f;
        });
    }
};

TEST_F(FinishedRows, AreMetOnceAndMeasuredAsAfterwards) {
    const SRyIRect3D boxes[] = {{0, kX, 0, kY, 0, kZ}, {3, 20, 2, 9, 1, 4},  {0, 1, 4, 5, 2, 3},
                                {0, 0, 0, kY, 0, kZ},  {0, kX, 5, 5, 0, kZ}, {0, kX, 3, 2, 4, 1}};
    for (const int threads : {1, 2, 5}) {
        const gnr::test::ThreadCount scope(threads);
        for (const SRyIRect3D& box : boxes) {
            Volume finished = start_;
            const Comparison comparison = {observed_, box};
            std::vector<int> met;
            const double measured = Finish(finished, &comparison, met);
            EXPECT_EQ(met, std::vector<int>(met.size(), 1));
            Volume expected = start_;
            for (std::int64_t n = 0; n < expected.sizes.total; ++n) expected.get()[n] *= 2.0f;
            const double afterwards = MeanDivergence(expected.sizes, expected, observed_, box);
            // Several threads may add up in another order.
            if (std::isnan(afterwards)) {
                EXPECT_TRUE(std::isnan(measured));
            } else if (threads == 1) {
                EXPECT_EQ(measured, afterwards);
            } else {
                EXPECT_NEAR(measured, afterwards, 1e-14 * std::fabs(afterwards));
            }
        }
    }
}

TEST_F(FinishedRows, AreMetOnceWithoutAComparison) {
    Volume finished = start_;
    std::vector<int> met;
    EXPECT_EQ(Finish(finished, nullptr, met), 0.0);
    EXPECT_EQ(met, std::vector<int>(met.size(), 1));
}

}  // namespace
