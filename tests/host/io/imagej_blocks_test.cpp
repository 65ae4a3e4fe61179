// SPDX-License-Identifier: MIT
// ImageJ's blocks as they are written and read, and the texts in them.

#include "io/imagej_blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "io/content_uuid.h"
#include "io/imagej_info.h"
#include "io/utf16.h"

namespace rydecon {
namespace {

StackHeader TwoChannels() {
    StackHeader header;
    header.width = header.height = 4;
    header.slices = 3;
    header.channels = 2;
    header.channel.resize(2);
    return header;
}

ImageJBlockContents WrittenAndRead(const StackHeader& header) {
    const ImageJBlocks blocks = WriteImageJBlocks(header);
    const auto* bytes = reinterpret_cast<const unsigned char*>(blocks.bytes.data());
    return ReadImageJBlocks(blocks.byteCounts, {bytes, blocks.bytes.size()}, false);
}

TEST(ImageJBlocks, NothingToTellGivesNone) {
    const ImageJBlocks blocks = WriteImageJBlocks(TwoChannels());
    EXPECT_TRUE(blocks.bytes.empty());
    EXPECT_TRUE(blocks.byteCounts.empty());
}

TEST(ImageJBlocks, ColoursAreRamps) {
    StackHeader header = TwoChannels();
    header.channel[1].colour = Rgb{255, 0, 51};
    const ImageJBlockContents read = WrittenAndRead(header);
    ASSERT_EQ(read.lookups.size(), 2U);
    EXPECT_EQ(read.lookups[0][255], 255);
    EXPECT_EQ(read.lookups[1][128], 128);
    EXPECT_EQ(read.lookups[1][256 + 255], 0);
    EXPECT_EQ(read.lookups[1][512 + 255], 51);
    EXPECT_EQ(read.lookups[1][512 + 100], 20);
    EXPECT_TRUE(read.labels.empty());
}

TEST(ImageJBlocks, TablesAndLabelsComeBack) {
    StackHeader header = TwoChannels();
    header.channel[0].name = "DAPI \xC2\xB5";
    header.channel[0].lookup.assign(768, 9);
    const ImageJBlockContents read = WrittenAndRead(header);
    EXPECT_EQ(read.labels,
              (std::vector<std::string>{"DAPI \xC2\xB5", "", "DAPI \xC2\xB5", "", "DAPI \xC2\xB5", ""}));
    ASSERT_EQ(read.lookups.size(), 2U);
    EXPECT_EQ(read.lookups[0], header.channel[0].lookup);
}

TEST(ImageJBlocks, DamageNeverReachesBeyondTheBytes) {
    StackHeader header = TwoChannels();
    header.channel[0].name = "a";
    header.channel[1].colour = Rgb{1, 2, 3};
    header.optics.numericalAperture = 1.4;
    const ImageJBlocks whole = WriteImageJBlocks(header);
    std::uint32_t state = 3;
    const auto random = [&state](std::size_t below) {
        state = state * 1664525U + 1013904223U;
        return static_cast<std::size_t>(state >> 8) % below;
    };
    for (int trial = 0; trial < 20000; ++trial) {
        std::vector<std::uint32_t> counts = whole.byteCounts;
        std::vector<unsigned char> bytes(whole.bytes.begin(), whole.bytes.end());
        counts[random(counts.size())] = static_cast<std::uint32_t>(random(2000)) << random(24);
        bytes[random(40)] = static_cast<unsigned char>(random(256));
        if (random(3) == 0) bytes.resize(random(bytes.size()));
        const ImageJBlockContents read = ReadImageJBlocks(counts, bytes, random(2) == 0);
        EXPECT_LE(read.labels.size(), counts.size());
        for (const auto& table : read.lookups) EXPECT_EQ(table.size(), 768U);
    }
}

TEST(ImageJInfoText, OpticsAreAddedWhereTheTextDoesNotTellThem) {
    StackHeader header;
    header.info = "LensNA = 1.2";
    header.optics.numericalAperture = 1.4;
    header.optics.refractiveIndex = 1.518;
    header.optics.immersion = "Oil";
    header.optics.emission = 0.52;
    const std::string info = InfoWithOptics(header);
    EXPECT_EQ(info, "LensNA = 1.2\nRefractiveIndex = 1.518\nImmersion = Oil\nEmissionWavelength = 520 nm\n");
    header.info = info;
    EXPECT_EQ(InfoWithOptics(header), info);
    EXPECT_EQ(OpticsFromInfo(info).immersion, "Oil");
}

TEST(ImageJInfoText, ChannelsHaveNumbers) {
    StackHeader header = TwoChannels();
    header.channel[0].emission = 0.461;
    header.channel[1].emission = 0.52;
    header.channel[1].pinhole = 1.25;
    header.channel[1].acquisitionMode = "WideField";
    const auto records = ChannelsFromInfo(InfoWithOptics(header), 2);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_DOUBLE_EQ(records[0].emission.value(), 0.461);
    EXPECT_DOUBLE_EQ(records[1].emission.value(), 0.52);
    EXPECT_EQ(records[0].pinhole, std::nullopt);
    EXPECT_EQ(records[1].pinhole, 1.25);
    EXPECT_EQ(records[1].acquisitionMode, "WideField");
    EXPECT_EQ(ChannelsFromInfo("EmissionWavelength = 520\n", 2)[1].emission, 0.52);
}

TEST(Utf16, TextsGoThereAndBack) {
    const std::string text = "a\xC2\xB5\xE2\x82\xAC\xF0\x9D\x84\x9E.";
    EXPECT_EQ(Utf16From(text), u"a\u00B5\u20AC\U0001D11E.");
    EXPECT_EQ(Utf8From(Utf16From(text)), text);
}

TEST(Utf16, WhatIsNoTextBecomesQuestionMarks) {
    EXPECT_EQ(Utf16From("\xFFz\xC2"), u"?z?");
    EXPECT_EQ(Utf16From("\xC0\x80"), u"??");            // a long form of 0
    EXPECT_EQ(Utf16From("\xED\xA0\x80"), u"???");       // half of a pair
    EXPECT_EQ(Utf16From("\xF4\x90\x80\x80"), u"????");  // beyond the last character
    EXPECT_EQ(Utf8From(std::u16string{0xD800, u'a', 0xDC00}), "?a?");
    EXPECT_EQ(Utf8From(std::u16string{0xD834}), "?");
}

TEST(ContentUuid, FollowsTheBytesAndNotTheirPieces) {
    const std::string bytes = "0123456789abcdefghij";
    const auto textOf = [&](std::size_t piece, std::size_t first, const std::string& rest) {
        ContentUuid uuid(2);
        for (const std::size_t plane : {first, 1 - first}) {
            for (std::size_t k = 0; k < bytes.size(); k += piece) {
                uuid.Add(plane, bytes.data() + k, std::min(piece, bytes.size() - k));
            }
        }
        return uuid.Text(rest);
    };
    EXPECT_EQ(textOf(16, 0, "x"), textOf(16, 1, "x"));
    EXPECT_EQ(textOf(16, 0, "x"), textOf(8, 0, "x"));
    EXPECT_NE(textOf(16, 0, "x"), textOf(16, 0, "y"));
    EXPECT_EQ(textOf(16, 0, "x").size(), 45U);
    ContentUuid one(2);
    ContentUuid other(2);
    one.Add(0, bytes.data(), bytes.size());
    other.Add(1, bytes.data(), bytes.size());
    EXPECT_NE(one.Text(""), other.Text(""));
}

}  // namespace
}  // namespace rydecon
