// SPDX-License-Identifier: MIT

// The sweeps of the blind pass against the kernels that they stand for.

#include "kernels/blind_sweeps.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/kernel_buffers.h"
#include "support/volumes.h"

namespace {

using namespace gnr::detail;
using gnr::test::Buffer;
using gnr::test::Same;
using gnr::test::SameFloats;
using gnr::test::ThreadCount;
using Low = CRy3DDeconvolutionLow;

/// Equal, or neighbouring floats: a library's power may err by one in the last place.
testing::AssertionResult Neighbours(const Buffer& a, const Buffer& b) {
    for (std::size_t n = 0; n < a.size(); ++n) {
        if (!Same(a[n], b[n]) && std::nextafter(a[n], b[n]) != b[n]) {
            return testing::AssertionFailure() << "at " << n << ": " << a[n] << ", " << b[n];
        }
    }
    return testing::AssertionSuccess();
}

class BlindSweeps : public testing::TestWithParam<int> {
  protected:
    BlindSweeps() : threads_(GetParam()) {}
    const DFT3D s = gnr::test::Geometry(38, 7, 5);
    Buffer Awkward(unsigned seed) const {
        return gnr::test::AwkwardFloats(static_cast<std::size_t>(s.total), seed);
    }
    Buffer Positive(unsigned seed) const {
        Buffer floats = gnr::test::RandomFloats(static_cast<std::size_t>(s.total), seed);
        for (float& v : floats) v = std::fabs(v) + 1e-3f;
        return floats;
    }

  private:
    ThreadCount threads_;
};

INSTANTIATE_TEST_SUITE_P(Threads, BlindSweeps, testing::Values(1, 2, 5));

TEST_P(BlindSweeps, RatiosTellZerosApartByTheirSign) {
    const Buffer g = Awkward(1);
    Buffer kept = Awkward(2);
    Buffer cleared = kept;
    Buffer expectedKept = kept;
    Buffer expectedCleared = kept;
    Buffer copy = g;
    FormRatio(s, kept.data(), g.data(), ZeroDivisor::Stays);
    FormRatio(s, cleared.data(), g.data(), ZeroDivisor::BecomesZero);
    Low::KERNEL3D_Divide(&s, expectedKept.data(), copy.data());
    Low::SSE_Divide(expectedCleared.data(), copy.data(), s.total);
    EXPECT_TRUE(SameFloats(kept, expectedKept));
    EXPECT_TRUE(SameFloats(cleared, expectedCleared));
    EXPECT_FALSE(SameFloats(kept, cleared)) << "no negative zero among the divisors";
}

TEST_P(BlindSweeps, ExtrapolationIsPowerAndProduct) {
    for (const float alpha : {0.0f, 1e-11f, 1e-9f, 0.37f, 0.999f, 1.0f}) {
        for (const Power power : {Power::OfColumns, Power::WithShortcuts}) {
            SCOPED_TRACE(alpha);
            Buffer v = Awkward(3);
            Buffer A = Positive(4);
            Buffer expectedV = v;
            Buffer expectedA = A;
            Extrapolate(s, A.data(), v.data(), alpha, power);
            if (power == Power::OfColumns) {
                Low::PowVkAlpha3D(expectedV.data(), &s, alpha);
            } else {
                Low::SSE_PowVkAlpha3D(expectedV.data(), &s, alpha);
            }
            EXPECT_TRUE(Neighbours(v, expectedV));
            expectedV = v;
            Low::KERNEL3D_Multiply(&s, expectedA.data(), expectedV.data());
            EXPECT_TRUE(SameFloats(A, expectedA));
        }
    }
}

TEST_P(BlindSweeps, StepIsTheRatioOfEstimates) {
    Buffer A = Awkward(5);
    for (const bool keep : {false, true}) {
        Buffer previous = Awkward(6);
        const Buffer before = previous;
        Buffer v = Positive(7);
        Buffer expected = v;
        Low::GetPVKM1_3D(expected.data(), A.data(), previous.data(), &s);
        Step(s, A.data(), v.data(), previous.data(), keep);
        EXPECT_TRUE(SameFloats(v, expected));
        EXPECT_TRUE(SameFloats(previous, keep ? A : before));
    }
}

TEST_P(BlindSweeps, StepAndExtrapolateIsBothInOne) {
    for (const Power power : {Power::OfColumns, Power::WithShortcuts}) {
        for (const float alpha : {0.0f, 0.6f, 1.0f}) {
            Buffer A = Positive(8);
            Buffer previous = Awkward(9);
            Buffer v = Positive(10);
            Buffer expectedA = A;
            Buffer expectedPrevious = previous;
            Buffer expectedV = v;
            StepAndExtrapolate(s, A.data(), v.data(), previous.data(), alpha, power);
            Step(s, expectedA.data(), expectedV.data(), expectedPrevious.data(), true);
            Extrapolate(s, expectedA.data(), expectedV.data(), alpha, power);
            EXPECT_TRUE(SameFloats(A, expectedA));
            EXPECT_TRUE(SameFloats(previous, expectedPrevious));
            EXPECT_TRUE(SameFloats(v, expectedV));
        }
    }
}

/// About two samples of five are negative and left out, so that terms of earlier planes count again.
TEST_P(BlindSweeps, ExponentIsThatOfTheKernel) {
    int inside = 0;
    for (unsigned seed = 20; seed < 40; ++seed) {
        Buffer a = Positive(seed);
        Buffer b = a;
        Buffer c = gnr::test::RandomFloats(a.size(), seed + 100);
        Buffer d = c;
        for (std::size_t i = 0; i < d.size(); ++i) d[i] = d[i] * d[i] * d[i] + 0.01f * a[i];
        Buffer planes(4 * static_cast<std::size_t>(s.planeStride), 5.0f);
        Buffer kernelPlanes = planes;
        const float alpha = ExponentOfStep(s, planes.data(), a.data(), b.data(), c.data(), d.data());
        const float expected =
            Low::Recompute_dAlphaK3D(kernelPlanes.data(), a.data(), b.data(), c.data(), d.data(), &s);
        EXPECT_NEAR(alpha, expected, 1e-6);
        const ThreadCount one(1);
        EXPECT_EQ(alpha, ExponentOfStep(s, planes.data(), a.data(), b.data(), c.data(), d.data()))
            << "independent of the thread count";
        inside += alpha > 0.0f && alpha < 1.0f;
    }
    EXPECT_GT(inside, 0);
}

/// Planes that are worth several blocks of rows, with samples left out here and there.
TEST_P(BlindSweeps, ExponentOfLargePlanesKeepsTheOrderOfItsSums) {
    const DFT3D large = gnr::test::Geometry(66, 130, 3);
    Buffer a = gnr::test::RandomFloats(static_cast<std::size_t>(large.total), 50);
    Buffer c = gnr::test::RandomFloats(a.size(), 51);
    Buffer d = c;
    for (std::size_t i = 0; i < d.size(); ++i) d[i] = d[i] * d[i] * d[i] + 0.01f * a[i];
    Buffer planes(4 * static_cast<std::size_t>(large.planeStride));
    const auto exponent = [&] {
        return ExponentOfStep(large, planes.data(), a.data(), a.data(), c.data(), d.data());
    };
    const float alpha = exponent();
    EXPECT_GT(alpha, 0.0f);
    EXPECT_LT(alpha, 1.0f);
    EXPECT_NEAR(
        alpha, Low::Recompute_dAlphaK3D(planes.data(), a.data(), a.data(), c.data(), d.data(), &large), 1e-6);
    for (int repeat = 0; repeat < 5; ++repeat) EXPECT_EQ(exponent(), alpha);
    const ThreadCount one(1);
    EXPECT_EQ(exponent(), alpha);
}

TEST_P(BlindSweeps, ExponentWritesTwoPlanesOfScratchOnly) {
    Buffer a = Positive(1);
    Buffer planes(4 * static_cast<std::size_t>(s.planeStride), 5.0f);
    ExponentOfStep(s, planes.data(), a.data(), a.data(), a.data(), a.data());
    for (std::size_t n = 2 * static_cast<std::size_t>(s.planeStride); n < planes.size(); ++n) {
        ASSERT_EQ(planes[n], 5.0f);
    }
}

TEST_P(BlindSweeps, VolumesChangePlaces) {
    const Buffer x = Awkward(1);
    const Buffer y = Awkward(2);
    const Buffer z = Awkward(3);
    Buffer a = x;
    Buffer b = y;
    Buffer c = z;
    Arrange(s, {a.data(), b.data(), c.data()}, {b.data(), c.data(), a.data()});
    EXPECT_TRUE(SameFloats(a, y));
    EXPECT_TRUE(SameFloats(b, z));
    EXPECT_TRUE(SameFloats(c, x));
    Arrange(s, {a.data(), b.data(), c.data()}, {c.data(), c.data(), a.data()});
    EXPECT_TRUE(SameFloats(a, x));
    EXPECT_TRUE(SameFloats(b, x));
    EXPECT_TRUE(SameFloats(c, y));
}

}  // namespace
