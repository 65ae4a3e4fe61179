// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "algorithms/total_variation.h"
#include "support/bits.h"
#include "support/picture_jobs.h"
#include "support/refused_alloc.h"
#include "support/threads.h"

namespace {

using namespace gnr::test;

constexpr auto kTM = RichardsonLucy::kTikhonovMiller;
constexpr auto kTV = RichardsonLucy::kVariation;
constexpr auto kRealTV = RichardsonLucy::kDirection;
constexpr RichardsonLucy kMethods[] = {kTM, kTV, kRealTV};

/// A call with every term at work.
PictureCall OrdinaryCall(unsigned iterations = 3) {
    PictureCall call;
    call.iterations = iterations;
    call.lambda = 0.3;
    call.strength = 4;
    return call;
}

template <class Picture>
constexpr bool kIsInteger = std::is_same_v<Picture, IntegerPicture>;

std::vector<unsigned char> AllBytes(IntegerPicture& picture) {
    return picture.Bytes();
}
std::vector<unsigned char> AllBytes(FloatPicture& picture) {
    const auto* const first = reinterpret_cast<const unsigned char*>(picture.Samples().data());
    return {first, first + picture.Samples().size() * sizeof(float)};
}

/// For both kinds of pictures; all methods are gone through inside.
template <class Picture>
class RichardsonLucy2D : public testing::Test {
  protected:
    RichardsonLucy2D() { source.Fill(Scene); }

    Picture source{40, 33};
    Picture destination{40, 33};
};
using BothKinds = testing::Types<IntegerPicture, FloatPicture>;
TYPED_TEST_SUITE(RichardsonLucy2D, BothKinds);

// ---- failures ---------------------------------------------------------------------------------------------

TYPED_TEST(RichardsonLucy2D, SmallAndColouredPicturesAreRejectedBeforeAnyAllocation) {
    for (const RichardsonLucy method : kMethods) {
        for (const auto& [w, h, components] : {std::tuple{15u, 33u, 1u}, {40u, 15u, 1u}, {40u, 33u, 2u}}) {
            SCOPED_TRACE(testing::Message() << method << ' ' << w << ' ' << h << ' ' << components);
            const auto make = [&, w = w, h = h, components = components] {
                if constexpr (kIsInteger<TypeParam>) {
                    return TypeParam(w, h, 8, 0, components);
                } else {
                    return TypeParam(w, h, components);
                }
            };
            TypeParam odd = make();
            TypeParam restored = make();
            const auto before = AllBytes(restored);
            ProgressLog log;
            PictureCall call = OrdinaryCall();
            call.log = &log;
            unsigned done = 77;
            const RefusedAlloc refusal(0);
            EXPECT_EQ(RestoreWhole(method, &restored, &odd, call, &done), -2);
            EXPECT_FALSE(refusal.HasRefused());
            EXPECT_EQ(done, method == kTM ? 0u : 77u);
            EXPECT_TRUE(log.Calls().empty());
            EXPECT_EQ(AllBytes(restored), before);
        }
    }
}

TYPED_TEST(RichardsonLucy2D, SixteenPixelsAreEnough) {
    TypeParam small(16, 16);
    small.Fill(Scene);
    TypeParam restored(16, 16);
    for (const RichardsonLucy method : kMethods) {
        EXPECT_EQ(RestoreWhole(method, &restored, &small, OrdinaryCall(1)), 0);
    }
}

TYPED_TEST(RichardsonLucy2D, SizesBeyondAllFramesGiveMinus9) {
    this->source.record().uiWidth = (1u << 28) - 79;
    for (const RichardsonLucy method : kMethods) {
        unsigned done = 77;
        EXPECT_EQ(RestoreWhole(method, &this->destination, &this->source, OrdinaryCall(), &done), -9);
        EXPECT_EQ(done, method == kTM ? 0u : 77u);
    }
}

TYPED_TEST(RichardsonLucy2D, EveryRefusedBlockGivesMinus9AndFreesTheOthers) {
    const auto before = AllBytes(this->destination);
    for (const RichardsonLucy method : kMethods) {
        SCOPED_TRACE(method);
        unsigned done = 0;
        const int blocks = RefuseEachBlock(
            1,
            [&] { return RestoreWhole(method, &this->destination, &this->source, OrdinaryCall(1), &done); },
            [&](int code) {
                EXPECT_EQ(code, -9);
                EXPECT_EQ(AllBytes(this->destination), before);
            });
        // Margin and frame picture, x, PSF, work buffer, y, r, t, delivery; the prefilter's kernel.
        EXPECT_EQ(blocks, method == kTM ? 10 : 9);
        if constexpr (kIsInteger<TypeParam>) {
            this->destination.Fill([](unsigned, unsigned) { return kSentinelByte; });
        } else {
            this->destination.Fill([](unsigned, unsigned) { return TypeParam::kSentinel; });
        }
    }
}

// ---- progress ---------------------------------------------------------------------------------------------

TYPED_TEST(RichardsonLucy2D, PollsOnceAtTheHeadOfEachIteration) {
    for (const RichardsonLucy method : kMethods) {
        SCOPED_TRACE(method);
        ProgressLog log;
        PictureCall call = OrdinaryCall(4);
        call.log = &log;
        EXPECT_EQ(RestoreWhole(method, &this->destination, &this->source, call), 0);
        EXPECT_EQ(log.Calls(), std::vector<ProgressReport>(4, PictureReport(eProgressPoll)));
        for (const ProgressReport& report : log.Calls()) {
            EXPECT_EQ(report.hostPointer, &log);
            EXPECT_EQ(report.thread, std::this_thread::get_id());
        }
    }
}

TYPED_TEST(RichardsonLucy2D, StopAtEveryCallLeavesTheDestinationAndTellsTheCount) {
    const auto before = AllBytes(this->destination);
    for (const RichardsonLucy method : kMethods) {
        for (unsigned call = 0; call < 4; ++call) {
            SCOPED_TRACE(testing::Message() << method << ", call " << call);
            ProgressLog log(static_cast<int>(call), -3);
            PictureCall stopped = OrdinaryCall(4);
            stopped.log = &log;
            unsigned done = 77;
            const int live = RefusedAlloc::live;
            EXPECT_EQ(RestoreWhole(method, &this->destination, &this->source, stopped, &done), -9);
            EXPECT_EQ(RefusedAlloc::live, live);
            EXPECT_EQ(log.Calls().size(), call + 1);
            EXPECT_EQ(AllBytes(this->destination), before);
            const unsigned counted = kIsInteger<TypeParam> ? call + 1 : call;
            EXPECT_EQ(done, method == kTM ? counted : 77u);
        }
    }
}

TEST(RichardsonLucy2DCounts, IntegersCountAStoppedIteration_stays) {
    IntegerPicture source(40, 33);
    IntegerPicture destination(40, 33);
    source.Fill(Scene);
    ProgressLog log(2);
    PictureCall call = OrdinaryCall(9);
    call.log = &log;
    unsigned done = 0;
    EXPECT_EQ(RestoreWhole(kTM, &destination, &source, call, &done), -9);
    EXPECT_EQ(done, 3u);
    EXPECT_EQ(ReferenceOf(kTM, source, call, 2).done, 3u);
}

TYPED_TEST(RichardsonLucy2D, TheCountIs0FromTheEntryOn) {
    unsigned done = 77;
    std::vector<unsigned> seen;
    ProgressLog log;
    log.onCall = [&](const ProgressReport&) { seen.push_back(done); };
    PictureCall call = OrdinaryCall(2);
    call.log = &log;
    EXPECT_EQ(RestoreWhole(kTM, &this->destination, &this->source, call, &done), 0);
    EXPECT_EQ(seen, (std::vector<unsigned>{0, 0}));
    EXPECT_EQ(done, 2u);
    EXPECT_EQ(RestoreWhole(kTM, &this->destination, &this->source, call, nullptr), 0);
}

// ---- stop test --------------------------------------------------------------------------------------------

/// A PSF of nothing but 0 makes the estimate 0 at once, so that the ratio is 1 at every visit: above 0.998 of
/// the one before from the third iteration on.
TYPED_TEST(RichardsonLucy2D, TheSixthIterationIsTheFirstThatMayBeTheLast) {
    PictureCall call = OrdinaryCall();
    call.psf.assign(36, 0.0f);
    for (const auto& [budget, count] :
         {std::pair{0u, 0u}, std::pair{1u, 1u}, std::pair{2u, 2u}, std::pair{5u, 5u}, std::pair{6u, 6u},
          std::pair{7u, 6u}, std::pair{100u, 6u}}) {
        SCOPED_TRACE(budget);
        call.iterations = budget;
        ProgressLog log;
        call.log = &log;
        unsigned done = 77;
        EXPECT_EQ(RestoreWhole(kTM, &this->destination, &this->source, call, &done), 0);
        EXPECT_EQ(done, count);
        EXPECT_EQ(log.Calls().size(), count);
    }
}

TYPED_TEST(RichardsonLucy2D, ABlackHalfDoesNotKeepTheRunFromEnding) {
    this->source.Fill([](unsigned x, unsigned y) { return x < 20 ? Scene(x, y) : 0.0; });
    PictureCall call = OrdinaryCall(400);
    call.psf = LopsidedPsf(2);
    call.psfSide = 2;
    unsigned done = 0;
    EXPECT_EQ(RestoreWhole(kTM, &this->destination, &this->source, call, &done), 0);
    EXPECT_GE(done, 6u);
    EXPECT_LT(done, 400u);
}

/// In the dark around a single sample the corrections are rounding, of either sign; float pictures would keep
/// the sign of a zero.
TEST(RichardsonLucy2DFloats, WhatRoundingTurnsNegativeIsCutToPlusZero) {
    FloatPicture source(48, 48);
    FloatPicture destination(48, 48);
    source.Fill([](unsigned x, unsigned y) { return x == 30 && y == 20 ? 1e6 : 0.0; });
    EXPECT_EQ(RestoreWhole(kTM, &destination, &source, OrdinaryCall(3)), 0);
    EXPECT_GT(destination.Get(30, 20), 1e4f);
    for (const float v : destination.Samples()) ASSERT_FALSE(std::signbit(v));
}

/// Black pictures have no divergence: 0 / 0 is no reason to end.
TYPED_TEST(RichardsonLucy2D, ABlackPictureStaysBlackAndIsNeverStopped) {
    this->source.Fill([](unsigned, unsigned) { return 0; });
    unsigned done = 0;
    EXPECT_EQ(RestoreWhole(kTM, &this->destination, &this->source, OrdinaryCall(9), &done), 0);
    EXPECT_EQ(done, 9u);
    for (unsigned y = 0; y < 33; ++y) {
        for (unsigned x = 0; x < 40; ++x) ASSERT_EQ(this->destination.Get(x, y), 0);
    }
}

TEST(RichardsonLucy2DFloats, NumbersThatAreNoneNeitherEndNorHangTheRun) {
    FloatPicture source(40, 33);
    FloatPicture destination(40, 33);
    for (const double odd : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL, -HUGE_VAL}) {
        source.Fill(Scene);
        source.Set(11, 12, odd);
        unsigned done = 0;
        EXPECT_EQ(RestoreWhole(kTM, &destination, &source, OrdinaryCall(8), &done), 0);
        EXPECT_EQ(done, 8u);
        EXPECT_EQ(RestoreWhole(kTV, &destination, &source, OrdinaryCall(2)), 0);
        EXPECT_EQ(RestoreWhole(kRealTV, &destination, &source, OrdinaryCall(2)), 0);
    }
}

// ---- no iteration, no term --------------------------------------------------------------------------------

TYPED_TEST(RichardsonLucy2D, WithoutIterationsTotalVariationDeliversTheSource) {
    for (const RichardsonLucy method : {kTV, kRealTV}) {
        ProgressLog log;
        PictureCall call = OrdinaryCall(0);
        call.log = &log;
        EXPECT_EQ(RestoreWhole(method, &this->destination, &this->source, call), 0);
        EXPECT_EQ(AllBytes(this->destination), AllBytes(this->source));
        EXPECT_TRUE(log.Calls().empty());
    }
}

TEST(RichardsonLucy2DFloats, WithoutIterationsNegativeSamplesAreCutOnTheWayOut) {
    FloatPicture source(40, 33);
    FloatPicture destination(40, 33);
    source.Fill([](unsigned x, unsigned y) { return x == 3 ? -5.25 : 1000.5 + y; });
    EXPECT_EQ(RestoreWhole(kTV, &destination, &source, OrdinaryCall(0)), 0);
    EXPECT_EQ(destination.Get(3, 7), 0.0f);
    EXPECT_EQ(destination.Get(4, 7), 1007.5f);
}

/// A single sample shows the small Gaussian, and that it stands in its place.
TEST(RichardsonLucy2DFloats, WithoutIterationsTikhonovMillerDeliversThePrefilteredSource) {
    FloatPicture source(40, 33);
    FloatPicture destination(40, 33);
    source.Fill([](unsigned x, unsigned y) { return x == 12 && y == 20 ? 100.0 : 0.0; });
    EXPECT_EQ(RestoreWhole(kTM, &destination, &source, OrdinaryCall(0)), 0);
    double sum = 0;
    for (int i = -3; i <= 3; ++i) sum += std::exp(-0.5 * i * i / 0.64);
    for (int y = -4; y <= 4; ++y) {
        for (int x = -4; x <= 4; ++x) {
            const bool inside = std::max(std::abs(x), std::abs(y)) <= 3;
            const double expected = std::exp(-0.5 * (x * x + y * y) / 0.64) / (sum * sum);
            EXPECT_NEAR(destination.Get(static_cast<unsigned>(12 + x), static_cast<unsigned>(20 + y)),
                        inside ? 100 * expected : 0.0, 1e-4);
        }
    }
}

TYPED_TEST(RichardsonLucy2D, Strength0IsPlainRichardsonLucyInBothTotalVariationForms) {
    PictureCall call = OrdinaryCall(4);
    call.strength = 0;
    TypeParam other(40, 33);
    EXPECT_EQ(RestoreWhole(kTV, &this->destination, &this->source, call), 0);
    EXPECT_EQ(RestoreWhole(kRealTV, &other, &this->source, call), 0);
    EXPECT_EQ(AllBytes(this->destination), AllBytes(other));
    call.strength = 4;
    EXPECT_EQ(RestoreWhole(kRealTV, &other, &this->source, call), 0);
    EXPECT_NE(AllBytes(this->destination), AllBytes(other));
}

/// The weight of 1e-30 vanishes in float: a field of ones, which changes no bit.
TYPED_TEST(RichardsonLucy2D, Lambda0IsPlainRichardsonLucyOfThePrefilteredPicture) {
    PictureCall call = OrdinaryCall(4);
    call.lambda = 0;
    TypeParam other(40, 33);
    EXPECT_EQ(RestoreWhole(kTM, &this->destination, &this->source, call), 0);
    call.lambda = 1e-30;
    EXPECT_EQ(RestoreWhole(kTM, &other, &this->source, call), 0);
    EXPECT_EQ(AllBytes(this->destination), AllBytes(other));
    call.lambda = 0.3;
    EXPECT_EQ(RestoreWhole(kTM, &other, &this->source, call), 0);
    EXPECT_NE(AllBytes(this->destination), AllBytes(other));
}

TYPED_TEST(RichardsonLucy2D, TheSignOfAStrengthDoesNotMatter) {
    for (const RichardsonLucy method : kMethods) {
        PictureCall call = OrdinaryCall(2);
        TypeParam other(40, 33);
        EXPECT_EQ(RestoreWhole(method, &this->destination, &this->source, call), 0);
        call.lambda = -call.lambda;
        call.strength = -call.strength;
        EXPECT_EQ(RestoreWhole(method, &other, &this->source, call), 0);
        EXPECT_EQ(AllBytes(this->destination), AllBytes(other)) << method;
    }
}

// ---- what is delivered ------------------------------------------------------------------------------------

/// Bright squares; restored edges overshoot.
double Squares(unsigned x, unsigned y) {
    return x % 12 < 6 && y % 11 < 6 ? 250.0 : 20.0;
}

TEST(RichardsonLucy2DSamples, BytesAreCutTo255AndFloatsAreNot) {
    IntegerPicture bytes(40, 33);
    FloatPicture floats(40, 33);
    bytes.Fill(Squares);
    floats.Fill(Squares);
    for (const RichardsonLucy method : kMethods) {
        SCOPED_TRACE(method);
        PictureCall call;
        call.iterations = 12;
        IntegerPicture restoredBytes(40, 33);
        FloatPicture restoredFloats(40, 33);
        ASSERT_EQ(RestoreWhole(method, &restoredBytes, &bytes, call), 0);
        ASSERT_EQ(RestoreWhole(method, &restoredFloats, &floats, call), 0);
        unsigned cut = 0;
        for (unsigned y = 0; y < 33; ++y) {
            for (unsigned x = 0; x < 40; ++x) {
                const float v = restoredFloats.Get(x, y);
                cut += v > 256.0f ? 1 : 0;
                ASSERT_EQ(restoredBytes.Get(x, y), static_cast<unsigned>(std::min(v, 255.0f))) << "truncated";
            }
        }
        EXPECT_GT(cut, 5u);
    }
}

TEST(RichardsonLucy2DSamples, NineBitsAreCutTo511) {
    for (const RichardsonLucy method : kMethods) {
        IntegerPicture source(40, 33, 9);
        source.Fill([](unsigned x, unsigned y) { return 2 * Squares(x, y); });
        IntegerPicture restored(40, 33, 9);
        PictureCall call;
        call.iterations = 12;
        ASSERT_EQ(RestoreWhole(method, &restored, &source, call), 0);
        unsigned greatest = 0;
        for (unsigned y = 0; y < 33; ++y) {
            for (unsigned x = 0; x < 40; ++x) greatest = std::max(greatest, restored.Get(x, y));
        }
        EXPECT_EQ(greatest, 511u) << method;
    }
}

TEST(RichardsonLucy2DSamples, GapsBetweenRowsSourceAndPsfStay) {
    for (const unsigned bits : {8u, 12u}) {
        IntegerPicture source(40, 33, bits, 6);
        source.Fill(Scene);
        const auto sourceBefore = source.Bytes();
        for (const RichardsonLucy method : kMethods) {
            IntegerPicture dense(40, 33, bits);
            IntegerPicture gapped(40, 33, bits, 10);
            const PictureCall call = OrdinaryCall();
            ASSERT_EQ(RestoreWhole(method, &dense, &source, call), 0);
            ASSERT_EQ(RestoreWhole(method, &gapped, &source, call), 0);
            EXPECT_EQ(source.Bytes(), sourceBefore);
            const std::size_t row = 40 * (bits == 8 ? 1 : 2);
            for (unsigned y = 0; y < 33; ++y) {
                const unsigned char* const g = gapped.Bytes().data() + y * (row + 10);
                EXPECT_TRUE(std::equal(g, g + row, dense.Bytes().data() + y * row));
                EXPECT_TRUE(std::all_of(g + row, g + row + 10, [](auto b) { return b == kSentinelByte; }));
            }
        }
    }
}

TYPED_TEST(RichardsonLucy2D, ThePsfIsOnlyRead) {
    const std::vector<float> psf = LopsidedPsf(6);
    std::vector<float> handed = psf;
    using Family = CRy2DDeconvolutionFamily;
    EXPECT_EQ(Family::AccRLTMAddProcessImage_NoSplit_x1(&this->destination, &this->source, handed.data(), 6,
                                                        nullptr, nullptr, 0, 2, false, 0.3, nullptr),
              0);
    EXPECT_EQ(Family::AccRLTVAddProcessImage_NoSplit_x1(&this->destination, &this->source, handed.data(), 6,
                                                        nullptr, nullptr, 0, 2, false, 4),
              0);
    EXPECT_EQ(Family::AccRLTVRealAddProcessImage_NoSplit_x1(&this->destination, &this->source, handed.data(),
                                                            6, nullptr, nullptr, 0, 2, false, 4),
              0);
    EXPECT_TRUE(SameBits(handed, psf));
}

/// Of an odd PSF the last row and column have no effect.
TYPED_TEST(RichardsonLucy2D, OddPsfsLoseTheirLastRowAndColumn_stays) {
    PictureCall odd = OrdinaryCall();
    odd.psf = LopsidedPsf(7);
    odd.psfSide = 7;
    PictureCall changed = odd;
    for (unsigned n = 0; n < 7; ++n) changed.psf[n * 7 + 6] = changed.psf[6 * 7 + n] = 100.0f;
    for (const RichardsonLucy method : kMethods) {
        TypeParam other(40, 33);
        EXPECT_EQ(RestoreWhole(method, &this->destination, &this->source, odd), 0);
        EXPECT_EQ(RestoreWhole(method, &other, &this->source, changed), 0);
        EXPECT_EQ(AllBytes(this->destination), AllBytes(other)) << method;
    }
}

TYPED_TEST(RichardsonLucy2D, BitsDoNotDependOnTheThreadCount) {
    for (const RichardsonLucy method : kMethods) {
        std::vector<unsigned char> first;
        for (const int threads : {1, 2, 5}) {
            const ThreadCount scope(threads);
            EXPECT_EQ(RestoreWhole(method, &this->destination, &this->source, OrdinaryCall()), 0);
            if (threads == 1) first = AllBytes(this->destination);
            EXPECT_EQ(AllBytes(this->destination), first) << method << ' ' << threads;
        }
    }
}

TEST(RichardsonLucy2DFloats, NegativePicturesBecomeBlack) {
    FloatPicture source(48, 48);
    source.Fill([](unsigned x, unsigned) { return -5.0 - x; });
    for (const RichardsonLucy method : kMethods) {
        FloatPicture restored(48, 48);
        EXPECT_EQ(RestoreWhole(method, &restored, &source, OrdinaryCall()), 0);
        EXPECT_TRUE(SameBits(restored.Samples(), std::vector<float>(48 * 48, 0.0f))) << method;
    }
}

// ---- grids ------------------------------------------------------------------------------------------------

TYPED_TEST(RichardsonLucy2D, AGridOfOneTileIsTheWholePicture) {
    for (const RichardsonLucy method : kMethods) {
        TypeParam tiled(40, 33);
        CRyUintRange range(100, 200);
        unsigned done = 0;
        EXPECT_EQ(RestoreWhole(method, &this->destination, &this->source, OrdinaryCall(5), &done), 0);
        EXPECT_EQ(RestoreTiles(method, &tiled, &this->source, OrdinaryCall(5), 1, 1, &range), 0);
        EXPECT_EQ(AllBytes(tiled), AllBytes(this->destination)) << method;
        if (method == kTM) {
            EXPECT_EQ(range.uiMin, done);
            EXPECT_EQ(range.uiMax, done);
        }
    }
}

/// Tiles of 60 by 33 pixels, restored with 50 more on the inner side.
TYPED_TEST(RichardsonLucy2D, TilesAreRestoredOnTheirOwn) {
    TypeParam picture(120, 33);
    picture.Fill(Scene);
    TypeParam tile(110, 33);
    tile.Fill([](unsigned x, unsigned y) { return Scene(x + 10, y); });
    for (const RichardsonLucy method : kMethods) {
        SCOPED_TRACE(method);
        TypeParam restored(120, 33);
        TypeParam restoredTile(110, 33);
        CRyUintRange range(100, 200);
        ProgressLog log;
        PictureCall call = OrdinaryCall(4);
        call.log = &log;
        EXPECT_EQ(RestoreTiles(method, &restored, &picture, call, 2, 1, &range), 0);
        EXPECT_EQ(log.Calls().size(), 8u);
        EXPECT_EQ(RestoreWhole(method, &restoredTile, &tile, OrdinaryCall(4)), 0);
        for (unsigned y = 0; y < 33; ++y) {
            for (unsigned x = 60; x < 120; ++x) ASSERT_EQ(restored.Get(x, y), restoredTile.Get(x - 10, y));
        }
        if (method == kTM) {
            EXPECT_EQ(range.uiMin, 0u);
            EXPECT_EQ(range.uiMax, 4u);
        }
    }
}

TYPED_TEST(RichardsonLucy2D, AStopInTheThirdTileLeavesItBlackAndTheFourthUntouched_stays) {
    TypeParam picture(120, 110);
    picture.Fill(Scene);
    for (const RichardsonLucy method : kMethods) {
        SCOPED_TRACE(method);
        TypeParam restored(120, 110);
        const auto untouched = restored.Get(119, 109);
        ProgressLog log(2 * 2 + 1);
        PictureCall call = OrdinaryCall(2);
        call.log = &log;
        CRyUintRange range;
        EXPECT_EQ(RestoreTiles(method, &restored, &picture, call, 2, 2, &range), -9);
        EXPECT_EQ(log.Calls().size(), 6u);
        for (unsigned x = 0; x < 120; ++x) {
            ASSERT_GT(restored.Get(x, 54), 5) << "one and two";
            if (x < 60) {
                ASSERT_EQ(restored.Get(x, 55), 0) << "three";
            } else {
                ASSERT_EQ(restored.Get(x, 55), untouched) << "four";
            }
        }
        EXPECT_EQ(range.uiMax, method == kTM ? 2u : CRyUintRange().uiMax);
    }
}

TYPED_TEST(RichardsonLucy2D, ThinTilesAreRejectedByTheMethod) {
    TypeParam picture(20, 20);
    picture.Fill(Scene);
    for (const RichardsonLucy method : kMethods) {
        TypeParam restored(20, 20);
        EXPECT_EQ(RestoreTiles(method, &restored, &picture, OrdinaryCall(1), 2, 1), 0);
        EXPECT_EQ(RestoreTiles(method, &restored, &picture, OrdinaryCall(1), 0, 1), 0);
    }
    TypeParam thin(20, 15);
    for (const RichardsonLucy method : kMethods) {
        TypeParam restored(20, 15);
        EXPECT_EQ(RestoreTiles(method, &restored, &thin, OrdinaryCall(1), 2, 1), -2);
    }
}

// ---- total variation --------------------------------------------------------------------------------------

using gnr::detail::Clipping;
using gnr::detail::ClippingOf;
using gnr::detail::TotalVariationTerm;
using gnr::detail::WeightOf;

TEST(TotalVariation2D, WeightsOfStrengths) {
    EXPECT_EQ(WeightOf(TotalVariationTerm::kLaplacian, 10), 30.0f * -2e-05f * 30.0f);
    EXPECT_FLOAT_EQ(WeightOf(TotalVariationTerm::kLaplacian, 10), -0.018f);
    EXPECT_EQ(WeightOf(TotalVariationTerm::kDirection, 10), 30.0f * 0.0001f * 30.0f);
    EXPECT_FLOAT_EQ(WeightOf(TotalVariationTerm::kDirection, 10), 0.09f);
    EXPECT_FLOAT_EQ(WeightOf(TotalVariationTerm::kDirection, -7),
                    -5.0f * WeightOf(TotalVariationTerm::kLaplacian, 7));
}

/// From 29 on the denominator of the direction form can be 0.
TEST(TotalVariation2D, DirectionWeightsPassTheirPoleAt29) {
    const auto pole = static_cast<float>(1 / std::sqrt(2.0));
    EXPECT_LT(WeightOf(TotalVariationTerm::kDirection, 28), pole);
    EXPECT_GT(WeightOf(TotalVariationTerm::kDirection, 29), pole);
}

TEST(TotalVariation2D, ThriceAStrengthIsTakenModulo32Bits_stays) {
    const float s = 536870912.0f;  // 3 * 0x60000000 - 2^32
    EXPECT_EQ(WeightOf(TotalVariationTerm::kDirection, 0x60000000), s * 0.0001f * s);
}

TEST(TotalVariation2D, OnlyTheDirectionFormOnIntegersClipsBeforeItAsks_stays) {
    EXPECT_EQ(ClippingOf<SRyPicBuf>(TotalVariationTerm::kDirection), Clipping::kBeforePoll);
    EXPECT_EQ(ClippingOf<SRyFloatPicBuf>(TotalVariationTerm::kDirection), Clipping::kAfterPoll);
    EXPECT_EQ(ClippingOf<SRyPicBuf>(TotalVariationTerm::kLaplacian), Clipping::kAfterPoll);
    EXPECT_EQ(ClippingOf<SRyFloatPicBuf>(TotalVariationTerm::kLaplacian), Clipping::kAfterPoll);
}

/// What the callback could see of the order, and that a run that goes on doesn't depend on it.
TEST(TotalVariation2D, ClippingStandsWhereItIsTold) {
    FloatPicture source(40, 33);
    source.Fill([](unsigned x, unsigned y) { return Scene(x, y) - (x < 4 ? 300.0 : 0.0); });
    const std::vector<float> psf = LopsidedPsf(6);
    const auto estimateAfter = [&](Clipping clipping, int stopAt) {
        const gnr::detail::RichardsonLucyFrames frames(source.record(), {psf.data(), 6});
        frames.Observe();
        ProgressLog log(stopAt);
        const bool done = gnr::detail::IterateTotalVariation(
            frames, {TotalVariationTerm::kDirection, 4, 2},
            {gnr::detail::kPictureDeconvolution, &ProgressLog::Record, &log}, clipping);
        EXPECT_EQ(done, stopAt < 0);
        return Frame(frames.x(), frames.x() + std::size_t{frames.W()} * frames.H());
    };
    const auto least = [](const Frame& x) { return *std::min_element(x.begin(), x.end()); };
    EXPECT_EQ(least(estimateAfter(Clipping::kBeforePoll, 0)), 0.0f);
    EXPECT_LT(least(estimateAfter(Clipping::kAfterPoll, 0)), -10.0f);
    EXPECT_TRUE(SameBits(estimateAfter(Clipping::kBeforePoll, -1), estimateAfter(Clipping::kAfterPoll, -1)));
}

}  // namespace
