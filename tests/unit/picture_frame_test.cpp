// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

#include "driver/preparation.h"
#include "kernels/frame_blocks.h"
#include "support/bits.h"
#include "support/pictures.h"
#include "support/ref/picture_frame.h"
#include "support/refused_alloc.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// ---- sizes -----------------------------------------------------------------------------------------------

TEST(FrameSizes, PowersOfTwoNotBelowThePaddedSides) {
    unsigned W = 0;
    unsigned H = 0;
    unsigned x = 0;
    unsigned y = 0;
    PaddedSizePow2(&W, &H, &x, &y, 176, 177, 80);
    EXPECT_EQ(W, 256u);
    EXPECT_EQ(x, 8u);
    EXPECT_EQ(H, 512u);
    EXPECT_EQ(y, 9u);
    const FrameSize least = TransformFrame(16, 48, kMargin);
    EXPECT_EQ(least.width, 128u);
    EXPECT_EQ(least.height, 128u);
    EXPECT_EQ(TransformFrame(16, 49, kMargin).height, 256u);
    EXPECT_EQ(TransformFrame(34, 35, kBlindMargin).width, 64u);
    EXPECT_EQ(TransformFrame(34, 35, kBlindMargin).height, 128u);
}

TEST(FrameSizes, MultiplesOf32StayAsTheyAre) {
    unsigned W = 1;
    unsigned H = 1;
    unsigned zero1 = 1;
    unsigned zero2 = 1;
    PaddedSize32(&W, &H, &zero1, &zero2, 48, 49, 80);
    EXPECT_EQ(W, 128u);
    EXPECT_EQ(H, 160u);
    EXPECT_EQ(zero1, 0u);
    EXPECT_EQ(zero2, 0u);
    EXPECT_EQ(WaveletFrame(16, 80, kMargin).width, 96u);
    EXPECT_EQ(WaveletFrame(16, 80, kMargin).height, 160u);
}

TEST(FrameSizes, BeyondTheGreatestThereIsNoFrame) {
    const unsigned most = 1u << kGreatestOrder;
    EXPECT_TRUE(TransformFrame(most - 80, 16, kMargin).IsUsable());
    EXPECT_TRUE(WaveletFrame(most - 80, 16, kMargin).IsUsable());
    for (const unsigned side : {most - 79, 0x7fffffffu, 0xffffffffu - 79, 0xffffffffu}) {
        EXPECT_FALSE(TransformFrame(side, 16, kMargin).IsUsable()) << side;
        EXPECT_FALSE(TransformFrame(16, side, kMargin).IsUsable()) << side;
        EXPECT_FALSE(WaveletFrame(side, 16, kMargin).IsUsable()) << side;
        EXPECT_FALSE(WaveletFrame(16, side, kMargin).IsUsable()) << side;
    }
}

// ---- border ----------------------------------------------------------------------------------------------

/// The three kinds of samples, gaps between rows where there may be some.
struct EightBit : IntegerPicture {
    EightBit(unsigned w, unsigned h) : IntegerPicture(w, h, 8, 3) {}
};
struct TenBit : IntegerPicture {
    TenBit(unsigned w, unsigned h) : IntegerPicture(w, h, 10, 2) {}
};

template <class Picture>
class PictureFrames : public testing::Test {
  public:
    static constexpr bool kIsFloat = std::is_same_v<Picture, FloatPicture>;
    static constexpr double kGreatest = std::is_same_v<Picture, EightBit> ? 255.0 : 1023.0;

    /// What a value becomes as a sample.
    static double AsSample(double v) {
        return kIsFloat ? gnr::ref::AsFloat(v) : gnr::ref::AsInteger(v, kGreatest);
    }
};
using Pictures = testing::Types<EightBit, TenBit, FloatPicture>;
TYPED_TEST_SUITE(PictureFrames, Pictures);

TYPED_TEST(PictureFrames, BorderIsRepeatedOutwardsCornersIncluded) {
    constexpr int w = 17;
    constexpr int h = 13;
    for (const int d : {0, 1, 6}) {
        const int W = w + 2 * d;
        const int H = h + 2 * d;
        TypeParam picture(static_cast<unsigned>(W), static_cast<unsigned>(H));
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                picture.Set(static_cast<unsigned>(x + d), static_cast<unsigned>(y + d), 3 * x + 11 * y + 1);
            }
        }
        ReplicateBorder(picture.record(), static_cast<unsigned>(d));
        const gnr::ref::Picture expected =
            gnr::ref::FrameOf(w, h, d, W, H, [](int x, int y) { return 3 * x + 11 * y + 1; });
        for (int y = 0; y < H; ++y) {
            for (int x = 0; x < W; ++x) {
                ASSERT_EQ(picture.Get(static_cast<unsigned>(x), static_cast<unsigned>(y)), expected.at(x, y))
                    << d << ": " << x << ' ' << y;
            }
        }
    }
}

TYPED_TEST(PictureFrames, SamplesBecomeFloatsAsTheyAre) {
    TypeParam picture(19, 7);
    picture.Fill(Scene);
    Frame frame(19 * 7 + 1, -1.0f);
    PicBufToFloat(frame.data(), 19, 7, picture.record());
    for (unsigned y = 0; y < 7; ++y) {
        for (unsigned x = 0; x < 19; ++x) ASSERT_EQ(frame[y * 19 + x], static_cast<float>(picture.Get(x, y)));
    }
    EXPECT_EQ(frame.back(), -1.0f);
}

TYPED_TEST(PictureFrames, FloatsBecomeSamplesCutAndNotRounded) {
    const std::vector<float> values = {-3.0f,    -0.0f,  0.0f,    0.999f,     1.0f,    7.5f,    7.999f,
                                       254.99f,  255.0f, 255.5f,  256.0f,     1022.9f, 1023.0f, 1023.5f,
                                       70000.0f, 5e9f,   -1e-30f, -kInfinity, 1e-30f};
    const auto n = static_cast<unsigned>(values.size());
    TypeParam picture(n, 2);
    Frame frame = values;
    frame.insert(frame.end(), values.rbegin(), values.rend());
    FloatToPicBuf(picture.record(), frame.data(), n, 2);
    for (unsigned i = 0; i < n; ++i) {
        EXPECT_EQ(picture.Get(i, 0), TestFixture::AsSample(values[i])) << values[i];
        EXPECT_EQ(picture.Get(n - 1 - i, 1), TestFixture::AsSample(values[i])) << values[i];
    }
}

TEST(SampleRange, OfTwoBytesFollowsTheBits) {
    const Frame frame(1, 1e9f);
    for (const auto& [bits, greatest] :
         {std::pair{9u, 511u}, std::pair{12u, 4095u}, std::pair{16u, 65535u}, std::pair{1u, 1u},
          std::pair{0u, 0u}, std::pair{7u, 127u}, std::pair{17u, 65535u}, std::pair{200u, 65535u}}) {
        IntegerPicture picture(1, 1, bits);
        FloatToPicBuf(picture.record(), frame.data(), 1, 1);
        EXPECT_EQ(picture.Get(0, 0), greatest) << bits;
    }
}

TEST(SampleRange, NoNumberIs0InIntegersAndStaysInFloats) {
    const Frame frame = {kNoNumber, kInfinity};
    for (const unsigned bits : {8u, 16u}) {
        IntegerPicture picture(2, 1, bits);
        FloatToPicBuf(picture.record(), frame.data(), 2, 1);
        EXPECT_EQ(picture.Get(0, 0), 0u);
        EXPECT_EQ(picture.Get(1, 0), picture.Greatest());
    }
    FloatPicture picture(2, 1);
    FloatToPicBuf(picture.record(), frame.data(), 2, 1);
    EXPECT_TRUE(std::isnan(picture.Get(0, 0)));
    EXPECT_EQ(picture.Get(1, 0), kInfinity);
}

TEST(SampleRows, GapsBetweenThemStay) {
    for (const unsigned bits : {8u, 16u}) {
        IntegerPicture picture(5, 4, bits, 6);
        const Frame frame(20, 3.0f);
        FloatToPicBuf(picture.record(), frame.data(), 5, 4);
        ReplicateBorder(picture.record(), 1);
        const unsigned pitch = picture.record().uiPitch;
        for (unsigned y = 0; y < 4; ++y) {
            for (unsigned n = pitch - 6; n < pitch; ++n)
                EXPECT_EQ(picture.Bytes()[y * pitch + n], kSentinelByte);
        }
    }
}

// ---- preparation and delivery ----------------------------------------------------------------------------

TYPED_TEST(PictureFrames, PreparationLaysTheSourceIntoTheFrame) {
    for (const unsigned margin : {kMargin, kBlindMargin}) {
        constexpr unsigned w = 23;
        constexpr unsigned h = 18;
        TypeParam source(w, h);
        source.Fill(Scene);
        for (const FrameSize& size : {TransformFrame(w, h, margin), WaveletFrame(w, h, margin)}) {
            OwnedPicture<typename TypeParam::Record> picture;
            ASSERT_TRUE(LayIntoFrame(picture, source.record(), margin, size));
            Frame frame(std::size_t{size.width} * size.height);
            PicBufToFloat(frame.data(), size.width, size.height, *picture);
            const gnr::ref::Picture expected = gnr::ref::FrameOf(
                w, h, static_cast<int>(margin), static_cast<int>(size.width), static_cast<int>(size.height),
                [&](int x, int y) { return source.Get(static_cast<unsigned>(x), static_cast<unsigned>(y)); });
            for (std::size_t n = 0; n < frame.size(); ++n) ASSERT_EQ(frame[n], expected.values[n]) << n;
        }
    }
}

TYPED_TEST(PictureFrames, DeliveryWritesTheSourcesPlaceAndNothingElse) {
    constexpr unsigned w = 20;
    constexpr unsigned h = 17;
    const FrameSize size = TransformFrame(w, h, kMargin);
    Frame frame(std::size_t{size.width} * size.height, 200.0f);
    for (unsigned y = 0; y < h; ++y) {
        for (unsigned x = 0; x < w; ++x)
            frame[(y + 40) * size.width + x + 40] = static_cast<float>(x + 5 * y) - 4.5f;
    }
    TypeParam source(w, h);
    TypeParam destination(w, h);
    ASSERT_TRUE(Deliver(destination.record(), source.record(), kMargin, size, frame.data()));
    for (unsigned y = 0; y < h; ++y) {
        for (unsigned x = 0; x < w; ++x) {
            ASSERT_EQ(destination.Get(x, y), TestFixture::AsSample(static_cast<double>(x + 5 * y) - 4.5));
        }
    }
}

TYPED_TEST(PictureFrames, DestinationDecidesHowMuchIsDelivered) {
    const FrameSize size = TransformFrame(20, 20, kMargin);
    const Frame frame(std::size_t{size.width} * size.height, 9.0f);
    TypeParam source(20, 20);
    TypeParam larger(400, 20);
    ASSERT_TRUE(Deliver(larger.record(), source.record(), kMargin, size, frame.data()));
    const auto fresh = TypeParam(1, 1).Get(0, 0);
    EXPECT_EQ(larger.Get(size.width - 41, 3), 9.0f);
    EXPECT_EQ(larger.Get(size.width - 40, 3), fresh) << "beyond the frame";
}

TYPED_TEST(PictureFrames, PreparationAndDeliveryWithoutMemoryFailAndKeepNothing) {
    TypeParam source(20, 20);
    source.Fill(Scene);
    const FrameSize size = TransformFrame(20, 20, kMargin);
    const Frame frame(std::size_t{size.width} * size.height);
    TypeParam destination(20, 20);
    const auto sentinel = destination.Get(3, 3);
    const auto expectFailure = [](int code) { EXPECT_EQ(code, -9); };
    EXPECT_EQ(RefuseEachBlock(
                  1,
                  [&] {
                      OwnedPicture<typename TypeParam::Record> picture;
                      return LayIntoFrame(picture, source.record(), kMargin, size) ? 0 : -9;
                  },
                  expectFailure),
              2);
    const auto deliver = [&] {
        return Deliver(destination.record(), source.record(), kMargin, size, frame.data()) ? 0 : -9;
    };
    {
        const RefusedAlloc refusal(0);
        EXPECT_EQ(deliver(), -9);
    }
    EXPECT_EQ(destination.Get(3, 3), sentinel);
    EXPECT_EQ(RefuseEachBlock(1, deliver, expectFailure), 1);
}

TYPED_TEST(PictureFrames, SizesThatCannotBeHadFail) {
    typename TypeParam::Record source = TypeParam(16, 16).record();
    source.uiWidth = 0xffffffffu;
    source.pData = nullptr;
    EXPECT_EQ(CheckPicture(source), 0);
    OwnedPicture<typename TypeParam::Record> picture;
    EXPECT_FALSE(LayIntoFrame(picture, source, kMargin, TransformFrame(source.uiWidth, 16, kMargin)));
}

TEST(PictureCheck, WantsOneComponentAndSidesOf16) {
    for (const auto& [w, h, components, code] :
         {std::tuple{16u, 16u, 1u, 0}, std::tuple{15u, 16u, 1u, -2}, std::tuple{16u, 15u, 1u, -2},
          std::tuple{64u, 64u, 2u, -2}, std::tuple{64u, 64u, 3u, -2}, std::tuple{64u, 64u, 0u, -2},
          std::tuple{0u, 0u, 1u, -2}}) {
        SRyPicBuf integer = {w, h, w, 8, components, 0, nullptr};
        SRyFloatPicBuf floats = {0, w, h, 0, components, nullptr};
        EXPECT_EQ(CheckPicture(integer), code) << w << ' ' << h << ' ' << components;
        EXPECT_EQ(CheckPicture(floats), code) << w << ' ' << h << ' ' << components;
    }
}

TEST(FrameMemory, AbsurdSizesAreNull) {
    EXPECT_EQ(NewFrame<float>(0xffffffffu, 0xffffffffu, Contents::kUnknown), nullptr);
    EXPECT_EQ(NewFrame<double>(0xffffffffu, 0x80000000u, Contents::kZero), nullptr);
}

TEST(FrameMemory, IsZeroWhereItShallBe) {
    const auto frame = NewFrame<double>(30, 20, Contents::kZero);
    EXPECT_TRUE(std::all_of(frame.get(), frame.get() + 600, [](double v) { return v == 0.0; }));
}

TEST(FrameMemory, OneMissingFrameMakesTheSetUnusable) {
    for (int number = 0; number < 3; ++number) {
        const RefusedAlloc refusal(number);
        const FrameBlocks<3> frames(8, 8, Contents::kUnknown);
        EXPECT_FALSE(frames);
    }
    EXPECT_TRUE((FrameBlocks<3, double>(8, 8, Contents::kZero)));
}

}  // namespace
