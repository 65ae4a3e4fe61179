// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <ry_system/ry_system.h>

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

CRyLiteVariantR ReaderOf(const Bytes& bytes) {
    return CRyLiteVariantR(bytes.data(), bytes.size());
}

TEST(LiteVariant, GivesEachKindBackByName) {
    CRyLiteVariantW w;
    EXPECT_EQ(w.Set(4000000000u, L"unsigned"), 0);
    EXPECT_EQ(w.Set(-5, L"int"), 0);
    EXPECT_EQ(w.Set(-0.125, L"double"), 0);
    EXPECT_EQ(w.Set(true, L"bool"), 0);
    const CRyLiteVariantR r = ReaderOf(w.Data());
    EXPECT_EQ(static_cast<unsigned>(r.Get(L"unsigned", 1)), 4000000000u);
    EXPECT_EQ(r.Get(L"int", 1), -5);
    EXPECT_EQ(r.Get(L"double", 1.0), -0.125);
    EXPECT_EQ(r.Get(L"bool", false), true);
}

TEST(LiteVariant, WhatIsNotThereIsTheDefault) {
    CRyLiteVariantW w;
    w.Set(3.5, L"value");
    const CRyLiteVariantR r = ReaderOf(w.Data());
    EXPECT_EQ(r.Get(L"other", 2.5), 2.5);
    EXPECT_EQ(r.Get(L"value", 7), 7) << "of another kind";
    EXPECT_EQ(r.Get(L"value", true), true);
    EXPECT_EQ(r.Get(L"valu", 2.5), 2.5);
    EXPECT_EQ(r.Get(L"value2", 2.5), 2.5);
}

TEST(LiteVariant, TheFirstOfANameCounts) {
    CRyLiteVariantW w;
    w.Set(1, L"n");
    w.Set(2, L"n");
    EXPECT_EQ(ReaderOf(w.Data()).Get(L"n", 0), 1);
}

TEST(LiteVariant, LevelsHideAndShowTheirValues) {
    CRyLiteVariantW w;
    w.Set(1, L"n");
    EXPECT_EQ(w.LevelBegin(L"outer"), 0);
    w.Set(2, L"n");
    EXPECT_EQ(w.LevelBegin(L"inner \u00b5"), 0);
    w.Set(3, L"n");
    EXPECT_EQ(w.LevelEnd(), 0);
    w.Set(true, L"after");
    EXPECT_EQ(w.LevelEnd(), 0);
    EXPECT_EQ(w.LevelEnd(), -4);

    CRyLiteVariantR r = ReaderOf(w.Data());
    EXPECT_EQ(r.Get(L"n", 0), 1);
    unsigned count = 0;
    EXPECT_EQ(r.LevelBegin(L"inner \u00b5", &count), -4) << "not right inside";
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(r.LevelBegin(L"outer", &count), 0);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(r.Get(L"n", 0), 2);
    EXPECT_EQ(r.LevelBegin(L"inner \u00b5", nullptr), 0);
    EXPECT_EQ(r.Get(L"n", 0), 3);
    EXPECT_EQ(r.Get(L"after", false), false);
    EXPECT_EQ(r.LevelEnd(), 0);
    EXPECT_EQ(r.Get(L"after", false), true);
    EXPECT_EQ(r.LevelEnd(), 0);
    EXPECT_EQ(r.LevelEnd(), -4);
    EXPECT_EQ(r.Get(L"n", 0), 1);
}

TEST(LiteVariant, OpenLevelsCountAsClosed) {
    CRyLiteVariantW w;
    w.LevelBegin(L"open");
    w.Set(9, L"n");
    CRyLiteVariantR r = ReaderOf(w.Data());
    EXPECT_EQ(r.LevelBegin(L"open", nullptr), 0);
    EXPECT_EQ(r.Get(L"n", 0), 9);
}

TEST(LiteVariant, EmptyKeysAndLevelsTooDeepAreRefusedAndNothingIsWritten) {
    CRyLiteVariantW w;
    EXPECT_EQ(w.Set(1, L""), -4);
    EXPECT_EQ(w.LevelBegin(L""), -4);
    EXPECT_TRUE(w.Data().empty());
    for (int n = 0; n < 64; ++n) EXPECT_EQ(w.LevelBegin(L"n"), 0) << n;
    const Bytes before = w.Data();
    EXPECT_EQ(w.LevelBegin(L"n"), -4);
    EXPECT_EQ(w.Data(), before);
}

TEST(LiteVariant, BytesAreTheSameOnEveryMachine) {
    CRyLiteVariantW w;
    w.LevelBegin(L"A");
    w.Set(258, L"b");
    w.Set(true, L"c");
    w.LevelEnd();
    const Bytes expected = {'L', 1, 0, 0, 0, 'A', 0, 0, 0, 23, 0, 0, 0, 0, 0, 0, 0,  //
                            'i', 1, 0, 0, 0, 'b', 0, 0, 0, 2,  1, 0, 0,              //
                            'b', 1, 0, 0, 0, 'c', 0, 0, 0, 1};
    EXPECT_EQ(w.Data(), expected);
}

TEST(LiteVariant, ReaderKeepsItsOwnCopy) {
    CRyLiteVariantW w;
    w.Set(5, L"n");
    Bytes bytes = w.Data();
    const CRyLiteVariantR r = ReaderOf(bytes);
    bytes.assign(bytes.size(), 0);
    EXPECT_EQ(r.Get(L"n", 0), 5);
}

TEST(LiteVariant, NothingIsReadFromNothing) {
    CRyLiteVariantR r(nullptr, 100);
    EXPECT_EQ(r.Get(L"n", 4), 4);
    EXPECT_EQ(r.LevelBegin(L"n", nullptr), -4);
}

/// Every shortening and every changed byte: the values that are found are written or default ones, and the
/// reader stays inside its bytes (the sanitizers watch).
TEST(LiteVariant, DamagedBytesAreSafe) {
    CRyLiteVariantW w;
    w.Set(1, L"first");
    w.LevelBegin(L"level");
    w.Set(2.0, L"second");
    w.LevelEnd();
    w.Set(true, L"third");
    const Bytes whole = w.Data();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        CRyLiteVariantR r(whole.data(), length);
        EXPECT_EQ(r.Get(L"third", false), false) << length;
        const bool found = r.LevelBegin(L"level", nullptr) == 0;
        EXPECT_TRUE(!found || r.Get(L"second", 0.0) == 2.0) << length;
    }
    for (std::size_t n = 0; n < whole.size(); ++n) {
        for (const unsigned bits : {0x01u, 0x80u, 0xffu}) {
            Bytes damaged = whole;
            damaged[n] = static_cast<unsigned char>(damaged[n] ^ bits);
            CRyLiteVariantR r = ReaderOf(damaged);
            unsigned count = 0;
            r.LevelBegin(L"level", &count);
            EXPECT_LE(count, 2u) << n;
            r.Get(L"third", false);
        }
    }
}

}  // namespace
