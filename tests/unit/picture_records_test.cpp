// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <ry_picture/ry_picture.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "support/pictures.h"

namespace {

using namespace gnr::test;

static_assert(std::is_aggregate_v<SRyPicBuf> && std::is_trivial_v<SRyPicBuf>);
static_assert(std::is_aggregate_v<SRyFloatPicBuf> && std::is_trivial_v<SRyFloatPicBuf>);
static_assert(offsetof(SRyPicBuf, uiWidth) == 0 && offsetof(SRyPicBuf, uiHeight) == 4 &&
              offsetof(SRyPicBuf, uiPitch) == 8 && offsetof(SRyPicBuf, ucBits) == 12 &&
              offsetof(SRyPicBuf, uiComponents) == 16 && offsetof(SRyPicBuf, ullSize) == 24 &&
              offsetof(SRyPicBuf, pData) == 32);
static_assert(offsetof(SRyFloatPicBuf, uiFlags) == 0 && offsetof(SRyFloatPicBuf, uiWidth) == 4 &&
              offsetof(SRyFloatPicBuf, uiHeight) == 8 && offsetof(SRyFloatPicBuf, uiReserved) == 12 &&
              offsetof(SRyFloatPicBuf, uiComponents) == 16 && offsetof(SRyFloatPicBuf, pData) == 24);

/// A whole-number picture of w by h, filled with 1, 2, 3, ...
template <class Picture>
void Number(Picture& picture) {
    unsigned n = 0;
    picture.Fill([&](unsigned, unsigned) { return static_cast<double>(++n); });
}

TEST(IntegerPictureRecord, InitEmptiesAndFreeIsHarmlessThen) {
    SRyPicBuf pic = {1, 2, 3, 4, 5, 6, &pic};
    CRyPicBufAPI::Init(&pic);
    EXPECT_EQ(pic.uiWidth, 0u);
    EXPECT_EQ(pic.ullSize, 0u);
    EXPECT_EQ(pic.pData, nullptr);
    CRyPicBufAPI::Free(&pic);
    CRyPicBufAPI::Free(&pic);
    EXPECT_EQ(pic.pData, nullptr);
}

TEST(IntegerPictureRecord, ReinitGivesZeroedRowsOfTheGeometry) {
    SRyPicBuf pic;
    CRyPicBufAPI::Init(&pic);
    for (const unsigned bits : {8u, 12u, 16u}) {
        ASSERT_EQ(CRyPicBufAPI::Reinit(&pic, 37, 11, 0, static_cast<std::uint8_t>(bits), 3, true), 0);
        const unsigned sampleBytes = bits == 8 ? 1 : 2;
        EXPECT_EQ(pic.uiWidth, 37u);
        EXPECT_EQ(pic.uiHeight, 11u);
        EXPECT_EQ(pic.ucBits, bits);
        EXPECT_EQ(pic.uiComponents, 3u);
        EXPECT_GE(pic.uiPitch, 37u * 3 * sampleBytes);
        EXPECT_EQ(pic.ullSize, std::uint64_t{pic.uiPitch} * 11);
        auto* const bytes = static_cast<unsigned char*>(pic.pData);
        EXPECT_TRUE(std::all_of(bytes, bytes + pic.ullSize, [](unsigned char b) { return b == 0; }));
        std::fill_n(bytes, pic.ullSize, kSentinelByte);
    }
    CRyPicBufAPI::Free(&pic);
    EXPECT_EQ(pic.pData, nullptr);
    EXPECT_EQ(pic.uiWidth, 0u);
}

TEST(IntegerPictureRecord, SizesThatCannotBeHadLeaveAnEmptyRecord) {
    SRyPicBuf pic;
    CRyPicBufAPI::Init(&pic);
    constexpr std::uint32_t kMost = 0xffffffffu;
    for (const std::uint8_t bits : {std::uint8_t{8}, std::uint8_t{16}}) {
        ASSERT_EQ(CRyPicBufAPI::Reinit(&pic, 4, 4, 0, bits, 1, true), 0);
        EXPECT_EQ(CRyPicBufAPI::Reinit(&pic, kMost, kMost, 0, bits, kMost, true), -3);
        EXPECT_EQ(pic.pData, nullptr);
        EXPECT_EQ(pic.uiWidth, 0u);
        EXPECT_EQ(CRyPicBufAPI::Reinit(&pic, kMost / 2 + 1, 1, 0, bits, 2, true), -3) << "pitch";
        EXPECT_EQ(CRyPicBufAPI::Reinit(&pic, 0x7fffffff, kMost, 0, bits, 1, true), -3) << "bytes";
    }
}

TEST(FloatPictureRecord, ReinitGivesZeroedRowsWithoutGaps) {
    SRyFloatPicBuf pic;
    CRyFloatPicBufAPI::Init(&pic);
    ASSERT_EQ(CRyFloatPicBufAPI::Reinit(&pic, 13, 7, 0, 2, true), 0);
    EXPECT_EQ(pic.uiWidth, 13u);
    EXPECT_EQ(pic.uiHeight, 7u);
    EXPECT_EQ(pic.uiComponents, 2u);
    EXPECT_TRUE(std::all_of(pic.pData, pic.pData + 13 * 7 * 2, [](float v) { return v == 0.0f; }));
    constexpr std::uint32_t kMost = 0xffffffffu;
    EXPECT_EQ(CRyFloatPicBufAPI::Reinit(&pic, kMost, kMost, 0, 1, true), -3);
    EXPECT_EQ(pic.pData, nullptr);
    EXPECT_EQ(pic.uiWidth, 0u);
    CRyFloatPicBufAPI::Free(&pic);
}

/// What CopyRect(to, size, from) leaves, pixel by pixel.
struct Copy {
    unsigned toX, toY, width, height, fromX, fromY;
};

class CopyRects : public testing::TestWithParam<Copy> {
  protected:
    /// The source's pixel for the destination's (x, y), or false.
    static bool Comes(unsigned x, unsigned y, unsigned& fromX, unsigned& fromY) {
        const Copy& c = GetParam();
        if (x < c.toX || y < c.toY || x - c.toX >= c.width || y - c.toY >= c.height) return false;
        const std::uint64_t sx = std::uint64_t{x} - c.toX + c.fromX;
        const std::uint64_t sy = std::uint64_t{y} - c.toY + c.fromY;
        if (sx >= 9 || sy >= 8) return false;
        fromX = static_cast<unsigned>(sx);
        fromY = static_cast<unsigned>(sy);
        return true;
    }
};

TEST_P(CopyRects, ClipToBothIntegerPictures) {
    const Copy& c = GetParam();
    for (const unsigned bits : {8u, 13u}) {
        IntegerPicture source(9, 8, bits, 4);
        Number(source);
        IntegerPicture destination(7, 10, bits, 6);
        const std::vector<unsigned char> before = destination.Bytes();
        const unsigned untouched = destination.Get(0, 0);
        ASSERT_EQ(
            CRyPicBufAPI::CopyRect(c.toX, c.toY, c.width, c.height, &destination, c.fromX, c.fromY, &source),
            0);
        for (unsigned y = 0; y < 10; ++y) {
            for (unsigned x = 0; x < 7; ++x) {
                unsigned fromX = 0;
                unsigned fromY = 0;
                const bool comes = Comes(x, y, fromX, fromY);
                ASSERT_EQ(destination.Get(x, y), comes ? source.Get(fromX, fromY) : untouched)
                    << x << ' ' << y;
            }
        }
        for (unsigned y = 0; y < 10; ++y) {
            const std::size_t row = std::size_t{y} * destination.record().uiPitch;
            for (std::size_t gap = destination.record().uiPitch - 6; gap < destination.record().uiPitch;
                 ++gap) {
                ASSERT_EQ(destination.Bytes()[row + gap], kSentinelByte) << "gap of row " << y;
            }
        }
    }
}

TEST_P(CopyRects, ClipToBothFloatPictures) {
    const Copy& c = GetParam();
    FloatPicture source(9, 8);
    Number(source);
    FloatPicture destination(7, 10);
    ASSERT_EQ(
        CRyFloatPicBufAPI::CopyRect(c.toX, c.toY, c.width, c.height, &destination, c.fromX, c.fromY, &source),
        0);
    for (unsigned y = 0; y < 10; ++y) {
        for (unsigned x = 0; x < 7; ++x) {
            unsigned fromX = 0;
            unsigned fromY = 0;
            const bool comes = Comes(x, y, fromX, fromY);
            ASSERT_EQ(destination.Get(x, y), comes ? source.Get(fromX, fromY) : FloatPicture::kSentinel);
        }
    }
}

constexpr unsigned kHuge = 0xfffffff0u;
INSTANTIATE_TEST_SUITE_P(Rectangles, CopyRects,
                         testing::Values(Copy{0, 0, 7, 8, 0, 0}, Copy{2, 3, 4, 5, 1, 2},
                                         Copy{0, 0, 0, 5, 0, 0}, Copy{0, 0, 5, 0, 0, 0},
                                         Copy{5, 8, 9, 9, 0, 0}, Copy{0, 0, 9, 9, 6, 7},
                                         Copy{0, 0, kHuge, kHuge, 0, 0}, Copy{kHuge, 0, 3, 3, 0, 0},
                                         Copy{0, 0, 3, 3, kHuge, 1}, Copy{1, 1, kHuge, 2, 8, 0},
                                         Copy{7, 0, 1, 1, 0, 0}, Copy{0, 0, 1, 1, 9, 0},
                                         Copy{0, kHuge, kHuge, kHuge, 0, kHuge}));

TEST(CopyRectOfUnlikePictures, CopiesNothing) {
    IntegerPicture one(4, 4, 8);
    Number(one);
    IntegerPicture two(4, 4, 8, 0, 2);
    IntegerPicture wide(4, 4, 16);
    const std::vector<unsigned char> before = two.Bytes();
    EXPECT_EQ(CRyPicBufAPI::CopyRect(0, 0, 4, 4, &two, 0, 0, &one), -4);
    EXPECT_EQ(two.Bytes(), before);
    const std::vector<unsigned char> wideBefore = wide.Bytes();
    EXPECT_EQ(CRyPicBufAPI::CopyRect(0, 0, 4, 4, &wide, 0, 0, &one), -4);
    EXPECT_EQ(wide.Bytes(), wideBefore);
    FloatPicture a(3, 3);
    FloatPicture b(3, 3, 2);
    EXPECT_EQ(CRyFloatPicBufAPI::CopyRect(0, 0, 3, 3, &b, 0, 0, &a), -4);
}

TEST(CopyRectOfUnlikePictures, BitsOfOneSampleSizeAreAlike) {
    IntegerPicture from(4, 4, 10);
    Number(from);
    IntegerPicture to(4, 4, 16);
    EXPECT_EQ(CRyPicBufAPI::CopyRect(0, 0, 4, 4, &to, 0, 0, &from), 0);
    EXPECT_EQ(to.Get(3, 3), 16u);
}

TEST(CopyRectOfEmptyRecords, CopiesNothing) {
    SRyPicBuf empty;
    CRyPicBufAPI::Init(&empty);
    IntegerPicture picture(4, 4);
    const std::vector<unsigned char> before = picture.Bytes();
    CRyPicBufAPI::CopyRect(0, 0, 4, 4, &picture, 0, 0, &empty);
    CRyPicBufAPI::CopyRect(0, 0, 4, 4, &empty, 0, 0, &picture);
    EXPECT_EQ(picture.Bytes(), before);
    // Sides without samples, as a host may leave them.
    empty = {4, 4, 4, 8, 1, 0, nullptr};
    CRyPicBufAPI::CopyRect(0, 0, 4, 4, &picture, 0, 0, &empty);
    CRyPicBufAPI::CopyRect(0, 0, 4, 4, &empty, 0, 0, &picture);
    EXPECT_EQ(picture.Bytes(), before);

    SRyFloatPicBuf none;
    CRyFloatPicBufAPI::Init(&none);
    FloatPicture floats(4, 4);
    const std::vector<float> floatsBefore = floats.Samples();
    CRyFloatPicBufAPI::CopyRect(0, 0, 4, 4, &floats, 0, 0, &none);
    CRyFloatPicBufAPI::CopyRect(0, 0, 4, 4, &none, 0, 0, &floats);
    EXPECT_EQ(floats.Samples(), floatsBefore);
}

TEST(CopyRectOfSeveralComponents, MovesWholePixels) {
    IntegerPicture from(3, 2, 8, 1, 2);
    for (unsigned x = 0; x < 3; ++x) {
        for (unsigned k = 0; k < 2; ++k) from.Set(x, 1, 10.0 * x + k, k);
    }
    IntegerPicture to(3, 2, 8, 0, 2);
    EXPECT_EQ(CRyPicBufAPI::CopyRect(0, 0, 2, 1, &to, 1, 1, &from), 0);
    EXPECT_EQ(to.Get(0, 0, 0), 10u);
    EXPECT_EQ(to.Get(0, 0, 1), 11u);
    EXPECT_EQ(to.Get(1, 0, 1), 21u);
    EXPECT_EQ(to.Get(2, 0, 0), kSentinelByte);
}

}  // namespace
