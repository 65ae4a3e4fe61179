// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "support/picture_jobs.h"
#include "support/refused_alloc.h"
#include "support/richardson_lucy_pictures.h"

namespace {

using namespace gnr::test;

template <class Picture>
class RichardsonLucy2D : public RichardsonLucyOnPictures<Picture> {};
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

}  // namespace
