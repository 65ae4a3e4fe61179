// SPDX-License-Identifier: MIT

// What the one-call entries allocate and free, and what they leave when a volume is refused.

#include <gtest/gtest.h>

#include "property/volume_blocks.h"
#include "support/richardson_lucy_calls.h"

#if defined(GNR_TEST_COUNTS_BLOCKS)

namespace {

using namespace gnr::test;
using Call = RichardsonLucyCall;

class EntryAllocations : public testing::TestWithParam<RichardsonLucy> {
  protected:
    Call Make() const { return {GetParam(), observed, psf, 2}; }
    int Volumes() const { return GetParam() == RichardsonLucy::kPlain ? 2 : 4; }
    const Volume psf = ImpulsePsf(64, 60, 16);
    const Volume observed = Scene(64, 60, 16, 20, 400);
};

INSTANTIATE_TEST_SUITE_P(Entries, EntryAllocations, testing::ValuesIn(kRichardsonLucyEntries),
                         [](const auto& entry) { return NameOf(entry.param); });

TEST_P(EntryAllocations, AsManyVolumesAsToldAndAllFreed) {
    Call call = Make();
    largeBlocks = 0;
    const int before = liveLargeBlocks;
    EXPECT_EQ(call.Run(), 1);
    EXPECT_EQ(largeBlocks, static_cast<std::size_t>(Volumes()));
    EXPECT_EQ(liveLargeBlocks, before);
}

/// Whichever is refused: -9 and nothing held. The automatic entry has scaled its image by then.
TEST_P(EntryAllocations, ARefusedVolume) {
    for (int granted = 0; granted < Volumes(); ++granted) {
        Call call = Make();
        EntryLog log;
        Volume expected = observed;
        const int before = liveLargeBlocks;
        {
            const LargeBlockRefusal refusal(granted);
            EXPECT_EQ(call.Run(&log), -9);
        }
        EXPECT_EQ(liveLargeBlocks, before);
        EXPECT_TRUE(log.log.Calls().empty());
        EXPECT_EQ(call.result, 77.0f);
        const bool automatic = GetParam() == RichardsonLucy::kAutomatic;
        EXPECT_EQ(call.done, automatic ? 0u : 77u);
        if (automatic) {
            const float maximum = LargestSample(observed) + 1e-10f;
            CRy3DDeconvolutionLow::MulFloatC3DXX(&expected.sizes, expected, 1.0f / maximum);
        }
        EXPECT_TRUE(SameBytes(call.image, expected));
    }
}

TEST(WienerEntryAllocations, OneVolumeFreedBeforeTheEnd) {
    Volume image = Scene(64, 60, 16, 20, 400);
    Volume psf = ImpulsePsf(64, 60, 16);
    DFT3D s = image.sizes;
    EntryLog log;
    std::vector<int> live;
    const int before = liveLargeBlocks;
    log.log.onCall = [&](const ProgressReport&) { live.push_back(liveLargeBlocks - before); };
    largeBlocks = 0;
    ASSERT_EQ(CRy3DDeconvolution().Wiener(&s, psf, image, log.callback(), log.pointer(), 0, 0, 0), 1);
    EXPECT_EQ(largeBlocks, 1u);
    EXPECT_EQ(live, (std::vector<int>{0, 1, 1, 1, 1, 1, 1, 0}));
    EXPECT_EQ(liveLargeBlocks, before);
}

TEST(WienerEntryAllocations, ARefusedVolumeGivesZeroAndTheImageStays_stays) {
    Volume image = Scene(64, 60, 16, 20, 400);
    const Volume before = image;
    Volume psf = ImpulsePsf(64, 60, 16);
    DFT3D s = image.sizes;
    const LargeBlockRefusal refusal(0);
    EXPECT_EQ(CRy3DDeconvolution().Wiener(&s, psf, image, nullptr, nullptr, 0, 0, 0), 0);
    EXPECT_TRUE(SameBytes(image, before));
}

}  // namespace

#endif
