// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/ranges.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace {

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

/// Both classes are one design: what holds for one holds for the other.
template <class Range>
class RangeOf : public testing::Test {};

struct EndsOf {
    static auto Min(const CRyUintRange& r) { return r.uiMin; }
    static auto Max(const CRyUintRange& r) { return r.uiMax; }
    static auto Min(const CRyDoubleRange& r) { return r.dMin; }
    static auto Max(const CRyDoubleRange& r) { return r.dMax; }
};

template <class Range>
testing::AssertionResult Is(const Range& r, double least, double greatest, bool valid) {
    if (EndsOf::Min(r) == least && EndsOf::Max(r) == greatest && r.bValid == valid) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << EndsOf::Min(r) << " to " << EndsOf::Max(r) << ", valid " << r.bValid;
}

using Ranges = testing::Types<CRyUintRange, CRyDoubleRange>;
TYPED_TEST_SUITE(RangeOf, Ranges);

TYPED_TEST(RangeOf, DefaultIsEmpty) {
    EXPECT_TRUE(Is(TypeParam(), 0, 0, false));
}

TYPED_TEST(RangeOf, OneValueIsBothEnds) {
    EXPECT_TRUE(Is(TypeParam(7), 7, 7, true));
    TypeParam r(3, 9);
    r.Set(5);
    EXPECT_TRUE(Is(r, 5, 5, true));
}

TYPED_TEST(RangeOf, TwoValuesAreOrdered) {
    EXPECT_TRUE(Is(TypeParam(5, 2), 2, 5, true));
    EXPECT_TRUE(Is(TypeParam(2, 5), 2, 5, true));
}

TYPED_TEST(RangeOf, ResetEmpties) {
    TypeParam r(3, 9);
    r.Reset();
    EXPECT_TRUE(Is(r, 0, 0, false));
}

TYPED_TEST(RangeOf, GrowsWithEachValue) {
    TypeParam r;
    r.Add(7);
    EXPECT_TRUE(Is(r, 7, 7, true));
    r.Add(3);
    r.Add(9);
    EXPECT_TRUE(Is(r, 3, 9, true));
    r.Add(5);
    EXPECT_TRUE(Is(r, 3, 9, true));
}

TYPED_TEST(RangeOf, AddsBothEndsOfAnother) {
    TypeParam r(4, 6);
    r.Add(TypeParam(5, 9));
    EXPECT_TRUE(Is(r, 4, 9, true));
    r.Add(TypeParam(1, 2));
    EXPECT_TRUE(Is(r, 1, 9, true));
    TypeParam empty;
    empty.Add(TypeParam(5, 9));
    EXPECT_TRUE(Is(empty, 5, 9, true));
    r.Add(r);
    EXPECT_TRUE(Is(r, 1, 9, true));
}

TYPED_TEST(RangeOf, AddsNothingOfAnEmptyOne) {
    TypeParam r(4, 6);
    r.Add(TypeParam());
    EXPECT_TRUE(Is(r, 4, 6, true));
    TypeParam empty;
    empty.Add(TypeParam());
    EXPECT_TRUE(Is(empty, 0, 0, false));
    TypeParam stale(8, 9);
    stale.bValid = false;
    r.Add(stale);
    EXPECT_TRUE(Is(r, 4, 6, true));
}

TYPED_TEST(RangeOf, GetOfAnEmptyOneIsMinus12AndWritesNothing) {
    using T = decltype(EndsOf::Min(TypeParam()));
    T least = 11;
    T greatest = 12;
    EXPECT_EQ(TypeParam().Get(&least, &greatest), -12);
    EXPECT_EQ(least, T{11});
    EXPECT_EQ(greatest, T{12});
}

TYPED_TEST(RangeOf, GetWritesThroughThePointersThatAreThere) {
    using T = decltype(EndsOf::Min(TypeParam()));
    const TypeParam r(3, 9);
    T least = 0;
    T greatest = 0;
    EXPECT_EQ(r.Get(nullptr, &greatest), 0);
    EXPECT_EQ(greatest, T{9});
    EXPECT_EQ(r.Get(&least, nullptr), 0);
    EXPECT_EQ(least, T{3});
    EXPECT_EQ(r.Get(nullptr, nullptr), 0);
}

TYPED_TEST(RangeOf, SaveAndLoadGiveItBack) {
    for (const TypeParam& saved : {TypeParam(3, 9), TypeParam(), TypeParam(4000000000u)}) {
        CRyLiteVariantW writer;
        EXPECT_EQ(saved.SaveToLiteVariant(writer), 0);
        CRyLiteVariantR reader(writer.Data().data(), writer.Data().size());
        TypeParam loaded(1, 2);
        EXPECT_EQ(loaded.LoadFromLiteVariant(reader), 0);
        EXPECT_TRUE(Is(loaded, EndsOf::Min(saved), EndsOf::Max(saved), saved.bValid));
        EXPECT_EQ(reader.LevelEnd(), -4) << "the level is left again";
    }
}

TYPED_TEST(RangeOf, LoadWithoutItsLevelLeavesItAsItWas) {
    CRyLiteVariantW writer;
    writer.LevelBegin(L"SomethingElse");
    writer.LevelEnd();
    CRyLiteVariantR reader(writer.Data().data(), writer.Data().size());
    TypeParam r(1, 2);
    EXPECT_NE(r.LoadFromLiteVariant(reader), 0);
    EXPECT_TRUE(Is(r, 1, 2, true));
}

TYPED_TEST(RangeOf, SaveReturnsTheWritersRefusalAndWritesNothing) {
    CRyLiteVariantW writer;
    int levels = 0;
    while (writer.LevelBegin(L"level") == 0) ASSERT_LT(++levels, 1000);
    const auto before = writer.Data();
    EXPECT_EQ(TypeParam(1, 2).SaveToLiteVariant(writer), writer.LevelBegin(L"level"));
    EXPECT_EQ(writer.Data(), before);
}

TYPED_TEST(RangeOf, OneKindIsNotReadFromTheOther) {
    CRyLiteVariantW writer;
    if constexpr (std::is_same_v<TypeParam, CRyUintRange>) {
        CRyDoubleRange(1, 2).SaveToLiteVariant(writer);
    } else {
        CRyUintRange(1, 2).SaveToLiteVariant(writer);
    }
    CRyLiteVariantR reader(writer.Data().data(), writer.Data().size());
    TypeParam r;
    EXPECT_NE(r.LoadFromLiteVariant(reader), 0);
}

TEST(UintRange, IsWrittenAsThreeNamedValuesInOneLevel) {
    CRyLiteVariantW expected;
    expected.LevelBegin(L"CRyUintRange");
    expected.Set(3u, L"uiMin");
    expected.Set(9u, L"uiMax");
    expected.Set(true, L"bValid");
    expected.LevelEnd();
    CRyLiteVariantW writer;
    EXPECT_EQ(CRyUintRange(3, 9).SaveToLiteVariant(writer), 0);
    EXPECT_EQ(writer.Data(), expected.Data());
    EXPECT_EQ(writer.LevelEnd(), -4) << "the level is closed";
}

TEST(DoubleRange, IsWrittenAsThreeNamedValuesInOneLevel) {
    CRyLiteVariantW expected;
    expected.LevelBegin(L"CRyDoubleRange");
    expected.Set(3.5, L"dMin");
    expected.Set(9.25, L"dMax");
    expected.Set(true, L"bValid");
    expected.LevelEnd();
    CRyLiteVariantW writer;
    EXPECT_EQ(CRyDoubleRange(3.5, 9.25).SaveToLiteVariant(writer), 0);
    EXPECT_EQ(writer.Data(), expected.Data());
    EXPECT_EQ(writer.LevelEnd(), -4) << "the level is closed";
}

TEST(UintRange, MissingValuesBecomeTheDefaults) {
    CRyLiteVariantW writer;
    writer.LevelBegin(L"CRyUintRange");
    writer.Set(5u, L"uiMin");
    writer.LevelEnd();
    CRyLiteVariantR reader(writer.Data().data(), writer.Data().size());
    CRyUintRange r(7, 9);
    EXPECT_EQ(r.LoadFromLiteVariant(reader), 0);
    EXPECT_TRUE(Is(r, 5, 0, false)) << "and are not put in order";
}

/// Loading may leave the ends out of order. The first one added then changes the other before its turn.
TEST(UintRange, OutOfOrderAndAddedToItselfEndsAtItsFirstEnd_stays) {
    CRyUintRange r(3, 9);
    std::swap(r.uiMin, r.uiMax);
    r.Add(r);
    EXPECT_TRUE(Is(r, 9, 9, true));
}

TEST(DoubleRange, StoredValuesComeAsTheyAre) {
    CRyLiteVariantW writer;
    writer.LevelBegin(L"CRyDoubleRange");
    writer.Set(true, L"bValid");
    writer.Set(9.5, L"dMin");
    writer.Set(-2.25, L"dMax");
    writer.LevelEnd();
    CRyLiteVariantR reader(writer.Data().data(), writer.Data().size());
    CRyDoubleRange r;
    EXPECT_EQ(r.LoadFromLiteVariant(reader), 0);
    EXPECT_TRUE(Is(r, 9.5, -2.25, true));
}

TEST(DoubleRange, NoNumberReplacesBothEndsAndIsReplaced_stays) {
    CRyDoubleRange r(3.0, 9.0);
    r.Add(kNoNumber);
    EXPECT_TRUE(std::isnan(r.dMin));
    EXPECT_TRUE(std::isnan(r.dMax));
    EXPECT_TRUE(r.bValid);
    r.Add(4.0);
    EXPECT_TRUE(Is(r, 4.0, 4.0, true));
}

TEST(DoubleRange, NoNumberAndInfinitySurviveSaving) {
    CRyDoubleRange r;
    r.dMin = kNoNumber;
    r.dMax = std::numeric_limits<double>::infinity();
    r.bValid = true;
    CRyLiteVariantW writer;
    r.SaveToLiteVariant(writer);
    CRyLiteVariantR reader(writer.Data().data(), writer.Data().size());
    CRyDoubleRange loaded;
    EXPECT_EQ(loaded.LoadFromLiteVariant(reader), 0);
    EXPECT_TRUE(std::isnan(loaded.dMin));
    EXPECT_EQ(loaded.dMax, r.dMax);
}

TEST(Ranges, LieInTheOrderTheyWereWritten) {
    CRyLiteVariantW writer;
    CRyUintRange(1, 2).SaveToLiteVariant(writer);
    CRyDoubleRange(3.0, 4.0).SaveToLiteVariant(writer);
    CRyLiteVariantR reader(writer.Data().data(), writer.Data().size());
    CRyDoubleRange d;
    CRyUintRange u;
    EXPECT_EQ(d.LoadFromLiteVariant(reader), 0);
    EXPECT_EQ(u.LoadFromLiteVariant(reader), 0);
    EXPECT_TRUE(Is(d, 3, 4, true));
    EXPECT_TRUE(Is(u, 1, 2, true));
}

}  // namespace
