// SPDX-License-Identifier: MIT
// Files that are no stack to restore: each is refused in one line that names the file and says what would be
// right.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "io/stack_reader.h"
#include "tiff_fixture.h"

namespace rydecon::testing {
namespace {

class Refusing : public FolderTest {
  protected:
    /// Opens the file and reads all of it, and expects a refusal that contains all the words.
    void ExpectRefusal(const std::filesystem::path& path, const std::vector<std::string>& words) {
        ::testing::internal::CaptureStderr();
        const std::string line = RefusalOf(path, [&] {
            StackReader reader(path, messages_);
            const StackHeader& header = reader.header();
            std::vector<float> rows(static_cast<std::size_t>(header.width) *
                                    static_cast<std::size_t>(header.height));
            for (int plane = 0; plane < header.planes(); ++plane) {
                reader.ReadPlane(plane, rows.data(), header.width);
            }
        });
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
        for (const std::string& word : words) EXPECT_NE(line.find(word), std::string::npos) << line;
    }
    void ExpectPageRefusal(const TestPage& page, const std::vector<std::string>& words) {
        WriteTiff(File("page.tif"), "wl", {page});
        ExpectRefusal(File("page.tif"), words);
    }
    const Messages messages_;
};

TEST_F(Refusing, MissingFile) {
    ExpectRefusal(File("missing.tif"), {"no such file", "check"});
}

TEST_F(Refusing, Folder) {
    ExpectRefusal(folder(), {"folder", "TIFF stack"});
}

TEST_F(Refusing, NamedPipe) {
    ASSERT_EQ(mkfifo(File("pipe.tif").c_str(), 0600), 0);
    ExpectRefusal(File("pipe.tif"), {"no regular file"});
}

TEST_F(Refusing, EmptyFile) {
    WriteBytes(File("empty.tif"), {});
    ExpectRefusal(File("empty.tif"), {"empty", "TIFF stack"});
}

TEST_F(Refusing, OtherFormats) {
    WriteBytes(File("a.png"), {0x89, 'P', 'N', 'G', 13, 10, 26, 10, 0, 0});
    ExpectRefusal(File("a.png"), {"the PNG file is damaged"});
    WriteBytes(File("a.gif"), {'G', 'I', 'F', '8', '9', 'a', 0, 0});
    ExpectRefusal(File("a.gif"), {"not a TIFF", "Save As"});
    WriteBytes(File("short.tif"), {'I'});
    ExpectRefusal(File("short.tif"), {"not a TIFF"});
    WriteBytes(File("swapped.tif"), {'I', 'I', 0, 42});
    ExpectRefusal(File("swapped.tif"), {"not a TIFF"});
}

TEST_F(Refusing, NameWithLineFeed) {
    const auto path = File("a\nb.tif");
    try {
        StackReader reader(path, messages_);
        FAIL();
    } catch (const UserError& refusal) {
        EXPECT_EQ(std::string(refusal.what()).find('\n'), std::string::npos);
    }
}

TEST_F(Refusing, NoPages) {
    WriteBytes(File("none.tif"), {'I', 'I', 42, 0, 0, 0, 0, 0});
    ExpectRefusal(File("none.tif"), {"no image"});
}

TEST_F(Refusing, HeaderOnly) {
    WriteBytes(File("header.tif"), {'I', 'I', 42, 0});
    ExpectRefusal(File("header.tif"), {"damaged"});
}

TEST_F(Refusing, OnlyThumbnails) {
    TestPage thumbnail = SmallPage();
    thumbnail.subfileType = FILETYPE_REDUCEDIMAGE;
    ExpectPageRefusal(thumbnail, {"thumbnails", "full-size"});
}

TEST_F(Refusing, PagesOfDifferentSize) {
    WriteTiff(File("mixed.tif"), "wl",
              {SmallPage(), PageOf<std::uint8_t>(4, 5, std::vector<std::uint8_t>(20))});
    ExpectRefusal(File("mixed.tif"), {"page 2 is 4 x 5 uint8, page 1 is 5 x 4 uint8", "one size"});
}

TEST_F(Refusing, PagesOfDifferentType) {
    WriteTiff(File("mixed.tif"), "wl",
              {SmallPage(), PageOf<std::int8_t>(5, 4, std::vector<std::int8_t>(20))});
    ExpectRefusal(File("mixed.tif"), {"5 x 4 int8", "5 x 4 uint8"});
}

TEST_F(Refusing, Colour) {
    TestPage page = PageOf<std::uint8_t>(5, 4, std::vector<std::uint8_t>(60));
    page.samplesPerPixel = 3;
    page.photometric = PHOTOMETRIC_RGB;
    ExpectPageRefusal(page, {"3 samples per pixel", "Split Channels"});
    page.bytes.resize(40);
    page.samplesPerPixel = 2;
    page.photometric = PHOTOMETRIC_MINISBLACK;
    ExpectPageRefusal(page, {"2 samples per pixel"});
}

TEST_F(Refusing, VolumeInOnePage) {
    TestPage page = SmallPage();
    page.depth = 2;
    ExpectPageRefusal(page, {"volume of its own", "one page a plane"});
}

TEST_F(Refusing, ColourTable) {
    TestPage page = SmallPage();
    page.photometric = PHOTOMETRIC_PALETTE;
    ExpectPageRefusal(page, {"colour table", "grey"});
}

TEST_F(Refusing, WhiteAsZero) {
    TestPage page = SmallPage();
    page.photometric = PHOTOMETRIC_MINISWHITE;
    ExpectPageRefusal(page, {"white as zero", "black as zero"});
}

TEST_F(Refusing, OtherPhotometric) {
    TestPage page = SmallPage();
    page.photometric = PHOTOMETRIC_CFA;
    ExpectPageRefusal(page, {"no grey image", "grey values"});
}

TEST_F(Refusing, OtherSampleTypes) {
    TestPage page = SmallPage();
    const auto refuse = [&](std::uint16_t bits, std::uint16_t format, std::size_t rowBytes,
                            const char* words) {
        page.bits = bits;
        page.format = format;
        page.bytes.assign(rowBytes * 4, 0);
        ExpectPageRefusal(page, {words, "are needed"});
    };
    refuse(1, SAMPLEFORMAT_UINT, 1, "1-bit unsigned integer");
    refuse(4, SAMPLEFORMAT_UINT, 3, "4-bit unsigned integer");
    refuse(12, SAMPLEFORMAT_UINT, 8, "12-bit unsigned integer");
    refuse(24, SAMPLEFORMAT_UINT, 15, "24-bit unsigned integer");
    refuse(64, SAMPLEFORMAT_UINT, 40, "64-bit unsigned integer");
    refuse(64, SAMPLEFORMAT_INT, 40, "64-bit signed integer");
    refuse(16, SAMPLEFORMAT_IEEEFP, 10, "16-bit float");
    refuse(64, SAMPLEFORMAT_COMPLEXIEEEFP, 40, "64-bit complex");
    refuse(32, SAMPLEFORMAT_COMPLEXINT, 20, "32-bit complex");
}

TEST_F(Refusing, DoublesBeyondFloat) {
    ExpectPageRefusal(PageOf<double>(2, 1, {1e300, 1.0}), {"1 sample ", "is beyond", "float32", "divide"});
}

TEST_F(Refusing, UnknownCompression) {
    WriteTiff(File("odd.tif"), "wl", {SmallPage()});
    PatchTag(File("odd.tif"), TIFFTAG_COMPRESSION, 49999);
    ExpectRefusal(File("odd.tif"), {"compressed", "LZW or Deflate"});
}

TEST_F(Refusing, ImpossibleSizes) {
    WriteTiff(File("size.tif"), "wl", {SmallPage()});
    PatchTag(File("size.tif"), TIFFTAG_IMAGEWIDTH, 60000);
    ExpectRefusal(File("size.tif"), {"truncated", "page 1"});
    WriteTiff(File("size.tif"), "wl", {SmallPage()});
    PatchTag(File("size.tif"), TIFFTAG_IMAGEWIDTH, 0);
    ExpectRefusal(File("size.tif"), {});
    // libtiff stores sizes below 65536 in 16 bits, so a larger page is patched further.
    WriteTiff(File("wide.tif"), "wl", {PageOf<std::uint8_t>(70000, 1, std::vector<std::uint8_t>(70000))});
    PatchTag(File("wide.tif"), TIFFTAG_IMAGEWIDTH, 0xFFFFFFFFU);
    ExpectRefusal(File("wide.tif"), {"impossible size 4294967295 x 1"});
    TestPage packed = PageOf<std::uint8_t>(70000, 1, std::vector<std::uint8_t>(70000));
    packed.compression = COMPRESSION_ADOBE_DEFLATE;
    WriteTiff(File("wide.tif"), "wl", {packed});
    PatchTag(File("wide.tif"), TIFFTAG_IMAGEWIDTH, 0x7FFFFFFFU);
    PatchTag(File("wide.tif"), TIFFTAG_IMAGELENGTH, 60000);
    ExpectRefusal(File("wide.tif"), {"impossible size"});
}

TEST_F(Refusing, SamplesBeyondTheEnd) {
    WriteTiff(File("offset.tif"), "wl", {SmallPage()});
    PatchTag(File("offset.tif"), TIFFTAG_STRIPOFFSETS, 0x7FFFFFF0U);
    ExpectRefusal(File("offset.tif"), {"truncated", "page 1", "copy or export"});
}

TEST_F(Refusing, SamplesNowhere) {
    WriteTiff(File("nowhere.tif"), "wl", {SmallPage()});
    PatchTag(File("nowhere.tif"), TIFFTAG_STRIPOFFSETS, 0);
    ExpectRefusal(File("nowhere.tif"), {"lacks part of its samples"});
}

TEST_F(Refusing, FileCutInItsChainOfPages) {
    WriteTiff(File("cut.tif"), "wl", {SmallPage(), SmallPage(), SmallPage()});
    auto bytes = BytesOfFile(File("cut.tif"));
    bytes.resize(bytes.size() - 60);
    WriteBytes(File("cut.tif"), bytes);
    ExpectRefusal(File("cut.tif"), {"truncated or damaged after page 2"});
}

TEST_F(Refusing, ChainOfPagesThatBites) {
    WriteTiff(File("loop.tif"), "wl", {SmallPage()});
    const auto bytes = BytesOfFile(File("loop.tif"));
    PatchNextDirectory(File("loop.tif"), bytes[4]);
    ExpectRefusal(File("loop.tif"), {"damaged after page 1"});
}

TEST_F(Refusing, CompressedSamplesCutShort) {
    for (const int scheme : {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        std::vector<std::uint8_t> noise(64 * 64);
        std::uint32_t state = 1;
        for (auto& sample : noise) {
            state = state * 1664525U + 1013904223U;
            sample = static_cast<std::uint8_t>(state >> 24);
        }
        TestPage page = PageOf(64, 64, noise);
        page.compression = static_cast<std::uint16_t>(scheme);
        WriteTiff(File("cut.tif"), "wl", {page});
        PatchTag(File("cut.tif"), TIFFTAG_STRIPBYTECOUNTS, 500);
        ExpectRefusal(File("cut.tif"), {"page 1", "truncated or damaged"});
        page.tile = 64;
        WriteTiff(File("cut.tif"), "wl", {page});
        PatchTag(File("cut.tif"), TIFFTAG_TILEBYTECOUNTS, 500);
        ExpectRefusal(File("cut.tif"), {"page 1", "truncated or damaged"});
    }
}

TEST_F(Refusing, JpegThatItsDecoderWouldFillUp) {
    if (TIFFIsCODECConfigured(COMPRESSION_JPEG) == 0) GTEST_SKIP() << "this libtiff has no JPEG";
    std::vector<std::uint8_t> ramp(64 * 64);
    for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<std::uint8_t>(i * 37);
    TestPage page = PageOf(64, 64, ramp);
    page.compression = COMPRESSION_JPEG;
    WriteTiff(File("cut.tif"), "wl", {page});
    {
        StackReader whole(File("cut.tif"), messages_);
        std::vector<float> rows(64 * 64);
        EXPECT_NO_THROW(whole.ReadPlane(0, rows.data(), 64));
    }
    PatchTag(File("cut.tif"), TIFFTAG_STRIPBYTECOUNTS, 400);
    ExpectRefusal(File("cut.tif"), {"page 1", "truncated or damaged"});
}

TEST_F(Refusing, ChannelsAndTimesOfImageJ) {
    TestPage first = SmallPage();
    first.description = "ImageJ=1.53t\nimages=4\nchannels=2\nslices=2\n";
    WriteTiff(File("channels.tif"), "wl", {first, SmallPage(), SmallPage(), SmallPage()});
    ExpectRefusal(File("channels.tif"), {"2 channels", "one channel and one time point", "Duplicate"});
    first.description = "ImageJ=1.53t\nimages=4\nframes=4\n";
    WriteTiff(File("times.tif"), "wl", {first, SmallPage(), SmallPage(), SmallPage()});
    ExpectRefusal(File("times.tif"), {"4 time points", "declare them as slices", "Properties"});
}

TEST_F(Refusing, ImageJStackWithoutItsPlanes) {
    TestPage page = SmallPage();
    page.description = "ImageJ=1.53t\nimages=300000000\nslices=300000000\n";
    ExpectPageRefusal(page, {"truncated", "300000000 planes"});
    page.compression = COMPRESSION_LZW;
    ExpectPageRefusal(page, {"truncated", "300000000 planes"});
}

std::string OmeText(const std::string& attributes) {
    return "<OME><Image><Pixels SizeX=\"5\" SizeY=\"4\" " + attributes + "/></Image></OME>";
}

TEST_F(Refusing, ChannelsTimesAndImagesOfOme) {
    TestPage page = SmallPage();
    page.description = OmeText("SizeZ=\"1\" SizeC=\"2\"");
    ExpectPageRefusal(page, {"2 channels", "one channel"});
    page.description = OmeText("SizeZ=\"1\" SizeT=\"5\"");
    ExpectPageRefusal(page, {"5 time points"});
    page.description = "<OME><Image><Pixels SizeX=\"5\" SizeY=\"4\"/></Image><Image/></OME>";
    ExpectPageRefusal(page, {"2 images", "one stack"});
}

TEST_F(Refusing, OmeStackSpreadOverFiles) {
    TestPage page = SmallPage();
    page.description = OmeText("SizeZ=\"2147483647\"");
    ExpectPageRefusal(page, {"tell of 2147483647 planes, but it holds 1 page;", "one file"});
}

}  // namespace
}  // namespace rydecon::testing
