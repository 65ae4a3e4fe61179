// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/deconvolution_2d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

#include "kernels/energy_2d.h"
#include "support/bits.h"
#include "support/blind_picture_job.h"
#include "support/refused_alloc.h"
#include "support/threads.h"

namespace {

using namespace gnr::test;
using Family = CRy2DDeconvolutionFamily;

// ---- what is delivered -----------------------------------------------------------------------------------

/// Of the scene with its margin.
double SumOfScene(unsigned w, unsigned h) {
    double sum = 0;
    for (unsigned y = 0; y < h + 2 * kBlindBorder; ++y) {
        for (unsigned x = 0; x < w + 2 * kBlindBorder; ++x) {
            sum += Scene(std::clamp(x, kBlindBorder, kBlindBorder + w - 1) - kBlindBorder,
                         std::clamp(y, kBlindBorder, kBlindBorder + h - 1) - kBlindBorder);
        }
    }
    return sum;
}

/// What scaling down and up again leaves of a sample of the scene.
float ScaledThereAndBack(float v, unsigned w, unsigned h) {
    const auto scale = static_cast<float>(SumOfScene(w, h));
    return v * (1.0f / scale) * scale;
}

TEST(BlindPictures, NoCycleDeliversThePictureScaledDownAndUp) {
    const Restored restored{BlindJob(0)};
    EXPECT_EQ(restored.code, 0);
    IntegerPicture source(20, 18, 8, 3);
    IntegerPicture destination(20, 18, 8, 1);
    source.Fill(Scene);
    BlindJob job(0);
    EXPECT_EQ(job.Run(destination, source), 0);
    EXPECT_TRUE(job.log.Calls().empty());
    for (unsigned y = 0; y < 18; ++y) {
        for (unsigned x = 0; x < 20; ++x) {
            const float v = ScaledThereAndBack(static_cast<float>(Scene(x, y)), 20, 18);
            EXPECT_EQ(restored.picture.Get(x, y), v);
            EXPECT_EQ(destination.Get(x, y), static_cast<unsigned>(v)) << "truncated, not rounded";
        }
    }
}

TEST(BlindPictures, SumBelowOneIsNotScaled) {
    for (const double sum : {1e-4, 0.99, 1.01}) {
        const double factor = sum / SumOfScene(20, 18);
        FloatPicture source(20, 18);
        source.Fill([=](unsigned x, unsigned y) { return Scene(x, y) * factor; });
        FloatPicture destination(20, 18);
        BlindJob job(0);
        EXPECT_EQ(job.Run(destination, source), 0);
        EXPECT_EQ(SameBits(destination.Samples(), source.Samples()), sum < 1.0) << sum;
    }
}

/// A threshold between the energies of the PSF at its sum of 1, above it, and at a small sum, below.
TEST(BlindPictures, OnlyGuessesOfNoSumAreNotScaledToSumOne) {
    constexpr float kRatio = 0.0025f;
    BlindJob whole;
    whole.energyRatio = kRatio;
    const Restored expected(whole);
    for (const float scale : {0x1p-30f, 0x1p-60f}) {
        BlindJob small;
        small.energyRatio = kRatio;
        for (float& v : small.psf) v *= scale;
        const Restored restored(small);
        const bool scaled = scale == 0x1p-30f;
        EXPECT_EQ(SameBits(restored.Samples(), expected.Samples()), scaled);
        EXPECT_EQ(small.log.Phases(), PhasesOfCycle(scaled ? kStepsOnImage : 1, 1));
    }
}

TEST(BlindPictures, RowsKeepWhatLiesBetweenThem) {
    IntegerPicture source(20, 18, 12, 6);
    source.Fill(Scene);
    const std::vector<unsigned char> before = source.Bytes();
    IntegerPicture destination(20, 18, 12, 4);
    IntegerPicture plain(20, 18, 12);
    BlindJob first;
    BlindJob second;
    EXPECT_EQ(first.Run(destination, source), 0);
    EXPECT_EQ(second.Run(plain, source), 0);
    EXPECT_EQ(source.Bytes(), before);
    for (unsigned y = 0; y < 18; ++y) {
        const auto row = destination.Bytes().begin() + y * 44;
        EXPECT_TRUE(std::equal(row, row + 40, plain.Bytes().begin() + y * 40));
        EXPECT_TRUE(std::all_of(row + 40, row + 44, [](unsigned char b) { return b == kSentinelByte; }));
    }
}

TEST(BlindPictures, ReservedArgumentsHaveNoEffect) {
    const Restored plain{BlindJob()};
    BlindJob job;
    FloatPicture source(20, 18);
    source.Fill(Scene);
    FloatPicture destination(20, 18);
    EXPECT_EQ(Family::AccIBDProcessImage_NoSplit_x1(&destination, &source, job.psf.data(), kBlindPsfSize,
                                                    0.0f, nullptr, nullptr, 7, 1, true),
              0);
    EXPECT_TRUE(SameBits(destination.Samples(), plain.Samples()));
    EXPECT_EQ(job.psf, LopsidedPsf(kBlindPsfSize));
}

TEST(BlindPictures, ThreadsDoNotChangeTheResult) {
    std::vector<float> first;
    for (const int threads : {1, 2, 3}) {
        const ThreadCount scope(threads);
        const Restored restored(BlindJob(2), 130, 110);
        if (first.empty()) first = restored.Samples();
        EXPECT_TRUE(SameBits(restored.Samples(), first));
    }
}

// ---- negatives ---------------------------------------------------------------------------------------------

std::vector<float> WithNegatives(std::vector<float> psf) {
    for (std::size_t i = 0; i < psf.size(); i += 5) psf[i] = -0.003f;
    return psf;
}
std::vector<float> Cut(std::vector<float> psf) {
    for (float& v : psf) v = std::max(v, 0.0f);
    return psf;
}

template <class Picture>
std::vector<double> RestoredWith(const std::vector<float>& psf) {
    Picture source(20, 18);
    source.Fill(Scene);
    Picture destination(20, 18);
    BlindJob job;
    job.psf = psf;
    EXPECT_EQ(job.Run(destination, source), 0);
    std::vector<double> values;
    for (unsigned y = 0; y < 18; ++y) {
        for (unsigned x = 0; x < 20; ++x) values.push_back(destination.Get(x, y));
    }
    return values;
}

TEST(BlindPictures, OnlyFloatPicturesComeWithACutPsf_stays) {
    const std::vector<float> psf = WithNegatives(LopsidedPsf(kBlindPsfSize));
    EXPECT_EQ(RestoredWith<FloatPicture>(psf), RestoredWith<FloatPicture>(Cut(psf)));
    EXPECT_NE(RestoredWith<IntegerPicture>(psf), RestoredWith<IntegerPicture>(Cut(psf)));
}

TEST(BlindPictures, OverloadsAgreeWhereNothingIsNegative) {
    const std::vector<double> floats = RestoredWith<FloatPicture>(LopsidedPsf(kBlindPsfSize));
    const std::vector<double> integers = RestoredWith<IntegerPicture>(LopsidedPsf(kBlindPsfSize));
    for (std::size_t i = 0; i < floats.size(); ++i) {
        EXPECT_EQ(integers[i], std::floor(std::min(floats[i], 255.0)));
    }
}

TEST(BlindPictures, NegativeSamplesCountInTheScaleAndAreThenCut) {
    FloatPicture source(20, 18);
    source.Fill([](unsigned x, unsigned y) { return Scene(x, y) - 100.0; });
    FloatPicture cut(20, 18);
    cut.Fill([](unsigned x, unsigned y) { return std::max(Scene(x, y) - 100.0, 0.0); });
    FloatPicture fromSource(20, 18);
    FloatPicture fromCut(20, 18);
    BlindJob first;
    BlindJob second;
    first.energyRatio = second.energyRatio = 0.01f;
    EXPECT_EQ(first.Run(fromSource, source), 0);
    EXPECT_EQ(second.Run(fromCut, cut), 0);
    EXPECT_GE(*std::min_element(fromSource.Samples().begin(), fromSource.Samples().end()), 0.0f);
    // With its signs the picture has a sum below 1 and no energy, so that neither scales anything: the image
    // is far more energetic than the threshold allows, and without them far less.
    EXPECT_EQ(first.log.Phases(), PhasesOfCycle(1, kStepsOnPsf));
    EXPECT_EQ(second.log.Phases(), PhasesOfCycle(kStepsOnImage, 1));
}

// ---- the energy test ---------------------------------------------------------------------------------------

TEST(BlindPictures, BlackPictureHasTheEnergyOne) {
    for (const float ratio : {0.5f, 1.5f}) {
        FloatPicture source(20, 18);
        source.Fill([](unsigned, unsigned) { return 0.0; });
        FloatPicture destination(20, 18);
        BlindJob job;
        job.energyRatio = ratio;
        EXPECT_EQ(job.Run(destination, source), 0);
        EXPECT_TRUE(SameBits(destination.Samples(), source.Samples()));
        // A black partner makes the ratio of energies 1, on this side or that of a threshold of ratio / 1.
        EXPECT_EQ(job.log.Phases(),
                  ratio > 1.0f ? PhasesOfCycle(1, kStepsOnPsf) : PhasesOfCycle(kStepsOnImage, 1));
    }
}

TEST(BlindPictures, EnergyRatioOfZeroOrBelowLetsAllIterationsRun) {
    for (const float ratio : {0.0f, -1.0f, std::nanf("")}) {
        BlindJob job;
        job.energyRatio = ratio;
        const Restored restored(job);
        EXPECT_EQ(job.log.Phases(), PhasesOfCycle());
    }
}

TEST(BlindPictures, GreatRatiosEndTheImageStepsAndSmallOnesThePsfSteps) {
    BlindJob great;
    great.energyRatio = 1e6f;
    EXPECT_EQ(Restored(great).code, 0);
    EXPECT_EQ(great.log.Phases(), PhasesOfCycle(1, kStepsOnPsf));
    BlindJob small;
    small.energyRatio = 1e-9f;
    EXPECT_EQ(Restored(small).code, 0);
    EXPECT_EQ(small.log.Phases(), PhasesOfCycle(kStepsOnImage, 1));
}

TEST(EnergyRatio, IsThatOfTheSecondOverTheFirst) {
    const std::vector<float> a = {1.0f, 3.0f};
    const std::vector<float> b = {2.0f, 2.0f};
    EXPECT_EQ(gnr::detail::ComputeE8_2D(a.data(), b.data(), 2, 1), (8.0f * 4.0f) / (10.0f * 4.0f));
}

TEST(EnergyRatio, IsOneWithoutADivisor) {
    const std::vector<float> a = {1.0f, 3.0f};
    const std::vector<float> balanced = {-1.0f, 1.0f};
    const std::vector<float> black = {0.0f, 0.0f};
    EXPECT_EQ(gnr::detail::ComputeE8_2D(a.data(), balanced.data(), 2, 1), 1.0f);
    EXPECT_EQ(gnr::detail::ComputeE8_2D(black.data(), a.data(), 2, 1), 1.0f);
    // The other two sums are no divisors.
    EXPECT_EQ(gnr::detail::ComputeE8_2D(balanced.data(), a.data(), 2, 1), 0.0f);
}

// ---- codes -------------------------------------------------------------------------------------------------

template <class Picture>
int CodeFor(unsigned w, unsigned h, Picture&& source) {
    using Plain = std::remove_reference_t<Picture>;
    BlindJob job;
    Plain destination(w, h);
    const int code = job.Run(destination, source);
    EXPECT_TRUE(job.log.Calls().empty() || code == 0);
    return code;
}

TEST(BlindPicturesCodes, SmallOrColouredPicturesAreMinus2BeforeAnyAllocation) {
    const RefusedAlloc first(0);
    EXPECT_EQ(CodeFor(15, 16, FloatPicture(15, 16)), -2);
    EXPECT_EQ(CodeFor(16, 15, FloatPicture(16, 15)), -2);
    EXPECT_EQ(CodeFor(16, 15, IntegerPicture(16, 15)), -2);
    EXPECT_EQ(CodeFor(20, 20, FloatPicture(20, 20, 2)), -2);
    EXPECT_EQ(CodeFor(20, 20, IntegerPicture(20, 20, 8, 0, 3)), -2);
    EXPECT_FALSE(first.HasRefused()) << "asked for memory";
}

TEST(BlindPicturesCodes, SixteenPixelsAreEnough) {
    IntegerPicture least(16, 16);
    least.Fill(Scene);
    EXPECT_EQ(CodeFor(16, 16, least), 0);
}

TEST(BlindPicturesCodes, SizesWithoutAFrameAreMinus9) {
    BlindJob job;
    SRyFloatPicBuf source = {};
    source.uiWidth = 1u << 28;
    source.uiHeight = 16;
    source.uiComponents = 1;
    SRyFloatPicBuf destination = source;
    EXPECT_EQ(Family::AccIBDProcessImage_NoSplit_x1(&destination, &source, job.psf.data(), kBlindPsfSize,
                                                    0.0f, nullptr, nullptr, 0, 1, false),
              -9);
}

TEST(BlindPicturesCodes, EveryBlockThatIsRefusedIsMinus9AndFreesTheOthers) {
    IntegerPicture integers(20, 18, 12);
    integers.Fill(Scene);
    FloatPicture floats(20, 18);
    floats.Fill(Scene);
    const auto counts = [](auto& source, auto& destination) {
        return RefuseEachBlock(
            1,
            [&] {
                BlindJob job;
                return job.Run(destination, source);
            },
            [](int code) { EXPECT_EQ(code, -9); });
    };
    IntegerPicture ofIntegers(20, 18, 12);
    FloatPicture ofFloats(20, 18);
    // Two pictures before and one after, two estimates, the buffer and seven frames.
    EXPECT_EQ(counts(integers, ofIntegers), 13);
    EXPECT_EQ(counts(floats, ofFloats), 13);
}

TEST(BlindPicturesCodes, DestinationStaysWithoutMemory) {
    FloatPicture source(20, 18);
    source.Fill(Scene);
    for (int number = 0; number < 13; ++number) {
        FloatPicture destination(20, 18);
        const std::vector<float> before = destination.Samples();
        const RefusedAlloc refusal(number);
        BlindJob job;
        EXPECT_EQ(job.Run(destination, source), -9);
        EXPECT_TRUE(SameBits(destination.Samples(), before)) << number;
    }
}

// ---- tiles -------------------------------------------------------------------------------------------------

TEST(BlindTiles, GridOfOneIsTheCallItself) {
    IntegerPicture source(40, 30, 12);
    source.Fill(Scene);
    IntegerPicture whole(40, 30, 12);
    IntegerPicture grid(40, 30, 12);
    BlindJob first;
    BlindJob second;
    first.energyRatio = second.energyRatio = 0.05f;
    EXPECT_EQ(first.Run(whole, source), 0);
    EXPECT_EQ(second.RunInTiles(grid, source, 1, 1), 0);
    EXPECT_EQ(whole.Bytes(), grid.Bytes());
    EXPECT_EQ(first.log.Phases(), second.log.Phases());
}

TEST(BlindTiles, EachStartsFromTheGivenPsf) {
    FloatPicture source(120, 30);
    source.Fill(Scene);
    FloatPicture grid(120, 30);
    BlindJob job(2);
    job.energyRatio = 0.05f;
    EXPECT_EQ(job.RunInTiles(grid, source, 2, 1), 0);
    for (const unsigned tile : {0u, 1u}) {
        // 60 pixels of its own and 50 of its neighbour.
        const unsigned from = tile == 0 ? 0 : 10;
        FloatPicture part(110, 30);
        part.Fill([=](unsigned x, unsigned y) { return Scene(x + from, y); });
        FloatPicture restored(110, 30);
        BlindJob alone(2);
        alone.energyRatio = 0.05f;
        EXPECT_EQ(alone.Run(restored, part), 0);
        for (unsigned y = 0; y < 30; ++y) {
            for (unsigned x = 60 * tile; x < 60 * (tile + 1); ++x) {
                ASSERT_EQ(grid.Get(x, y), restored.Get(x - from, y)) << x << ", " << y;
            }
        }
    }
}

TEST(BlindTiles, StopInTheMiddleOfACycleEndsTheGridWithItsTileDelivered) {
    FloatPicture source(120, 30);
    source.Fill(Scene);
    FloatPicture grid(120, 30);
    BlindJob job(1, 1 + kStepsOnImage);
    EXPECT_EQ(job.RunInTiles(grid, source, 2, 1), -9);
    EXPECT_GT(*std::min_element(grid.Samples().begin(), grid.Samples().begin() + 60), 0.0f);
    EXPECT_EQ(grid.Get(60, 0), FloatPicture::kSentinel);
}

TEST(BlindTiles, StopAtTheHeadOfACycleGoesOnWithTheNextTile_stays) {
    FloatPicture source(120, 30);
    source.Fill(Scene);
    FloatPicture grid(120, 30);
    BlindJob job(1, 0);
    EXPECT_EQ(job.RunInTiles(grid, source, 2, 1), 0);
    EXPECT_EQ(job.log.Calls().size(), 1u + kCallsPerCycle);
    EXPECT_NEAR(grid.Get(5, 5), Scene(5, 5), 1e-3);
    EXPECT_GT(std::fabs(grid.Get(71, 5) - Scene(71, 5)), 1e-3);
}

}  // namespace
