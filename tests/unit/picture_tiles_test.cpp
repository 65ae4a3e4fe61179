// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "driver/preparation.h"
#include "driver/tiles.h"
#include "support/pictures.h"
#include "support/refused_alloc.h"

namespace {

using namespace gnr::detail;
using namespace gnr::test;

/// Along one axis: first and size of output, first and size of input, and what is skipped.
testing::AssertionResult Spans(const TileSpan& t, std::int64_t first, std::int64_t output,
                               std::int64_t inputFirst, std::int64_t input, std::int64_t skipped) {
    if (t.first == first && t.outputSize == output && t.inputFirst == inputFirst && t.inputSize == input &&
        t.skipped == skipped) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << t.first << '+' << t.outputSize << " from " << t.inputFirst << '+'
                                       << t.inputSize << ", skipped " << t.skipped;
}

TEST(TileAxis, OutputEndsWithThePicture) {
    const TileAxis axis(100, 3);
    EXPECT_TRUE(Spans(axis.At(0), 0, 34, 0, 84, 0));
    EXPECT_TRUE(Spans(axis.At(1), 34, 34, 0, 100, 50));
    EXPECT_TRUE(Spans(axis.At(2), 68, 32, 18, 82, 50));
}

TEST(TileAxis, NarrowTilesSkipTheWholeOverlap_stays) {
    const TileAxis axis(100, 4);
    EXPECT_TRUE(Spans(axis.At(1), 25, 25, 0, 100, 50)) << "its real margin is 25";
    EXPECT_TRUE(Spans(axis.At(3), 75, 25, 25, 75, 50));
}

TEST(TileAxis, LastTilesMayBeShortOrEmpty) {
    EXPECT_TRUE(Spans(TileAxis(100, 7).At(6), 90, 10, 40, 60, 50));
    EXPECT_TRUE(Spans(TileAxis(10, 6).At(5), 10, 0, 0, 10, 50));
    EXPECT_TRUE(Spans(TileAxis(100, 200).At(160), 160, -60, 110, -10, 50)) << "beyond the picture";
}

TEST(TileAxis, SizeIsAQuotientInSinglePrecision_stays) {
    // 16777217 / 1 is 16777216 in float; 100000007 / 3 rounds to 33333336, whole already.
    EXPECT_EQ(TileAxis(16777217, 1).At(1).first, 16777216);
    EXPECT_EQ(TileAxis(100000007, 3).At(1).first, 33333336);
    EXPECT_EQ(TileAxis(4294967295u, 1).At(1).first, 4294967296);
}

/// Stands for a method: copies the tile, remembers it, and returns what it is told to.
template <class Picture>
class ProbeMethod {
  public:
    using Record = typename Picture::Record;
    std::vector<Record> inputs;  ///< records as they came
    std::vector<Record> outputs;
    std::function<int(int)> code = [](int) { return 0; };
    std::function<unsigned(int)> count = [](int) { return 0u; };

    int operator()(Record* destination, Record* source) {
        const int call = static_cast<int>(inputs.size());
        inputs.push_back(*source);
        outputs.push_back(*destination);
        const int result = code(call);
        if (result == 0) CopyRect({}, source->uiWidth, source->uiHeight, *destination, {}, *source);
        return result;
    }
    int operator()(Record* destination, Record* source, unsigned* pCount) {
        EXPECT_EQ(*pCount, 0u);
        *pCount = count(static_cast<int>(inputs.size()));
        return (*this)(destination, source);
    }
};

struct EightBit : IntegerPicture {
    EightBit(unsigned w, unsigned h) : IntegerPicture(w, h, 8, 3) {}
};
struct TwelveBit : IntegerPicture {
    TwelveBit(unsigned w, unsigned h) : IntegerPicture(w, h, 12, 4) {}
};

template <class Picture>
class Tiles : public testing::Test {
  protected:
    using Record = typename Picture::Record;
    ProbeMethod<Picture> method;

    int Run(Picture& destination, Picture& source, unsigned x, unsigned y) {
        return RestoreInTiles(&destination, &source, {x, y}, std::ref(method));
    }
    int Run(Picture& destination, Picture& source, unsigned x, unsigned y, CRyUintRange* range) {
        return RestoreInTiles(&destination, &source, {x, y}, range, std::ref(method));
    }
    static bool SameSamples(const Picture& a, const Picture& b, unsigned w, unsigned h) {
        for (unsigned y = 0; y < h; ++y) {
            for (unsigned x = 0; x < w; ++x) {
                if (a.Get(x, y) != b.Get(x, y)) return false;
            }
        }
        return true;
    }
    /// Samples of the box are those of the source, those of no picture at all, or 0.
    enum class Holds { kSource, kSentinel, kZero };
    static testing::AssertionResult BoxHolds(const Picture& got, const Picture& source, unsigned x0,
                                             unsigned y0, unsigned x1, unsigned y1, Holds what) {
        const Picture fresh(1, 1);
        for (unsigned y = y0; y < y1; ++y) {
            for (unsigned x = x0; x < x1; ++x) {
                const auto expected = what == Holds::kSource     ? source.Get(x, y)
                                      : what == Holds::kSentinel ? fresh.Get(0, 0)
                                                                 : 0;
                if (got.Get(x, y) != expected) {
                    return testing::AssertionFailure() << "at " << x << ' ' << y << ": " << got.Get(x, y);
                }
            }
        }
        return testing::AssertionSuccess();
    }
};

using Pictures = testing::Types<EightBit, TwelveBit, FloatPicture>;
TYPED_TEST_SUITE(Tiles, Pictures);

TYPED_TEST(Tiles, OneByOneIsTheMethodOnTheCallersOwnPictures) {
    TypeParam source(60, 40);
    TypeParam destination(60, 40);
    source.Fill(Scene);
    this->method.code = [](int) { return -77; };
    EXPECT_EQ(this->Run(destination, source, 1, 1), -77);
    ASSERT_EQ(this->method.inputs.size(), 1u);
    EXPECT_EQ(this->method.inputs[0].pData, source.record().pData);
    EXPECT_EQ(this->method.outputs[0].pData, destination.record().pData);
}

TYPED_TEST(Tiles, TilesOfFiftyPixelsAndMorePutThePictureTogether) {
    for (const auto& [w, h, x, y] : {std::tuple{211u, 173u, 3u, 2u}, std::tuple{150u, 40u, 3u, 1u},
                                     std::tuple{30u, 128u, 1u, 2u}, std::tuple{101u, 101u, 2u, 2u}}) {
        TypeParam source(w, h);
        TypeParam destination(w, h);
        source.Fill(Scene);
        EXPECT_EQ(this->Run(destination, source, x, y), 0);
        EXPECT_TRUE(this->SameSamples(destination, source, w, h)) << w << ' ' << h;
    }
}

TYPED_TEST(Tiles, GetRowsOfTilesInTurnLikeTheSource) {
    TypeParam source(150, 110);
    TypeParam destination(150, 110);
    source.Fill(Scene);
    EXPECT_EQ(this->Run(destination, source, 3, 2), 0);
    const std::vector<std::pair<unsigned, unsigned>> sizes = {{100, 105}, {150, 105}, {100, 105},
                                                              {100, 105}, {150, 105}, {100, 105}};
    ASSERT_EQ(this->method.inputs.size(), sizes.size());
    for (std::size_t n = 0; n < sizes.size(); ++n) {
        for (const auto& record : {this->method.inputs[n], this->method.outputs[n]}) {
            EXPECT_EQ(record.uiWidth, sizes[n].first) << n;
            EXPECT_EQ(record.uiHeight, sizes[n].second) << n;
            EXPECT_EQ(record.uiComponents, 1u);
            if constexpr (std::is_same_v<typename TypeParam::Record, SRyPicBuf>) {
                EXPECT_EQ(record.ucBits, source.record().ucBits);
            }
        }
    }
}

TYPED_TEST(Tiles, NarrowTilesComeOutDisplaced_stays) {
    TypeParam source(100, 60);
    TypeParam destination(100, 60);
    source.Fill(Scene);
    EXPECT_EQ(this->Run(destination, source, 4, 1), 0);
    // The second tile's input begins at 0, so that 50 in the tile is 50 in the picture.
    for (unsigned x = 0; x < 100; ++x) {
        const unsigned from = x / 25 == 1 ? x + 25 : x;
        EXPECT_EQ(destination.Get(x, 7), source.Get(from, 7)) << x;
    }
}

TYPED_TEST(Tiles, TilesNarrowerThanTheirSkippedOverlapStayInsideTheirMemory) {
    // Of 40 pixels in two tiles the second has 40 in all, none of them behind the first 50.
    TypeParam source(40, 60);
    TypeParam destination(40, 60);
    source.Fill(Scene);
    EXPECT_EQ(this->Run(destination, source, 2, 1), 0);
    EXPECT_TRUE(this->BoxHolds(destination, source, 0, 0, 20, 60, TestFixture::Holds::kSource));
    EXPECT_TRUE(this->BoxHolds(destination, source, 20, 0, 40, 60, TestFixture::Holds::kSentinel));
}

TYPED_TEST(Tiles, EmptyLastTileStillRuns) {
    TypeParam source(10, 60);
    TypeParam destination(10, 60);
    source.Fill(Scene);
    EXPECT_EQ(this->Run(destination, source, 6, 1), 0);
    EXPECT_EQ(this->method.inputs.size(), 6u);
    EXPECT_EQ(this->method.inputs[5].uiWidth, 10u);
}

TYPED_TEST(Tiles, GridsWithoutTilesReturn0AndTouchNothing) {
    TypeParam source(60, 40);
    TypeParam destination(60, 40);
    source.Fill(Scene);
    const unsigned negative = 0x80000000u;
    for (const auto& [x, y] : {std::pair{0u, 0u}, std::pair{0u, 3u}, std::pair{3u, 0u}, std::pair{1u, 0u},
                               std::pair{negative, 2u}, std::pair{2u, 0xffffffffu}, std::pair{0u, 1u}}) {
        EXPECT_EQ(this->Run(destination, source, x, y), 0) << x << ' ' << y;
    }
    EXPECT_TRUE(this->method.inputs.empty());
    EXPECT_TRUE(this->BoxHolds(destination, source, 0, 0, 60, 40, TestFixture::Holds::kSentinel));
}

TYPED_TEST(Tiles, TheFailingTileIsDeliveredBlackAndEndsTheGrid_stays) {
    for (const int code : {-9, -2, 5}) {
        TypeParam source(120, 110);
        TypeParam destination(120, 110);
        source.Fill(Scene);
        this->method = {};
        this->method.code = [code](int call) { return call == 2 ? code : 0; };
        EXPECT_EQ(this->Run(destination, source, 2, 2), code);
        EXPECT_EQ(this->method.inputs.size(), 3u);
        EXPECT_TRUE(this->BoxHolds(destination, source, 0, 0, 120, 55, TestFixture::Holds::kSource))
            << "one and two";
        EXPECT_TRUE(this->BoxHolds(destination, source, 0, 55, 60, 110, TestFixture::Holds::kZero))
            << "three";
        EXPECT_TRUE(this->BoxHolds(destination, source, 60, 55, 120, 110, TestFixture::Holds::kSentinel))
            << "four";
    }
}

TYPED_TEST(Tiles, OneByOneSetsTheRangeToTheCount) {
    TypeParam source(60, 40);
    TypeParam destination(60, 40);
    this->method.count = [](int) { return 7u; };
    CRyUintRange range(100, 200);
    EXPECT_EQ(this->Run(destination, source, 1, 1, &range), 0);
    EXPECT_EQ(range.uiMin, 7u);
    EXPECT_EQ(range.uiMax, 7u);
    EXPECT_TRUE(range.bValid);
    EXPECT_EQ(this->Run(destination, source, 1, 1, nullptr), 0);
}

TYPED_TEST(Tiles, SeveralTilesExtendARangeThatBeginsAt0_stays) {
    TypeParam source(160, 60);
    TypeParam destination(160, 60);
    this->method.count = [](int call) { return call == 1 ? 12u : 5u; };
    CRyUintRange range(100, 200);
    EXPECT_EQ(this->Run(destination, source, 3, 1, &range), 0);
    EXPECT_EQ(range.uiMin, 0u);
    EXPECT_EQ(range.uiMax, 12u);
    EXPECT_EQ(this->Run(destination, source, 3, 1, nullptr), 0);
}

TYPED_TEST(Tiles, AFailingTilesCountJoinsTheRange) {
    TypeParam source(160, 60);
    TypeParam destination(160, 60);
    this->method.count = [](int call) { return 3u + static_cast<unsigned>(call); };
    this->method.code = [](int call) { return call == 1 ? -9 : 0; };
    CRyUintRange range;
    EXPECT_EQ(this->Run(destination, source, 3, 1, &range), -9);
    EXPECT_EQ(range.uiMax, 4u);
}

TYPED_TEST(Tiles, GridsWithoutTilesSetTheRangeTo0) {
    TypeParam source(60, 40);
    TypeParam destination(60, 40);
    CRyUintRange range(100, 200);
    EXPECT_EQ(this->Run(destination, source, 0, 2, &range), 0);
    EXPECT_EQ(range.uiMin, 0u);
    EXPECT_EQ(range.uiMax, 0u);
    EXPECT_TRUE(range.bValid);
}

TYPED_TEST(Tiles, GridsFarTooFineEndInACode) {
    TypeParam source(100, 60);
    TypeParam destination(100, 60);
    source.Fill(Scene);
    // Tiles one pixel wide: those from pixel 150 on would begin behind the picture.
    EXPECT_EQ(this->Run(destination, source, 1000, 1), -9);
    EXPECT_LE(this->method.inputs.size(), 151u);
    this->method = {};
    this->method.code = [this](int call) {
        return CheckPicture(this->method.inputs[static_cast<std::size_t>(call)]);
    };
    EXPECT_EQ(this->Run(destination, source, 0x7fffffff, 1), -2) << "a method's own check comes first";
}

TYPED_TEST(Tiles, WithoutMemoryForATileTheGridEndsWithMinus9) {
    TypeParam source(120, 60);
    TypeParam destination(120, 60);
    source.Fill(Scene);
    const int blocks = RefuseEachBlock(
        1000, [&] { return this->Run(destination, source, 2, 1); }, [](int code) { EXPECT_EQ(code, -9); });
    EXPECT_EQ(blocks, 4) << "two pictures a tile, all freed";
}

}  // namespace
