// SPDX-License-Identifier: MIT
// Stacks that must be read, in every sample type and layout, and what is said about their voxels and shapes.

#include "io/stack_reader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

#include "tiff_fixture.h"

namespace rydecon::testing {
namespace {

constexpr std::uint32_t kWidth = 37;
constexpr std::uint32_t kHeight = 21;
constexpr int kPlanes = 3;

template <typename T>
T PatternSample(std::uint32_t x, std::uint32_t y, int plane) {
    const int count = static_cast<int>(x) * 3 + static_cast<int>(y) * 7 + plane * 31;
    const int value = count % 120 - (std::is_signed_v<T> ? 50 : 0);
    if constexpr (std::is_floating_point_v<T>) return static_cast<T>(value) / 4;
    return static_cast<T>(value);
}

template <typename T>
std::vector<TestPage> PatternPages() {
    std::vector<TestPage> pages;
    for (int plane = 0; plane < kPlanes; ++plane) {
        std::vector<T> samples;
        for (std::uint32_t y = 0; y < kHeight; ++y) {
            for (std::uint32_t x = 0; x < kWidth; ++x) samples.push_back(PatternSample<T>(x, y, plane));
        }
        pages.push_back(PageOf(kWidth, kHeight, samples));
    }
    return pages;
}

class Reading : public FolderTest {
  protected:
    template <typename T>
    void ExpectPattern(const std::filesystem::path& path, const std::string& type) {
        StackReader reader(path, messages_);
        ASSERT_EQ(reader.header().width, static_cast<int>(kWidth));
        ASSERT_EQ(reader.header().height, static_cast<int>(kHeight));
        ASSERT_EQ(reader.header().planes(), kPlanes);
        EXPECT_EQ(NameOf(reader.header().sampleType), type);
        constexpr std::ptrdiff_t kStride = kWidth + 5;
        for (const int plane : {2, 0, 1, 0}) {
            std::vector<float> rows(kStride * kHeight, -99.0F);
            reader.ReadPlane(plane, rows.data(), kStride);
            for (std::uint32_t y = 0; y < kHeight; ++y) {
                for (std::uint32_t x = 0; x < kStride; ++x) {
                    const float expected =
                        x < kWidth ? static_cast<float>(PatternSample<T>(x, y, plane)) : -99.0F;
                    ASSERT_EQ(rows[y * kStride + x], expected) << x << ' ' << y << ' ' << plane;
                }
            }
        }
    }
    std::vector<float> ReadAll(const std::filesystem::path& path) {
        StackReader reader(path, messages_);
        const StackHeader& header = reader.header();
        const auto planeSamples =
            static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height);
        std::vector<float> samples(planeSamples * static_cast<std::size_t>(header.planes()));
        for (int plane = 0; plane < header.planes(); ++plane) {
            reader.ReadPlane(plane, samples.data() + planeSamples * static_cast<std::size_t>(plane),
                             header.width);
        }
        return samples;
    }
    template <typename Action>
    std::string NotesOf(Action action) {
        ::testing::internal::CaptureStderr();
        action();
        return ::testing::internal::GetCapturedStderr();
    }
    Messages messages_;
};

// Mode of libtiff, rows per strip (0: one strip), edge of the tiles (0: strips), compression.
using Layout = std::tuple<const char*, std::uint32_t, std::uint32_t, std::uint16_t>;

class ReadingLayouts : public Reading, public ::testing::WithParamInterface<Layout> {
  protected:
    template <typename T>
    void WriteAndExpect(const std::string& type) {
        const auto [mode, rowsPerStrip, tile, compression] = GetParam();
        auto pages = PatternPages<T>();
        for (TestPage& page : pages) {
            page.rowsPerStrip = rowsPerStrip;
            page.tile = tile;
            page.compression = compression;
        }
        WriteTiff(File("stack.tif"), mode, pages);
        ExpectPattern<T>(File("stack.tif"), type);
    }
};

/// "wl_4_rows_tiles_lzw"
std::string NameOfLayout(const ::testing::TestParamInfo<Layout>& info) {
    const auto [mode, rowsPerStrip, tile, compression] = info.param;
    std::string name = mode;
    name += rowsPerStrip == 0 ? "_one_strip" : "_" + std::to_string(rowsPerStrip) + "_rows";
    name += tile == 0 ? "" : "_tiles";
    switch (compression) {
        case COMPRESSION_LZW:
            return name + "_lzw";
        case COMPRESSION_ADOBE_DEFLATE:
            return name + "_deflate";
        case COMPRESSION_PACKBITS:
            return name + "_packbits";
        default:
            return name + "_plain";
    }
}

TEST_P(ReadingLayouts, EverySampleType) {
    WriteAndExpect<std::uint8_t>("uint8");
    WriteAndExpect<std::int8_t>("int8");
    WriteAndExpect<std::uint16_t>("uint16");
    WriteAndExpect<std::int16_t>("int16");
    WriteAndExpect<std::uint32_t>("uint32");
    WriteAndExpect<std::int32_t>("int32");
    WriteAndExpect<float>("float32");
    WriteAndExpect<double>("float64");
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, ReadingLayouts,
                         ::testing::Combine(::testing::Values("wl", "wb", "wl8", "wb8"),
                                            ::testing::Values(0U, 1U, 4U), ::testing::Values(0U, 16U),
                                            ::testing::Values(COMPRESSION_NONE, COMPRESSION_LZW,
                                                              COMPRESSION_ADOBE_DEFLATE,
                                                              COMPRESSION_PACKBITS)),
                         NameOfLayout);

TEST_F(Reading, StripsThatDoNotStandInOneRun) {
    auto pages = PatternPages<std::uint16_t>();
    for (TestPage& page : pages) {
        page.rowsPerStrip = 4;
        page.stripsBackwards = true;
    }
    for (const char* mode : {"wl", "wb"}) {
        WriteTiff(File("stack.tif"), mode, pages);
        ExpectPattern<std::uint16_t>(File("stack.tif"), "uint16");
    }
}

TEST_F(Reading, Predictors) {
    auto floats = PatternPages<float>();
    auto integers = PatternPages<std::uint16_t>();
    for (TestPage& page : floats) page.predictor = PREDICTOR_FLOATINGPOINT;
    for (TestPage& page : integers) page.predictor = PREDICTOR_HORIZONTAL;
    for (auto* pages : {&floats, &integers}) {
        for (TestPage& page : *pages) page.compression = COMPRESSION_ADOBE_DEFLATE;
    }
    // Not big endian: libtiff writes what it cannot read there.
    WriteTiff(File("floats.tif"), "wl", floats);
    ExpectPattern<float>(File("floats.tif"), "float32");
    for (const char* mode : {"wl", "wb"}) {
        WriteTiff(File("integers.tif"), mode, integers);
        ExpectPattern<std::uint16_t>(File("integers.tif"), "uint16");
    }
}

TEST_F(Reading, OnePlaneIsAStackOfOne) {
    WriteTiff(File("plane.tif"), "wl", {SmallPage()});
    StackReader reader(File("plane.tif"), messages_);
    EXPECT_EQ(reader.header().planes(), 1);
    EXPECT_EQ(reader.header().voxel.x, std::nullopt);
    EXPECT_EQ(reader.header().voxel.z, std::nullopt);
    std::vector<float> rows(20);
    EXPECT_THROW(reader.ReadPlane(1, rows.data(), 5), std::out_of_range);
    EXPECT_THROW(reader.ReadPlane(-1, rows.data(), 5), std::out_of_range);
}

TEST_F(Reading, ThumbnailsAndMasksAreNoPlanes) {
    TestPage thumbnail = PageOf<std::uint8_t>(2, 2, {9, 9, 9, 9});
    thumbnail.subfileType = FILETYPE_REDUCEDIMAGE;
    TestPage mask = PageOf<std::uint8_t>(5, 4, std::vector<std::uint8_t>(20, 1));
    mask.subfileType = FILETYPE_MASK;
    TestPage paged = SmallPage(50);
    paged.subfileType = FILETYPE_PAGE;
    WriteTiff(File("stack.tif"), "wl", {thumbnail, SmallPage(), mask, paged});
    const std::vector<float> samples = ReadAll(File("stack.tif"));
    ASSERT_EQ(samples.size(), 40U);
    EXPECT_EQ(samples[0], 0.0F);
    EXPECT_EQ(samples[20], 50.0F);
}

TEST_F(Reading, UntypedSamplesAreUnsigned) {
    TestPage page = SmallPage(200);
    page.format = SAMPLEFORMAT_VOID;
    WriteTiff(File("stack.tif"), "wl", {page});
    EXPECT_EQ(ReadAll(File("stack.tif"))[19], 219.0F);
}

TEST_F(Reading, PseudoColoursAreGreyValues) {
    TestPage page = SmallPage(10);
    page.photometric = PHOTOMETRIC_PALETTE;
    page.risingColours = true;
    WriteTiff(File("green.tif"), "wl", {page, page});
    std::vector<float> samples;
    const std::string notes = NotesOf([&] { samples = ReadAll(File("green.tif")); });
    EXPECT_EQ(samples[1], 11.0F);
    EXPECT_NE(notes.find("colour table"), std::string::npos);
}

TEST_F(Reading, NotANumberPasses) {
    WriteTiff(File("nan.tif"), "wb", {PageOf<float>(2, 1, {std::nanf(""), 1.0F})});
    const std::vector<float> samples = ReadAll(File("nan.tif"));
    EXPECT_TRUE(std::isnan(samples[0]));
    EXPECT_EQ(samples[1], 1.0F);
}

TEST_F(Reading, LostDigitsAreToldOnce) {
    const TestPage page = PageOf<std::uint32_t>(3, 1, {16777217U, 16777216U, 16777219U});
    WriteTiff(File("long.tif"), "wl", {page, page});
    const std::string notes = NotesOf([&] {
        StackReader reader(File("long.tif"), messages_);
        std::vector<float> row(3);
        for (const int plane : {1, 1, 0, 0, 1}) reader.ReadPlane(plane, row.data(), 3);
    });
    EXPECT_EQ(notes, "rydecon: note: '" + File("long.tif").string() +
                         "': 4 samples lost digits on the way from uint32 to float32\n");
}

TEST_F(Reading, ImageJStackAboveItsFirstDirectory) {
    // ImageJ's form of large stacks: one directory, the further planes behind the first without any.
    for (const char* mode : {"wb", "wl"}) {
        std::vector<std::uint16_t> samples(5 * 4 * 3);
        std::iota(samples.begin(), samples.end(), std::uint16_t{250});
        TestPage page = PageOf(5, 12, samples);
        page.description = "ImageJ=1.53t\nimages=3\nslices=3\nunit=micron\nspacing=0.3\n";
        page.xResolution = 10.0F;
        page.yResolution = 10.0F;
        page.resolutionUnit = RESUNIT_NONE;
        WriteTiff(File("large.tif"), mode, {page});
        PatchTag(File("large.tif"), TIFFTAG_IMAGELENGTH, 4);
        PatchTag(File("large.tif"), TIFFTAG_ROWSPERSTRIP, 4);
        PatchTag(File("large.tif"), TIFFTAG_STRIPBYTECOUNTS, 40);
        StackReader reader(File("large.tif"), messages_);
        EXPECT_EQ(reader.header().planes(), 3);
        EXPECT_EQ(reader.header().height, 4);
        EXPECT_EQ(reader.header().voxel.x, 0.1);
        EXPECT_EQ(reader.header().voxel.z, 0.3);
        std::vector<float> rows(20);
        reader.ReadPlane(2, rows.data(), 5);
        EXPECT_EQ(rows[0], 290.0F);
        EXPECT_EQ(rows[19], 309.0F);
    }
}

TEST_F(Reading, ImageJCountThatIsNotTheFilesIsNoted) {
    TestPage first = SmallPage();
    first.description = "ImageJ=1.53t\nimages=5\nslices=5\n";
    WriteTiff(File("stack.tif"), "wl", {first, SmallPage(1), SmallPage(2)});
    int planes = 0;
    const std::string notes =
        NotesOf([&] { planes = StackReader(File("stack.tif"), messages_).header().planes(); });
    EXPECT_EQ(planes, 3);
    EXPECT_NE(notes.find("tell of 5 planes, the file holds 3 pages"), std::string::npos) << notes;
}

TEST_F(Reading, PlainResolutionTags) {
    TestPage page = SmallPage();
    page.xResolution = 100000.0F;
    page.yResolution = 50000.0F;
    page.resolutionUnit = RESUNIT_CENTIMETER;
    WriteTiff(File("fine.tif"), "wl", {page});
    EXPECT_EQ(StackReader(File("fine.tif"), messages_).header().voxel.x, 0.1);
    EXPECT_EQ(StackReader(File("fine.tif"), messages_).header().voxel.y, 0.2);
    page.xResolution = page.yResolution = 72.0F;
    page.resolutionUnit = RESUNIT_INCH;
    WriteTiff(File("screen.tif"), "wl", {page});
    EXPECT_EQ(StackReader(File("screen.tif"), messages_).header().voxel.x, std::nullopt);
}

std::string OmeText(const std::string& attributes, const std::string& inside) {
    return "<?xml version=\"1.0\"?><OME><Image><Pixels SizeX=\"5\" SizeY=\"4\" " + attributes + ">" + inside +
           "</Pixels></Image></OME>";
}

TEST_F(Reading, OmeVoxelAndPageOrder) {
    TestPage first = SmallPage(100);
    first.description = OmeText(
        "SizeZ=\"2\" SizeC=\"1\" SizeT=\"1\" PhysicalSizeX=\"0.065\" PhysicalSizeZ=\"200\" "
        "PhysicalSizeZUnit=\"nm\"",
        "<TiffData IFD=\"0\" FirstZ=\"1\"/><TiffData IFD=\"1\" FirstZ=\"0\"/>");
    WriteTiff(File("stack.ome.tif"), "wl", {first, SmallPage(7)});
    StackReader reader(File("stack.ome.tif"), messages_);
    EXPECT_EQ(reader.header().voxel.x, 0.065);
    EXPECT_EQ(reader.header().voxel.y, std::nullopt);
    EXPECT_DOUBLE_EQ(reader.header().voxel.z.value(), 0.2);
    const std::vector<float> samples = ReadAll(File("stack.ome.tif"));
    EXPECT_EQ(samples[0], 7.0F);
    EXPECT_EQ(samples[20], 100.0F);
}

TEST_F(Reading, OmeOfAnotherImageIsIgnored) {
    TestPage first = PageOf<std::uint8_t>(2, 2, {1, 2, 3, 4});
    first.description = OmeText("SizeZ=\"9\" SizeC=\"2\" PhysicalSizeX=\"0.065\"", "");
    WriteTiff(File("crop.ome.tif"), "wl", {first});
    StackHeader header;
    const std::string notes =
        NotesOf([&] { header = StackReader(File("crop.ome.tif"), messages_).header(); });
    EXPECT_EQ(header.planes(), 1);
    EXPECT_EQ(header.voxel.x, std::nullopt);
    EXPECT_NE(notes.find("another size"), std::string::npos) << notes;
}

}  // namespace
}  // namespace rydecon::testing
