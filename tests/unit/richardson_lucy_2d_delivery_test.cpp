// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>

#include "support/bits.h"
#include "support/picture_jobs.h"
#include "support/richardson_lucy_pictures.h"
#include "support/threads.h"

namespace {

using namespace gnr::test;

template <class Picture>
class RichardsonLucy2DDelivery : public RichardsonLucyOnPictures<Picture> {};
TYPED_TEST_SUITE(RichardsonLucy2DDelivery, BothKinds);

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

TYPED_TEST(RichardsonLucy2DDelivery, ThePsfIsOnlyRead) {
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
TYPED_TEST(RichardsonLucy2DDelivery, OddPsfsLoseTheirLastRowAndColumn_stays) {
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

TYPED_TEST(RichardsonLucy2DDelivery, BitsDoNotDependOnTheThreadCount) {
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

TYPED_TEST(RichardsonLucy2DDelivery, AGridOfOneTileIsTheWholePicture) {
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
TYPED_TEST(RichardsonLucy2DDelivery, TilesAreRestoredOnTheirOwn) {
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

TYPED_TEST(RichardsonLucy2DDelivery, AStopInTheThirdTileLeavesItBlackAndTheFourthUntouched_stays) {
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

TYPED_TEST(RichardsonLucy2DDelivery, ThinTilesAreRejectedByTheMethod) {
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

}  // namespace
