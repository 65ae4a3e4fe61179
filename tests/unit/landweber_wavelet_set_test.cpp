// SPDX-License-Identifier: MIT

// The record of wavelet bands: sizes of its blocks, zeroed memory, all or nothing, copies.

#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "support/ref/landweber_runs.h"

namespace {

using namespace gnr::test;

int NullBlocks(const SWaveletSet& set) {
    int null = 0;
    for (const auto& band : set.apfBands) null += static_cast<int>(std::count(band, band + 5, nullptr));
    return null;
}

TEST(WaveletSet, ClearedHoldsNothing) {
    SWaveletSet set;
    set.Clear();
    EXPECT_EQ(NullBlocks(set), 40);
    set.Free();
    EXPECT_EQ(NullBlocks(set), 40);
}

TEST(WaveletSet, BlocksHalveWithEachLevelAndAreZeroed) {
    SWaveletSet set;
    set.Clear();
    ASSERT_EQ(set.Allocate(16, 8, 32, 3), 0);
    EXPECT_EQ(NullBlocks(set), 16);
    for (auto& band : set.apfBands) {
        for (unsigned l = 0; l < 3; ++l) {
            const std::size_t floats = std::size_t{16u >> (l + 1)} * (8u >> (l + 1)) * (32u >> (l + 1));
            EXPECT_EQ(std::count(band[l], band[l] + floats, 0.0f), static_cast<std::ptrdiff_t>(floats));
            std::fill_n(band[l], floats, kSentinel);
        }
    }
    set.Free();
    EXPECT_EQ(NullBlocks(set), 40);
}

TEST(WaveletSet, NoLevelsAreNoBlocks) {
    SWaveletSet set;
    set.Clear();
    EXPECT_EQ(set.Allocate(16, 8, 8, 0), 0);
    EXPECT_EQ(NullBlocks(set), 40);
}

/// 2^53 bytes a block; a product in 32 bits would be 0.
TEST(WaveletSet, WhatDoesNotFitGivesMinusNineAndFreesAll) {
    SWaveletSet set;
    set.Clear();
    EXPECT_EQ(set.Allocate(1u << 30, 1u << 20, 16, 1), -9);
    EXPECT_EQ(NullBlocks(set), 40);
}

TEST(WaveletSet, CopiesEveryBlock) {
    SWaveletSet from;
    SWaveletSet to;
    from.Clear();
    to.Clear();
    ASSERT_EQ(from.Allocate(8, 4, 32, 2), 0);
    ASSERT_EQ(to.Allocate(8, 4, 32, 2), 0);
    float value = 0;
    const auto floats = [](unsigned l) {
        return std::size_t{8u >> (l + 1)} * (4u >> (l + 1)) * (32u >> (l + 1));
    };
    for (auto& band : from.apfBands) {
        for (unsigned l = 0; l < 2; ++l) std::generate_n(band[l], floats(l), [&] { return ++value; });
    }
    to.Copy(from);
    for (std::size_t b = 0; b < 8; ++b) {
        for (unsigned l = 0; l < 2; ++l) {
            EXPECT_NE(to.apfBands[b][l], from.apfBands[b][l]);
            EXPECT_TRUE(std::equal(to.apfBands[b][l], to.apfBands[b][l] + floats(l), from.apfBands[b][l]));
        }
    }
    from.Free();
    to.Free();
}

/// Two sets of one shape with contents that no rounding leaves alone.
class WaveletSetPair : public testing::Test {
  protected:
    WaveletSetPair() {
        for (SWaveletSet* set : {&first, &second}) {
            set->Clear();
            EXPECT_EQ(set->Allocate(8, 4, 32, 2), 0);
        }
        ForEachValue([&](std::size_t b, unsigned l, std::size_t n) {
            first.apfBands[b][l][n] = 1.0f / static_cast<float>(3 + b + l + n);
            second.apfBands[b][l][n] = 0.7f - 1.0f / static_cast<float>(7 + b + 2 * l + n);
        });
    }
    ~WaveletSetPair() override {
        first.Free();
        second.Free();
    }
    template <class Visit>
    static void ForEachValue(Visit visit) {
        for (std::size_t b = 0; b < 8; ++b) {
            for (unsigned l = 0; l < 2; ++l) {
                const std::size_t floats = std::size_t{8u >> (l + 1)} * (4u >> (l + 1)) * (32u >> (l + 1));
                for (std::size_t n = 0; n < floats; ++n) visit(b, l, n);
            }
        }
    }
    static float Before(std::size_t b, unsigned l, std::size_t n) {
        return 1.0f / static_cast<float>(3 + b + l + n);
    }

    SWaveletSet first;
    SWaveletSet second;
};

/// The step is rounded to float first, then product and sum are.
TEST_F(WaveletSetPair, AddsWithAStepForEachBand) {
    double divisors[8][5] = {};
    for (std::size_t b = 0; b < 8; ++b) {
        for (std::size_t l = 0; l < 2; ++l) divisors[b][l] = 0.25 + 0.3 * static_cast<double>(b + 3 * l);
    }
    first.AddScaled(second, divisors);
    ForEachValue([&](std::size_t b, unsigned l, std::size_t n) {
        const auto step = static_cast<float>(1 / divisors[b][l]);
        ASSERT_EQ(first.apfBands[b][l][n], Before(b, l, n) + step * second.apfBands[b][l][n]);
    });
}

TEST_F(WaveletSetPair, ExtrapolatesInFloat) {
    first.Extrapolate(second, 0.2817f);
    ForEachValue([&](std::size_t b, unsigned l, std::size_t n) {
        const float w = Before(b, l, n);
        ASSERT_EQ(first.apfBands[b][l][n], (w - second.apfBands[b][l][n]) * 0.2817f + w);
    });
}

}  // namespace
