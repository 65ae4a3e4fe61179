// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "support/threads.h"
#include "support/tolerances.h"
#include "support/wiener_job.h"

namespace {

using gnr::test::LopsidedPsf;
using gnr::test::Volume;
using gnr::test::WienerJob;

/// Samples of a job a host would have, in sizes with primes beyond 2, 3 and 5 as well.
class WienerLaws : public testing::TestWithParam<std::tuple<int, int, int>> {
  protected:
    WienerLaws() : observed_(std::get<0>(GetParam()), std::get<1>(GetParam()), std::get<2>(GetParam())) {
        observed_.FillRandom(41, 0.0f, 30.0f);
        observed_.at(observed_.x() / 2, observed_.y() / 2, observed_.z() / 2) = 900.0f;
    }
    Volume Psf() const { return LopsidedPsf(observed_.x(), observed_.y(), observed_.z(), 1.0); }
    Volume Restore(const Volume& observed, const Volume& psf, double regularization = 1.0) const {
        WienerJob job(observed, psf, regularization);
        EXPECT_EQ(job.Run(), 0);
        return job.image;
    }
    static double Sum(const Volume& v) {
        double sum = 0.0;
        for (int k = 0; k < v.z(); ++k) {
            for (int j = 0; j < v.y(); ++j) {
                for (int i = 0; i < v.x(); ++i) sum += v.at(i, j, k);
            }
        }
        return sum;
    }
    static double Largest(const Volume& v) {
        double largest = 0.0;
        for (int k = 0; k < v.z(); ++k) {
            for (int j = 0; j < v.y(); ++j) {
                for (int i = 0; i < v.x(); ++i) largest = std::max<double>(largest, v.at(i, j, k));
            }
        }
        return largest;
    }
    /// Sample (i, j, k) of `got` is `factor` times sample (i - dx, j - dy, k - dz) of `expected`.
    static void ExpectMoved(const Volume& got, const Volume& expected, double factor, int dx, int dy,
                            int dz) {
        const double tolerance = 2 * gnr::test::kWienerRelative * factor * Largest(expected);
        for (int k = 0; k < got.z(); ++k) {
            for (int j = 0; j < got.y(); ++j) {
                for (int i = 0; i < got.x(); ++i) {
                    const float from = expected.at((i - dx + got.x()) % got.x(), (j - dy + got.y()) % got.y(),
                                                   (k - dz + got.z()) % got.z());
                    ASSERT_NEAR(got.at(i, j, k), factor * from, tolerance) << i << ' ' << j << ' ' << k;
                }
            }
        }
    }
    static Volume Moved(const Volume& v, int dx, int dy, int dz) {
        Volume moved(v.sizes);
        return moved.Fill([&](int i, int j, int k) {
            return v.at((i - dx + v.x()) % v.x(), (j - dy + v.y()) % v.y(), (k - dz + v.z()) % v.z());
        });
    }

    Volume observed_;
};

TEST_P(WienerLaws, NoSampleIsNegativeAndTheSumIsNotBelowTheInputs) {
    const Volume restored = Restore(observed_, Psf());
    for (int k = 0; k < restored.z(); ++k) {
        for (int j = 0; j < restored.y(); ++j) {
            for (int i = 0; i < restored.x(); ++i) ASSERT_GE(restored.at(i, j, k), 0.0f);
        }
    }
    EXPECT_GE(Sum(restored), Sum(observed_) * (1 - 1e-5));
}

TEST_P(WienerLaws, AConstantImageStays) {
    Volume constant(observed_.sizes);
    constant.Fill([](int, int, int) { return 7.0f; });
    ExpectMoved(Restore(constant, Psf()), constant, 1.0, 0, 0, 0);
}

TEST_P(WienerLaws, BrighterImagesGiveBrighterResults) {
    Volume brighter(observed_.sizes);
    brighter.Fill([this](int i, int j, int k) { return 1000.0f * observed_.at(i, j, k); });
    ExpectMoved(Restore(brighter, Psf()), Restore(observed_, Psf()), 1000.0, 0, 0, 0);
}

TEST_P(WienerLaws, AMovedImageGivesAMovedResult) {
    ExpectMoved(Restore(Moved(observed_, 1, 1, 0), Psf()), Restore(observed_, Psf()), 1.0, 1, 1, 0);
}

TEST_P(WienerLaws, AMovedPsfMovesTheResultTheOtherWay) {
    ExpectMoved(Restore(observed_, Moved(Psf(), 1, 0, 0)), Restore(observed_, Psf()), 1.0, -1, 0, 0);
}

TEST_P(WienerLaws, TheThreadCountDoesNotShow) {
    const gnr::test::ThreadCount one(1);
    const Volume alone = Restore(observed_, Psf());
    for (const int threads : {2, 5}) {
        const gnr::test::ThreadCount scope(threads);
        ExpectMoved(Restore(observed_, Psf()), alone, 1.0, 0, 0, 0);
    }
}

TEST_P(WienerLaws, StrongerNoiseConstantsSmoothMore) {
    double before = Largest(Restore(observed_, Psf(), 0.0));
    for (const double regularization : {1.0, 2.0, 3.0, 4.0}) {
        const double peak = Largest(Restore(observed_, Psf(), regularization));
        EXPECT_LT(peak, before) << regularization;
        before = peak;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, WienerLaws,
                         testing::Values(std::tuple(32, 24, 10), std::tuple(30, 22, 7),
                                         std::tuple(26, 19, 2)));

}  // namespace
