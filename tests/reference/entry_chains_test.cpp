// SPDX-License-Identifier: MIT

// The one-call entries against the chains of serial kernels that define them, bit for bit: what is fused or
// run on several threads must not show.

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "kernels/pointwise.h"
#include "kernels/richardson_lucy_update.h"
#include "support/kernel_buffers.h"
#include "support/richardson_lucy_calls.h"

namespace {

using namespace gnr::test;
namespace ref = gnr::ref;

using Size = std::tuple<int, int, int>;

class EntryChains : public testing::TestWithParam<std::tuple<Size, int>> {
  protected:
    EntryChains() : threads_(std::get<1>(GetParam())) {}
    Volume Psf(double sum) const {
        const auto [x, y, z] = std::get<0>(GetParam());
        Volume psf = AsymmetricPsf(x, y, z, sum);
        return psf.FillPadding(kSentinel);
    }
    /// With some negative samples, and padding that some fields of the first iteration read.
    Volume Image() const {
        const auto [x, y, z] = std::get<0>(GetParam());
        Volume image = Observed(Scene(x, y, z, 20, 400), AsymmetricPsf(x, y, z), 0.02f);
        image.at(x - 1, y / 2, z / 2) = -3;
        return image.FillPadding(kSentinel);
    }

  private:
    ThreadCount threads_;
};

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, EntryChains,
                         testing::Combine(testing::Values(Size(8, 6, 5), Size(14, 3, 4), Size(10, 17, 1),
                                                          Size(2, 7, 11), Size(22, 13, 6), Size(6, 9, 16)),
                                          testing::Values(1, 2, 5)));

TEST_P(EntryChains, Wiener) {
    constexpr double kNoise[] = {0.01, 0.03, 0.08, 0.2, 0.5, 0.01};
    for (unsigned setting = 0; setting < 6; ++setting) {
        Volume image = Image();
        const Volume psf = Psf(1.2);
        DFT3D s = image.sizes;
        ASSERT_EQ(CRy3DDeconvolution().Wiener(&s, psf, image, nullptr, nullptr, setting, 0, 0), 1);
        EXPECT_TRUE(SameBytes(image, ref::WienerChain(Image(), psf, kNoise[setting]))) << setting;
    }
}

TEST_P(EntryChains, LucyRichardsonTM) {
    for (const double sum : {1.0, 1.3, 1e-11}) {
        for (const unsigned strength : {0u, 1u, 30u, 1000u, 0x80000000u, 0xFFFFFFFFu}) {
            RichardsonLucyCall call(RichardsonLucy::kManual, Image(), Psf(sum), 4);
            call.strength = strength;
            ASSERT_EQ(call.Run(), 1);
            EXPECT_TRUE(SameBytes(call.image, ref::LucyRichardsonTMChain(Image(), Psf(sum), 4, strength)))
                << sum << ", " << strength;
        }
    }
}

TEST_P(EntryChains, LucyRichardsonTMAutomatic) {
    for (const double sum : {1.0, 1.3, 1e-11}) {
        for (const double strength : {0.0, 0.1, -0.7, 20.0, 1e-30}) {
            for (const double ratio : {0.0, 1e9}) {
                RichardsonLucyCall call(RichardsonLucy::kAutomatic, Image(), Psf(sum), 9);
                call.automaticStrength = strength;
                call.stopRatio = ratio;
                ASSERT_EQ(call.Run(), 1);
                const auto chain =
                    ref::LucyRichardsonTMAutomaticChain(Image(), Psf(sum), 9, strength, call.box, ratio);
                EXPECT_EQ(call.done, chain.done);
                EXPECT_TRUE(SameBytes(call.image, chain.image)) << sum << ", " << strength;
            }
        }
    }
}

TEST_P(EntryChains, LucyRichardson) {
    for (const double sum : {1.0, 1.3}) {
        RichardsonLucyCall call(RichardsonLucy::kPlain, Image(), Psf(sum), 5);
        const Volume spectrum = call.psf;
        ASSERT_EQ(call.Run(), 1);
        EXPECT_TRUE(SameBytes(call.image, ref::LucyRichardsonChain(Image(), spectrum, 5))) << sum;
    }
}

TEST_P(EntryChains, LucyRichardsonRealTV) {
    for (const double sum : {1.0, 1.3, 1e-11}) {
        for (const unsigned strength : {0u, 1u, 10u, 30u, 0x80000000u, 0xFFFFFFFFu}) {
            RichardsonLucyCall call(RichardsonLucy::kRealTV, Image(), Psf(sum), 4);
            call.strength = strength;
            ASSERT_EQ(call.Run(), 1);
            EXPECT_TRUE(SameBytes(call.image, ref::LucyRichardsonRealTVChain(Image(), Psf(sum), 4, strength)))
                << sum << ", " << strength;
        }
    }
}

/// A blur of -0 keeps its sign, where the cores' division gives +0; a NaN is divided.
TEST(EntrySweeps, TheRatioIsTheSerialDivision_stays) {
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        const DFT3D s = Geometry(4, 3, 7);
        const auto floats = static_cast<std::size_t>(s.total);
        Buffer blurred = AwkwardFloats(floats, 1);
        Buffer observed = AwkwardFloats(floats, 7);
        blurred[5] = -0.0f;
        Buffer expected = blurred;
        CRy3DDeconvolutionLow::KERNEL3D_Divide(&s, expected.data(), observed.data());
        gnr::detail::RatioOrKeep(s, blurred.data(), observed.data());
        EXPECT_TRUE(SameFloats(blurred, expected));
        EXPECT_TRUE(std::signbit(blurred[5]));
    }
}

TEST(EntrySweeps, TheConjugateIsTheSerialOne) {
    for (const int threads : {1, 2, 5}) {
        const ThreadCount scope(threads);
        const DFT3D s = Geometry(4, 3, 7);
        Buffer spectrum = AwkwardFloats(static_cast<std::size_t>(s.total), 3);
        Buffer expected = spectrum;
        CRy3DDeconvolutionLow::ComplexConjugate(expected.data(), &s);
        gnr::detail::ConjugateParallel(s, spectrum.data());
        EXPECT_TRUE(SameFloats(spectrum, expected));
    }
}

}  // namespace
