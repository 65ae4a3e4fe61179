// SPDX-License-Identifier: MIT
// Files with damaged bytes, thousands of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "io/stack_reader.h"
#include "tiff_fixture.h"

namespace rydecon::testing {
namespace {

// Whatever a damaged byte makes of a file: it is read or refused, in one line, within the buffer.
class Damaging : public FolderTest {
  protected:
    std::size_t Random(std::size_t below) {
        state_ = state_ * 1664525U + 1013904223U;
        return static_cast<std::size_t>(state_ >> 8) % below;
    }
    void ReadDamaged(const std::vector<unsigned char>& bytes, Accept accept) {
        const Messages silent(true);
        WriteBytes(File("damaged.tif"), bytes);
        try {
            StackReader reader(File("damaged.tif"), silent, accept);
            const StackHeader& header = reader.header();
            const auto samples =
                static_cast<std::uint64_t>(header.width) * static_cast<std::uint64_t>(header.height);
            if (samples > 1000000) return;
            std::vector<float> rows(samples);
            for (int plane = 0; plane < header.planes(); ++plane) {
                reader.ReadPlane(plane, rows.data(), header.width);
            }
        } catch (const UserError& refusal) {
            EXPECT_EQ(std::string(refusal.what()).find('\n'), std::string::npos);
        }
    }
    /// Some bytes are changed, in the text of the description digits with digits, the file may be cut.
    void DamageAndRead(const std::vector<unsigned char>& whole, Accept accept) {
        auto bytes = whole;
        for (std::size_t k = 0; k <= Random(3); ++k) {
            auto& byte = bytes[Random(bytes.size())];
            const bool digit = byte >= '0' && byte <= '9';
            byte = static_cast<unsigned char>(digit && Random(4) > 0 ? '0' + Random(10) : Random(256));
        }
        if (Random(4) == 0) bytes.resize(Random(bytes.size()));
        ReadDamaged(bytes, accept);
    }

  private:
    std::uint32_t state_ = 7;
};

TEST_F(Damaging, StacksDoNoHarm) {
    TestPage strips = SmallPage();
    strips.rowsPerStrip = 2;
    strips.description = "ImageJ=1.53t\nimages=2\nslices=2\nunit=um\nspacing=0.5\n";
    strips.xResolution = strips.yResolution = 10.0F;
    TestPage tiles = SmallPage();
    tiles.tile = 16;
    tiles.compression = COMPRESSION_LZW;
    tiles.description =
        "<OME><Image><Pixels SizeX=\"5\" SizeY=\"4\" SizeZ=\"2\" PhysicalSizeX=\"0.1\"/></Image></OME>";
    for (const auto& [mode, page] :
         {std::pair("wl", strips), std::pair("wb", tiles), std::pair("wl8", strips)}) {
        WriteTiff(File("whole.tif"), mode, {page, page});
        const auto whole = BytesOfFile(File("whole.tif"));
        for (int trial = 0; trial < 1500; ++trial) DamageAndRead(whole, Accept::Volume);
    }
}

TEST_F(Damaging, HyperstacksDoNoHarm) {
    const std::string blocks =
        "<Channel SamplesPerPixel=\"1\"/><TiffData FirstC=\"1\" IFD=\"0\" PlaneCount=\"2\"/>"
        "<TiffData FirstC=\"0\" IFD=\"2\" PlaneCount=\"2\"><UUID FileName=\"whole.tif\">1</UUID></TiffData>";
    TestPage page = SmallPage();
    for (const std::string& description :
         {std::string("ImageJ=1.53t\nimages=4\nchannels=2\nframes=2\nhyperstack=true\nfinterval=0.5\n"),
          "<OME><Image><Pixels DimensionOrder=\"XYTZC\" SizeX=\"5\" SizeY=\"4\" SizeC=\"2\" SizeT=\"2\">" +
              blocks + "</Pixels></Image></OME>",
          std::string("{\"shape\": [2, 2, 4, 5], \"axes\": \"TCYX\"}")}) {
        page.description = description;
        WriteTiff(File("whole.tif"), "wl", {page, SmallPage(), SmallPage(), SmallPage()});
        const auto whole = BytesOfFile(File("whole.tif"));
        // Where the description stands, damage hits most.
        const auto text = std::search(whole.begin(), whole.end(), description.begin(), description.end());
        ASSERT_NE(text, whole.end());
        for (int trial = 0; trial < 300; ++trial) {
            DamageAndRead(whole, Accept::AnyStack);
            auto bytes = whole;
            const auto at = static_cast<std::size_t>(text - whole.begin()) + Random(description.size());
            bytes[at] = static_cast<unsigned char>(Random(2) == 0 ? '0' + Random(10) : 32 + Random(96));
            ReadDamaged(bytes, Accept::AnyStack);
        }
    }
}

TEST_F(Damaging, ColoursDoNoHarm) {
    TestPage page = PageOf<std::uint8_t>(5, 4, std::vector<std::uint8_t>(60, 7));
    page.samplesPerPixel = 3;
    page.photometric = PHOTOMETRIC_RGB;
    for (const int scheme : {COMPRESSION_NONE, COMPRESSION_LZW}) {
        page.compression = static_cast<std::uint16_t>(scheme);
        page.rowsPerStrip = 3;
        WriteTiff(File("whole.tif"), "wl", {page, page});
        const auto whole = BytesOfFile(File("whole.tif"));
        for (int trial = 0; trial < 300; ++trial) DamageAndRead(whole, Accept::AnyStack);
        PatchTag(File("whole.tif"), TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
        const auto separate = BytesOfFile(File("whole.tif"));
        for (int trial = 0; trial < 100; ++trial) DamageAndRead(separate, Accept::AnyStack);
    }
}

}  // namespace
}  // namespace rydecon::testing
