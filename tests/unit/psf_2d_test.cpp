// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_2d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/pictures.h"
#include "support/ref/packed_spectrum.h"
#include "support/ref/psf_2d.h"
#include "support/refused_alloc.h"

namespace {

using namespace gnr::test;

std::vector<float> RandomSamples(std::size_t count) {
    std::mt19937 engine(7);
    std::uniform_real_distribution<float> sample(0.0f, 2.0f);
    std::vector<float> v(count);
    for (float& s : v) s = sample(engine);
    return v;
}

// ---- focal field -----------------------------------------------------------------------------------------

struct Plane {
    unsigned w;
    unsigned h;
    double span;
    double alpha;
    double waveNumber;
    unsigned steps;
};

class FocalField : public testing::TestWithParam<Plane> {};

TEST_P(FocalField, IsThePlainDoubleLoop) {
    const Plane& p = GetParam();
    std::vector<float> got(std::size_t{p.w} * p.h, -1.0f);
    FloatPSF2D::GeneratePSFOrtho(got.data(), p.w, p.h, p.span, p.alpha, p.waveNumber, p.steps);
    const std::vector<double> expected =
        gnr::ref::FocalPlane(p.w, p.h, p.span, p.alpha, p.waveNumber, p.steps);
    const double peak = *std::max_element(expected.begin(), expected.end());
    for (std::size_t n = 0; n < got.size(); ++n) ASSERT_NEAR(got[n], expected[n], 1e-6 * peak) << n;
}

INSTANTIATE_TEST_SUITE_P(Planes, FocalField,
                         testing::Values(Plane{16, 12, 4.0, 1.1, 2.0, 40}, Plane{13, 9, 3.0, 0.7, 1.3, 25},
                                         Plane{1, 5, 2.0, 1.0, 2.0, 10}, Plane{8, 1, 2.0, 1.2, 1.5, 10},
                                         Plane{7, 6, 2.5, 1.5, 2.2, 1}));

TEST(FocalFieldSamples, EndAtTheFocus) {
    std::vector<float> plane(11 * 6, -1.0f);
    FloatPSF2D::GeneratePSFOrtho(plane.data(), 11, 6, 3.0, 1.0, 2.0, 20);
    for (std::size_t y = 0; y < 6; ++y) {
        for (std::size_t x = 0; x < 11; ++x) EXPECT_EQ(plane[y * 11 + x] != 0.0f, x <= 5) << x << ' ' << y;
    }
}

TEST(FocalFieldSamples, AtTheFocusTheIntensityIsThatOfTheFirstIntegralAlone) {
    constexpr double kAlpha = 1.1;
    constexpr unsigned kSteps = 50;
    std::vector<float> plane(16 * 12);
    FloatPSF2D::GeneratePSFOrtho(plane.data(), 16, 12, 4.0, kAlpha, 2.0, kSteps);
    double sum = 0.0;
    for (unsigned i = 0; i < kSteps; ++i) {
        const double t = i * kAlpha / kSteps;
        sum += std::sqrt(std::cos(t)) * std::sin(t) * (1.0 + std::cos(t));
    }
    const auto amplitude = static_cast<float>(sum * kAlpha / kSteps);
    EXPECT_EQ(plane[6 * 16 + 8], amplitude * amplitude);
}

TEST(FocalFieldSamples, AreTheSameWithoutMemoryForTables) {
    const auto plane = [] {
        std::vector<float> samples(13 * 7, -1.0f);
        FloatPSF2D::GeneratePSFOrtho(samples.data(), 13, 7, 3.0, 1.1, 2.0, 30);
        return samples;
    };
    const std::vector<float> expected = plane();
    const int tables = RefuseEachBlock(
        1,
        [&] {
            EXPECT_TRUE(SameBits(plane(), expected));
            return 0;
        },
        [](int) {});
    EXPECT_EQ(tables, 2);
}

// ---- radial PSF ------------------------------------------------------------------------------------------

class RadialCut : public testing::TestWithParam<std::tuple<unsigned, unsigned, unsigned>> {};

TEST_P(RadialCut, TurnsTheColumnAboutTheMiddle) {
    const auto [w, h, column] = GetParam();
    std::vector<float> plane = RandomSamples(std::size_t{w} * h);
    const std::vector<double> expected =
        gnr::ref::TurnedColumn(plane, static_cast<int>(w), static_cast<int>(h), static_cast<int>(column));
    std::vector<float> got(plane.size(), -1.0f);
    FloatPSF2D::GetPlaneCutAiry(got.data(), plane.data(), w, h, column);
    const double sum = std::accumulate(expected.begin(), expected.end(), 0.0);
    for (std::size_t n = 0; n < got.size(); ++n) ASSERT_NEAR(got[n], expected[n] / sum, 1e-6) << n;
}

INSTANTIATE_TEST_SUITE_P(Sizes, RadialCut,
                         testing::Values(std::tuple{16u, 16u, 0u}, std::tuple{16u, 16u, 5u},
                                         std::tuple{13u, 11u, 2u}, std::tuple{9u, 14u, 100u},
                                         std::tuple{20u, 12u, 3u}, std::tuple{6u, 24u, 1u}));

TEST(RadialCutColumn, AboveHalfTheWidthIsColumn0) {
    std::vector<float> plane = RandomSamples(12 * 12);
    std::vector<float> first(plane.size());
    std::vector<float> got(plane.size());
    FloatPSF2D::GetPlaneCutAiry(first.data(), plane.data(), 12, 12, 6);
    FloatPSF2D::GetPlaneCutAiry(got.data(), plane.data(), 12, 12, 4000000000u);
    EXPECT_TRUE(SameBits(got, first));
    for (std::size_t y = 0; y < 12; ++y) {
        for (std::size_t x = 1; x < 12; ++x) plane[y * 12 + x] = -7.0f;
    }
    FloatPSF2D::GetPlaneCutAiry(got.data(), plane.data(), 12, 12, 7);
    EXPECT_TRUE(SameBits(got, first)) << "reads more than column 0";
}

TEST(RadialCutColumn, OfZerosLeavesNoNumbers) {
    std::vector<float> plane(8 * 8);
    std::vector<float> got(8 * 8);
    FloatPSF2D::GetPlaneCutAiry(got.data(), plane.data(), 8, 8, 0);
    EXPECT_TRUE(std::all_of(got.begin(), got.end(), [](float v) { return std::isnan(v); }));
}

TEST(RadialCutColumn, OfPlanesTooLowForARadiusLeavesNoNumbers) {
    for (const unsigned h : {1u, 2u, 3u}) {
        std::vector<float> plane(std::size_t{5} * h, 1.0f);
        std::vector<float> got(plane.size());
        FloatPSF2D::GetPlaneCutAiry(got.data(), plane.data(), 5, h, 0);
        EXPECT_TRUE(std::all_of(got.begin(), got.end(), [](float v) { return std::isnan(v); })) << h;
    }
}

TEST(RadialCutColumn, WithoutMemoryLeavesThePicture) {
    std::vector<float> plane = RandomSamples(8 * 8);
    std::vector<float> got(8 * 8, -1.0f);
    const RefusedAlloc refusal(0);
    FloatPSF2D::GetPlaneCutAiry(got.data(), plane.data(), 8, 8, 0);
    EXPECT_TRUE(refusal.HasRefused());
    EXPECT_TRUE(SameBits(got, std::vector<float>(8 * 8, -1.0f)));
}

// ---- statistics and measured PSF -------------------------------------------------------------------------

TEST(DesiredHalfE8, IsSquaresOverSum) {
    std::vector<float> v = {1.0f, 2.0f, 3.0f, -1.0f, 0.0f, 0.5f};
    EXPECT_EQ(FloatPSF2D::GetDesiredHalfE8(v.data(), 3, 2), 15.25f / 5.5f);
}

TEST(DesiredHalfE8, OfZerosIs1) {
    std::vector<float> v(12);
    EXPECT_EQ(FloatPSF2D::GetDesiredHalfE8(v.data(), 4, 3), 1.0f);
    v[0] = 0.5e-10f;
    EXPECT_EQ(FloatPSF2D::GetDesiredHalfE8(v.data(), 4, 3), 1.0f);
    v[0] = -2e-10f;
    EXPECT_EQ(FloatPSF2D::GetDesiredHalfE8(v.data(), 4, 3), v[0] * v[0] / v[0]);
}

TEST(PsfFromPicture, OfOnePixelIs1) {
    IntegerPicture picture(1, 1, 16);
    picture.Set(0, 0, 321);
    float psf = 0.0f;
    FloatPSF2D::GetPSFFromPicBuf(&psf, &picture, 0);
    EXPECT_EQ(psf, 1.0f);
}

TEST(PsfFromPicture, TakesOneComponentAtThePicturesPitch) {
    IntegerPicture picture(3, 2, 12, 6, 2);
    unsigned sum = 0;
    for (unsigned y = 0; y < 2; ++y) {
        for (unsigned x = 0; x < 3; ++x) {
            picture.Set(x, y, 1000.0 + x, 0);
            picture.Set(x, y, 10.0 * y + x + 1, 1);
            sum += 10 * y + x + 1;
        }
    }
    std::vector<float> psf(7, -1.0f);
    FloatPSF2D::GetPSFFromPicBuf(psf.data(), &picture, 1);
    for (unsigned y = 0; y < 2; ++y) {
        for (unsigned x = 0; x < 3; ++x) {
            EXPECT_EQ(psf[y * 3 + x], static_cast<float>(10 * y + x + 1) / static_cast<float>(sum));
        }
    }
    EXPECT_EQ(psf[6], -1.0f);
}

TEST(PsfFromPicture, SumIsModulo2To32) {
    // 65537 samples of 65535 sum to 2^32 - 1; one more of 2 leaves 1.
    IntegerPicture picture(65538, 1, 16);
    picture.Fill([](unsigned x, unsigned) { return x == 65537 ? 2.0 : 65535.0; });
    std::vector<float> psf(65538);
    FloatPSF2D::GetPSFFromPicBuf(psf.data(), &picture, 0);
    EXPECT_EQ(psf[0], 65535.0f);
    EXPECT_EQ(psf[65537], 2.0f);
}

// ---- transforms ------------------------------------------------------------------------------------------

class PictureTransforms : public testing::TestWithParam<std::tuple<unsigned, unsigned>> {
  protected:
    unsigned w = std::get<0>(GetParam());
    unsigned h = std::get<1>(GetParam());
    std::size_t padded = std::size_t{w} + 2;
    std::vector<float> samples = RandomSamples(std::size_t{w} * h);

    /// Samples in padded rows, the padding not 0.
    std::vector<float> Padded() const {
        std::vector<float> rows(padded * h, 55.0f);
        for (std::size_t y = 0; y < h; ++y) {
            std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(y * w), w,
                        rows.begin() + static_cast<std::ptrdiff_t>(y * padded));
        }
        return rows;
    }
};

TEST_P(PictureTransforms, InplaceIsTheHalfSpectrumOfTheDirectTransform) {
    std::vector<float> rows = Padded();
    ASSERT_EQ(FloatPSF2D::DFT2D_TransformInplace(rows.data(), w, h), 0);
    const gnr::ref::ComplexVolume F = gnr::ref::Spectrum(samples, static_cast<int>(w), static_cast<int>(h));
    for (unsigned v = 0; v < h; ++v) {
        for (unsigned u = 0; u <= w / 2; ++u) {
            const std::size_t place = 2 * (std::size_t{v} * (w / 2 + 1) + u);
            const auto expected = F.at(static_cast<int>(u), static_cast<int>(v), 0);
            ASSERT_NEAR(rows[place], expected.real(), 2e-6 * w * h) << u << ' ' << v;
            ASSERT_NEAR(rows[place + 1], expected.imag(), 2e-6 * w * h) << u << ' ' << v;
        }
    }
}

TEST_P(PictureTransforms, TransformShowsTheFirstFloatsOfEachRowAndKeepsTheSpectrum) {
    std::vector<float> inplace = Padded();
    ASSERT_EQ(FloatPSF2D::DFT2D_TransformInplace(inplace.data(), w, h), 0);
    std::vector<float> pf = samples;
    std::vector<float> work = Padded();
    ASSERT_EQ(FloatPSF2D::DFT2D_Transform(pf.data(), w, h, work.data()), 0);
    EXPECT_TRUE(SameBits(work, inplace));
    for (std::size_t y = 0; y < h; ++y) {
        EXPECT_TRUE(SameBits({&pf[y * w], w}, {&inplace[y * padded], w})) << y;
    }
}

TEST_P(PictureTransforms, InversionOnTheSameWorkGivesTheSamplesBack) {
    std::vector<float> pf = samples;
    std::vector<float> work(padded * h);
    ASSERT_EQ(FloatPSF2D::DFT2D_Transform(pf.data(), w, h, work.data()), 0);
    ASSERT_EQ(FloatPSF2D::DFT2D_Inversion(pf.data(), w, h, work.data()), 0);
    for (std::size_t n = 0; n < pf.size(); ++n) ASSERT_NEAR(pf[n], samples[n], 3e-6) << n;
}

INSTANTIATE_TEST_SUITE_P(Sizes, PictureTransforms,
                         testing::Values(std::tuple{8u, 6u}, std::tuple{7u, 5u}, std::tuple{9u, 4u},
                                         std::tuple{1u, 3u}, std::tuple{2u, 1u}, std::tuple{15u, 10u},
                                         std::tuple{32u, 16u}));

TEST(PictureTransformFailure, IsMinus1AndCopiesNothingBack) {
    std::vector<float> pf = {1.0f, 2.0f};
    std::vector<float> work(8);
    EXPECT_EQ(FloatPSF2D::DFT2D_TransformInplace(pf.data(), 0, 1), -1);
    EXPECT_EQ(FloatPSF2D::DFT2D_Transform(pf.data(), 2, 0, work.data()), -1);
    EXPECT_EQ(FloatPSF2D::DFT2D_Inversion(pf.data(), 0, 2, work.data()), -1);
    EXPECT_EQ(pf, (std::vector<float>{1.0f, 2.0f}));
}

}  // namespace
