// SPDX-License-Identifier: MIT

// The restorations in stages against what defines them: the divergence against plain loops, whole runs
// against chains of serial kernels, both bit for bit, and against double-precision twins.

#include <gtest/gtest.h>

#include <tuple>

#include "entries/gradient_steps.h"
#include "entries/normal_operator.h"
#include "entries/total_variation_step.h"
#include "support/kernel_buffers.h"
#include "support/ref/total_variation_entries.h"
#include "support/staged_calls.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;
namespace ref = gnr::ref;
using Low = CRy3DDeconvolutionLow;

using Size = std::tuple<int, int, int>;

class SizesAndThreads : public testing::TestWithParam<std::tuple<Size, int>> {
  protected:
    SizesAndThreads() : threads_(std::get<1>(GetParam())) {}
    DFT3D Sizes() const {
        const auto [x, y, z] = std::get<0>(GetParam());
        return Geometry(x, y, z);
    }
    Buffer Floats(unsigned seed) const { return RandomFloats(static_cast<std::size_t>(Sizes().total), seed); }

  private:
    ThreadCount threads_;
};

class TotalVariationSizes : public SizesAndThreads {};

// Beside, on and beyond the sides of the tiles, 8 rows and 128 columns, that share a step among threads.
INSTANTIATE_TEST_SUITE_P(Sizes, TotalVariationSizes,
                         testing::Combine(testing::Values(Size(2, 2, 2), Size(2, 7, 11), Size(8, 6, 5),
                                                          Size(10, 17, 1), Size(6, 1, 5), Size(6, 9, 3),
                                                          Size(8, 10, 3), Size(128, 8, 2), Size(130, 9, 4),
                                                          Size(132, 18, 3), Size(258, 2, 3)),
                                          testing::Values(1, 2, 5)));

TEST_P(TotalVariationSizes, TheDivergenceIsThatOfPlainLoops) {
    const DFT3D s = Sizes();
    for (const bool awkward : {false, true}) {
        Buffer x = awkward ? AwkwardFloats(static_cast<std::size_t>(s.total), 5) : Floats(5);
        Buffer expected[4];
        Buffer got[4];
        for (Buffer* const four : {expected, got}) {
            for (unsigned n = 0; n < 4; ++n) four[n] = Floats(n);
        }
        if (s.rows == 1 || s.planes == 1) {
            for (Buffer& buffer : expected) {
                for (std::int64_t n = 0; n < s.total; ++n) {
                    if (n % s.rowLength < s.rowLength - 2) buffer[static_cast<std::size_t>(n)] = 0;
                }
            }
        } else {
            ref::TotalVariationDivergence(s, expected[0].data(), expected[1].data(), expected[2].data(),
                                          expected[3].data(), x.data());
        }
        CRyLegacy3DDeconvolutionFamily::ComputeTVDivergence3D(&s, got[0].data(), got[1].data(), got[2].data(),
                                                              got[3].data(), x.data());
        for (int n = 0; n < 4; ++n) EXPECT_TRUE(SameFloats(got[n], expected[n])) << n;
    }
}

TEST_P(TotalVariationSizes, TheFusedStepIsTheChainOverTheDivergence) {
    DFT3D s = Sizes();
    const auto floats = static_cast<std::size_t>(s.total);
    Buffer x = Floats(1);
    Buffer data = Floats(2);
    Buffer blurred = Floats(3);
    Buffer components[3] = {Buffer(floats), Buffer(floats), Buffer(floats)};
    Buffer T(floats);
    ref::TotalVariationDivergence(s, components[0].data(), components[1].data(), components[2].data(),
                                  T.data(), x.data());
    Buffer step = data;
    Low::KERNEL3D_Subtract(&s, step.data(), blurred.data());
    Buffer plain = x;
    Low::KERNEL3D_Add(&s, plain.data(), step.data());
    Low::MulFloatC3DXX(&s, T.data(), 0.7f);
    Low::KERNEL3D_Subtract(&s, step.data(), T.data());
    Buffer expected = x;
    Low::KERNEL3D_Add(&s, expected.data(), step.data());

    Buffer withoutTerm = blurred;
    gnr::detail::StepDown(s, withoutTerm.data(), data.data(), x.data());
    EXPECT_TRUE(SameFloats(withoutTerm, plain));
    gnr::detail::StepDownTotalVariation(s, blurred.data(), data.data(), x.data(), 0.7f);
    EXPECT_TRUE(SameFloats(blurred, expected));
}

TEST_P(TotalVariationSizes, TheNormalOperatorIsItsChain) {
    const DFT3D s = Sizes();
    Volume volume(s);
    volume.FillRandom(1, -5, 90);
    Volume otf(s);
    otf.FillRandom(2, 0, 1);
    Low::DFT3D_Transform(&s, otf);
    Volume expected = volume;
    Volume power = otf;
    Low::DFT3D_Transform(&s, expected);
    Low::KERNEL3D_ComplexMultiplyAdJoint(&s, power, otf);
    Low::KERNEL3D_ComplexMultiply(&s, expected, power);
    Low::DFT3D_Inversion(&s, expected);
    gnr::detail::ApplyNormalOperator(s, volume, otf);
    EXPECT_TRUE(SameBytes(volume, expected));
}

// ---------------------------------------------------------------------------------------------- whole runs

Volume MakePsf(const DFT3D& s, double sum) {
    return AsymmetricPsf(s.rowLength - 2, s.rows, s.planes, sum).FillPadding(kSentinel);
}

Volume MakeImage(const DFT3D& s) {
    const Volume scene = Scene(s.rowLength - 2, s.rows, s.planes, 20, 400);
    Volume image = Observed(scene, AsymmetricPsf(s.rowLength - 2, s.rows, s.planes), 0.02f);
    image.at(image.x() - 1, image.y() / 2, image.z() / 2) = -3;
    return image.FillPadding(kSentinel);
}

class StagedChains : public SizesAndThreads {};

INSTANTIATE_TEST_SUITE_P(Sizes, StagedChains,
                         testing::Combine(testing::Values(Size(2, 2, 2), Size(2, 7, 11), Size(8, 6, 5),
                                                          Size(14, 3, 4), Size(10, 17, 1), Size(6, 1, 5),
                                                          Size(22, 13, 6), Size(6, 9, 3)),
                                          testing::Values(1, 2, 5)));

TEST_P(StagedChains, WholeRunsAreTheirChains) {
    const DFT3D s = Sizes();
    for (const Staged entry : kStagedEntries) {
        for (const unsigned strength : {0u, 1u, 5u, 40u, 0x80000000u, 0x80000005u}) {
            SCOPED_TRACE(testing::Message() << NameOf(entry) << ", " << strength);
            StagedCall call(entry, MakeImage(s), MakePsf(s, 0.9), 5);
            call.strength = strength;
            ASSERT_EQ(call.Run(), 1);
            Volume x = MakeImage(s);
            const ref::ChainInputs run(x, MakePsf(s, 0.9), ref::ChainWeight(strength, call.factor()));
            RunChain(entry, x, run, 5, strength != 0);
            EXPECT_TRUE(SameBytes(call.image, x));
        }
    }
}

struct Case {
    const char* name;
    Staged entry;
    int x, y, z;
    int iterations;
    unsigned strength;
    double psfSum = 1.0;

    friend std::ostream& operator<<(std::ostream& out, const Case& c) { return out << c.name; }
};

class StagedTwins : public testing::TestWithParam<Case> {};

TEST_P(StagedTwins, WholeRun) {
    const Case& c = GetParam();
    const Volume psf = AsymmetricPsf(c.x, c.y, c.z, c.psfSum);
    const Volume observed = Observed(Scene(c.x, c.y, c.z, 20, 400), psf, 0.02f);
    StagedCall call(c.entry, observed, psf, c.iterations);
    const double f = 2.0 * c.strength;
    const ref::StagedJob job = {c.iterations, f * static_cast<double>(call.factor()) * f, c.strength != 0};
    const auto twin = [&](const ref::Disturbance& disturbance) {
        ref::StagedJob disturbed = job;
        disturbed.disturbance = disturbance;
        const auto run =
            c.entry == Staged::kAdditive ? &ref::AdditiveTotalVariation : &ref::ConjugateTikhonovMiller;
        return run(ref::FromVolume(observed), ref::FromVolume(psf), disturbed);
    };
    const ref::StagedResult expected = twin({});
    EXPECT_GT(expected.smallestGradient, kDecisionMargin);
    const double tolerance = RoundingTolerance(
        expected.image, [&](const ref::Disturbance& disturbance) { return twin(disturbance).image; });
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        call.image = observed;
        call.strength = c.strength;
        ASSERT_EQ(call.Run(), 1);
        ExpectImageNear(call.image, expected.image, tolerance);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, StagedTwins,
                         testing::Values(Case{"none", Staged::kAdditive, 8, 5, 4, 0, 5},
                                         Case{"one", Staged::kAdditive, 8, 5, 4, 1, 5},
                                         Case{"twelve", Staged::kAdditive, 6, 4, 7, 12, 5},
                                         Case{"no term", Staged::kAdditive, 8, 6, 5, 8, 0},
                                         Case{"strong term", Staged::kAdditive, 8, 6, 5, 3, 40},
                                         Case{"one plane", Staged::kAdditive, 8, 6, 1, 5, 5},
                                         Case{"two columns", Staged::kAdditive, 2, 5, 6, 5, 5},
                                         Case{"PSF sum 0.7", Staged::kAdditive, 8, 6, 5, 6, 5, 0.7},
                                         Case{"none, conjugate", Staged::kConjugate, 8, 5, 4, 0, 1},
                                         Case{"one, conjugate", Staged::kConjugate, 8, 5, 4, 1, 1},
                                         Case{"two, conjugate", Staged::kConjugate, 8, 5, 4, 2, 1},
                                         Case{"eight, conjugate", Staged::kConjugate, 6, 4, 7, 8, 1},
                                         Case{"no term, conjugate", Staged::kConjugate, 8, 6, 5, 5, 0},
                                         Case{"one plane, conjugate", Staged::kConjugate, 8, 6, 1, 5, 1},
                                         Case{"PSF sum 0.7, conjugate", Staged::kConjugate, 8, 6, 5, 5, 1,
                                              0.7}));

// ------------------------------------------------------------------------------------------ conjugate step

/// Where the gradient is exactly 0, the direction before drops out.
TEST(ConjugateStep, ADirectionDropsOutWhereTheGradientIsZero_stays) {
    const DFT3D s = Geometry(4, 1, 1);
    float x[] = {1, 1, 1, 1, 0, 0};
    float A[] = {-1, 1e-30f, 3, -1, 0, 0};
    const float B[] = {0, 1, 1, 2, 0, 0};
    float R[] = {7, 7, 1, 1, 0, 0};
    float P[] = {64, 64, 64, 64, 0, 0};
    // R := A - B + x is 0, 1e-30 - 1 + 1 = 0, 3, -2
    gnr::detail::StepAlongConjugate(s, {x, A, B, R, P}, 1.0f, 0.5f, false);
    EXPECT_EQ(P[0], 0.0f);
    EXPECT_EQ(P[1], 0.0f);
    EXPECT_EQ(P[2], 3.0f + 0.2f * 64.0f);
    EXPECT_EQ(P[3], -2.0f + 0.4f * 64.0f);
    EXPECT_EQ(x[2], 1.0f + 0.5f * P[2]);
    EXPECT_EQ(A[2], x[2]);
    EXPECT_EQ(R[3], -2.0f);
}

TEST(ConjugateStep, AnUnderflowingSquareCountsAsZero_stays) {
    const DFT3D s = Geometry(2, 1, 1);
    float x[] = {0, 0, 0, 0};
    float A[] = {1e-30f, 1e-10f, 0, 0};
    const float B[] = {0, 0, 0, 0};
    float R[] = {3, 3, 0, 0};
    float P[] = {64, 64, 0, 0};
    gnr::detail::StepAlongConjugate(s, {x, A, B, R, P}, 1.0f, 0.5f, false);
    EXPECT_EQ(P[0], 1e-30f);
    EXPECT_EQ(P[1], 640.0f);
}

}  // namespace
