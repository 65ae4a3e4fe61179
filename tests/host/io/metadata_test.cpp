// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "io/file_error.h"
#include "io/imagej_metadata.h"
#include "io/length_unit.h"
#include "io/ome_metadata.h"
#include "io/resolution_tags.h"

namespace rydecon {
namespace {

class Metadata : public ::testing::Test {
  protected:
    /// What `action` printed as notes.
    template <typename Action>
    std::string NotesOf(Action action) {
        ::testing::internal::CaptureStderr();
        action();
        return ::testing::internal::GetCapturedStderr();
    }
    VoxelSize ImageJVoxel(const std::string& lines, double x, double y, std::uint16_t unit = RESUNIT_NONE) {
        const auto metadata = ParseImageJ("ImageJ=1.53t\n" + lines);
        EXPECT_TRUE(metadata.has_value());
        return VoxelFromImageJ(*metadata, {x, y, unit}, notes_);
    }

    Messages messages_;
    FileNotes notes_{"stack.tif", messages_};
};

TEST_F(Metadata, UnitsAsMicroscopesSpellThem) {
    for (const char* name :
         {"um", "micron", "microns", "micrometer", "\xC2\xB5m", "\xCE\xBCm", "\xB5m", "\\u00B5m", " um "}) {
        EXPECT_EQ(MicrometresPer(name), 1.0) << name;
    }
    EXPECT_EQ(MicrometresPer("nm"), 1e-3);
    EXPECT_EQ(MicrometresPer("mm"), 1e3);
    EXPECT_EQ(MicrometresPer("cm"), 1e4);
    EXPECT_EQ(MicrometresPer("inch"), 25400.0);
    for (const char* name : {"", " ", "pixel", "reference frame", "sec", "UM2"}) {
        EXPECT_EQ(MicrometresPer(name), std::nullopt) << name;
    }
}

TEST_F(Metadata, NumbersAreReadWhole) {
    EXPECT_EQ(ParseNumber(" 0.125 "), 0.125);
    EXPECT_EQ(ParseNumber("+2"), 2.0);
    EXPECT_EQ(ParseNumber("1e-3"), 1e-3);
    EXPECT_EQ(ParseNumber("0,3"), std::nullopt);
    EXPECT_EQ(ParseNumber("3 um"), std::nullopt);
    EXPECT_EQ(ParseNumber(""), std::nullopt);
    EXPECT_TRUE(std::isnan(ParseNumber("NaN").value_or(0.0)));
}

TEST_F(Metadata, ImageJResolutionIsPerUnitOfTheDescription) {
    const VoxelSize voxel = ImageJVoxel("images=41\nslices=41\nunit=\\u00B5m\nspacing=0.125\n", 12.5, 10.0);
    EXPECT_EQ(voxel.x, 0.08);
    EXPECT_EQ(voxel.y, 0.1);
    EXPECT_EQ(voxel.z, 0.125);
}

TEST_F(Metadata, ImageJNanometres) {
    const VoxelSize voxel = ImageJVoxel("unit=nm\nspacing=300.0\n", 0.01, 0.01);
    EXPECT_EQ(voxel.x, 100.0 / 1e3);
    EXPECT_DOUBLE_EQ(voxel.z.value(), 0.3);
}

TEST_F(Metadata, ImageJSeparateUnitOfZ) {
    const VoxelSize voxel = ImageJVoxel("unit=um\nzunit=nm\nspacing=250\n", 10.0, 10.0);
    EXPECT_EQ(voxel.x, 0.1);
    EXPECT_EQ(voxel.z, 0.25);
}

TEST_F(Metadata, ImageJPixelUnitIsNoLength) {
    for (const char* unit : {"unit=pixel\n", "unit= \n", ""}) {
        const VoxelSize voxel = ImageJVoxel(std::string(unit) + "spacing=3\n", 10.0, 10.0);
        EXPECT_EQ(voxel.x, std::nullopt);
        EXPECT_EQ(voxel.z, std::nullopt);
    }
}

TEST_F(Metadata, ImageJKeepsWindowsLineEnds) {
    const auto metadata = ParseImageJ("ImageJ=1.53t\r\nimages=7\r\nslices=7\r\nunit=um\r\nspacing=0.5\r\n");
    ASSERT_TRUE(metadata.has_value());
    EXPECT_EQ(metadata->images, 7);
    EXPECT_EQ(metadata->unit, "um");
    EXPECT_EQ(metadata->spacing, 0.5);
}

TEST_F(Metadata, ImageJCountsThatAreNoneAreOne) {
    const auto metadata =
        ParseImageJ("ImageJ=\nimages=-3\nchannels=0\nframes=many\nslices=99999999999\n=\n\n");
    ASSERT_TRUE(metadata.has_value());
    EXPECT_EQ(metadata->images, 1);
    EXPECT_EQ(metadata->channels, 1);
    EXPECT_EQ(metadata->frames, 1);
    EXPECT_EQ(metadata->slices, 1);
}

TEST_F(Metadata, OtherDescriptionsAreNotImageJs) {
    EXPECT_FALSE(ParseImageJ("").has_value());
    EXPECT_FALSE(ParseImageJ("made with ImageJ=1").has_value());
}

TEST_F(Metadata, ImpossibleDistancesAreNotedAndIgnored) {
    for (const char* spacing : {"0", "0.0", "-0.3", "NaN", "inf", "1e30", "1e-30", "wide", ""}) {
        VoxelSize voxel;
        const std::string notes = NotesOf(
            [&] { voxel = ImageJVoxel(std::string("unit=um\nspacing=") + spacing + "\n", 10.0, 10.0); });
        EXPECT_EQ(voxel.z, std::nullopt) << spacing;
        EXPECT_EQ(voxel.x, 0.1) << spacing;
        EXPECT_NE(notes.find("distance of planes"), std::string::npos) << spacing;
        EXPECT_NE(notes.find("'stack.tif'"), std::string::npos) << notes;
    }
    VoxelSize voxel;
    const std::string notes = NotesOf([&] { voxel = ImageJVoxel("unit=um\n", 0.0, std::nan("")); });
    EXPECT_EQ(voxel.x, std::nullopt);
    EXPECT_EQ(voxel.y, std::nullopt);
    EXPECT_NE(notes.find("pixel width"), std::string::npos);
    EXPECT_NE(notes.find("pixel height"), std::string::npos);
}

TEST_F(Metadata, PrintResolutionsAreNoMicroscopes) {
    for (const double dpi : {72.0, 96.0, 300.0, 1200.0, 2400.0}) {
        EXPECT_EQ(VoxelFromResolution({dpi, dpi, RESUNIT_INCH}).x, std::nullopt) << dpi;
        EXPECT_EQ(ImageJVoxel("unit=inch\n", dpi, dpi).x, std::nullopt) << dpi;
    }
    EXPECT_EQ(VoxelFromResolution({0.0, -5.0, RESUNIT_INCH}).x, std::nullopt);
    EXPECT_EQ(VoxelFromResolution({10.0, 10.0, RESUNIT_NONE}).x, std::nullopt);
    EXPECT_EQ(VoxelFromResolution({1e12, 1e12, RESUNIT_CENTIMETER}).x, std::nullopt);
}

TEST_F(Metadata, FineResolutionsAre) {
    const VoxelSize voxel = VoxelFromResolution({100000.0, 50000.0, RESUNIT_CENTIMETER});
    EXPECT_EQ(voxel.x, 0.1);
    EXPECT_EQ(voxel.y, 0.2);
    EXPECT_EQ(voxel.z, std::nullopt);
    EXPECT_EQ(VoxelFromResolution({254000.0, 254000.0, RESUNIT_INCH}).x, 0.1);
    EXPECT_EQ(ImageJVoxel("unit=cm\nspacing=0.00003\n", 100000.0, 100000.0).x, 0.1);
}

TEST_F(Metadata, DistancesOutliveTheFloatOfLibtiff) {
    for (const double micrometres : {0.065, 0.1083, 0.02249186, 0.1, 1.0, 6.5, 0.3282}) {
        const auto [numerator, denominator] = ResolutionFraction(micrometres);
        const float asLibtiff = static_cast<float>(static_cast<double>(numerator) / denominator);
        EXPECT_EQ(DistanceFrom(asLibtiff, 1.0), micrometres);
    }
}

TEST_F(Metadata, ResolutionFractionsAreTheClosest) {
    const auto [numerator, denominator] = ResolutionFraction(0.065);
    EXPECT_EQ(numerator, 200U);
    EXPECT_EQ(denominator, 13U);
    for (const double micrometres : {1e-6, 0.0123456789, 3.14159265358979, 777.0, 1e6}) {
        const auto [p, q] = ResolutionFraction(micrometres);
        EXPECT_NEAR(static_cast<double>(q) / p / micrometres, 1.0, 1e-9) << micrometres;
        EXPECT_LT(p, 1U << 31);
        EXPECT_LT(q, 1U << 31);
    }
    EXPECT_GT(ResolutionFraction(1e-30).first, 0U);
    EXPECT_GT(ResolutionFraction(1e-30).second, 0U);
    EXPECT_GT(ResolutionFraction(1e30).first, 0U);
    EXPECT_GT(ResolutionFraction(1e30).second, 0U);
}

std::string Ome(const std::string& attributes, const std::string& inside = "") {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><OME "
           "xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
           "<Image ID=\"Image:0\"><Pixels SizeX=\"5\" SizeY=\"4\" " +
           attributes + ">" + inside + "</Pixels></Image></OME>";
}

TEST_F(Metadata, OmeSizesAndDefaultUnit) {
    const auto ome = ParseOme(Ome("SizeZ=\"3\" SizeC=\"2\" SizeT=\"6\" PhysicalSizeX=\"0.065\" "
                                  "PhysicalSizeY=\"65\" PhysicalSizeYUnit=\"nm\" PhysicalSizeZ=\"2.5E-4\" "
                                  "PhysicalSizeZUnit=\"mm\""),
                              notes_);
    ASSERT_TRUE(ome.has_value());
    EXPECT_EQ(ome->sizeX, 5);
    EXPECT_EQ(ome->sizeY, 4);
    EXPECT_EQ(ome->axes.slices, 3);
    EXPECT_EQ(ome->axes.channels, 2);
    EXPECT_EQ(ome->axes.times, 6);
    EXPECT_EQ(ome->images, 1);
    EXPECT_EQ(ome->voxel.x, 0.065);
    EXPECT_DOUBLE_EQ(ome->voxel.y.value(), 0.065);
    EXPECT_DOUBLE_EQ(ome->voxel.z.value(), 0.25);
}

TEST_F(Metadata, OmeUnitsThatAreNoLengthGiveNone) {
    const auto ome = ParseOme(Ome("PhysicalSizeX=\"1\" PhysicalSizeXUnit=\"pixel\" PhysicalSizeZ=\"2\" "
                                  "PhysicalSizeZUnit=\"reference frame\""),
                              notes_);
    ASSERT_TRUE(ome.has_value());
    EXPECT_EQ(ome->voxel.x, std::nullopt);
    EXPECT_EQ(ome->voxel.z, std::nullopt);
}

TEST_F(Metadata, OmeWithPrefixedElements) {
    const auto ome = ParseOme(
        "<OME:OME xmlns:OME=\"x\"><OME:Image><OME:Pixels SizeX=\"5\" SizeY=\"4\" "
        "SizeZ=\"2\" PhysicalSizeZ=\"0.3\"/></OME:Image></OME:OME>",
        notes_);
    ASSERT_TRUE(ome.has_value());
    EXPECT_EQ(ome->axes.slices, 2);
    EXPECT_EQ(ome->voxel.z, 0.3);
}

TEST_F(Metadata, OmeImpossibleSizesAreNotedAndIgnored) {
    for (const char* size : {"0", "-1", "NaN", "1e99", "thick"}) {
        std::optional<OmeMetadata> ome;
        const std::string notes =
            NotesOf([&] { ome = ParseOme(Ome("PhysicalSizeZ=\"" + std::string(size) + "\""), notes_); });
        ASSERT_TRUE(ome.has_value());
        EXPECT_EQ(ome->voxel.z, std::nullopt) << size;
        EXPECT_NE(notes.find("PhysicalSizeZ"), std::string::npos) << size;
    }
}

TEST_F(Metadata, OmeThatCannotBeUsedIsNoted) {
    for (const char* text : {"<?xml version=\"1.0\"?><OME><Image", "<OME><BinaryOnly UUID=\"u\"/></OME>",
                             "<OME><Image><Pixels SizeX=\"-1\" SizeY=\"4\"/></Image></OME>"}) {
        const std::string notes = NotesOf([&] { EXPECT_FALSE(ParseOme(text, notes_).has_value()); });
        EXPECT_NE(notes.find("ignored"), std::string::npos) << text;
    }
    EXPECT_EQ(NotesOf([&] { EXPECT_FALSE(ParseOme("<svg/>", notes_).has_value()); }), "");
}

TEST_F(Metadata, OmeEntitiesAreNotExpanded) {
    std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE OME [<!ENTITY a \"aaaaaaaaaa\">";
    for (char c = 'b'; c < 'k'; ++c) {
        bomb += std::string("<!ENTITY ") + c + " \"";
        for (int k = 0; k < 10; ++k) bomb += std::string("&") + static_cast<char>(c - 1) + ";";
        bomb += "\">";
    }
    bomb +=
        "<!ENTITY file SYSTEM \"file:///etc/passwd\">]><OME><Image Name=\"&j;&file;\"><Pixels SizeX=\"5\" "
        "SizeY=\"4\" PhysicalSizeX=\"&file;\"/></Image></OME>";
    std::optional<OmeMetadata> ome;
    NotesOf([&] { ome = ParseOme(bomb, notes_); });
    ASSERT_TRUE(ome.has_value());
    EXPECT_EQ(ome->sizeX, 5);
    EXPECT_EQ(ome->voxel.x, std::nullopt);
}

/// The pages of one file of `pages` that hold the planes; empty where the runs do not tell.
std::vector<int> PageOrder(const OmeMetadata& ome, int planes, int pages) {
    std::vector<int> order;
    for (const OmePlace& place : PlacesOf(ome.runs, std::vector<int>(ome.runs.size(), 0), {pages}, planes)) {
        order.push_back(place.page);
    }
    return order;
}

TEST_F(Metadata, OmePageOrder) {
    const auto ome = ParseOme(Ome("SizeZ=\"3\"",
                                  "<TiffData IFD=\"0\" FirstZ=\"2\"/><TiffData IFD=\"1\" FirstZ=\"1\"/>"
                                  "<TiffData IFD=\"2\" FirstZ=\"0\"/>"),
                              notes_);
    ASSERT_TRUE(ome.has_value());
    EXPECT_EQ(PageOrder(*ome, 3, 3), (std::vector<int>{2, 1, 0}));

    const auto whole = ParseOme(Ome("SizeZ=\"3\"", "<TiffData/>"), notes_);
    ASSERT_TRUE(whole.has_value());
    EXPECT_EQ(PageOrder(*whole, 3, 3), (std::vector<int>{0, 1, 2}));

    const auto rotated =
        ParseOme(Ome("SizeZ=\"3\"",
                     "<TiffData IFD=\"1\" FirstZ=\"0\" PlaneCount=\"2\"/><TiffData IFD=\"0\" FirstZ=\"2\"/>"),
                 notes_);
    ASSERT_TRUE(rotated.has_value());
    EXPECT_EQ(PageOrder(*rotated, 3, 3), (std::vector<int>{1, 2, 0}));
    EXPECT_EQ(PageOrder(*rotated, 3, 5), (std::vector<int>{1, 2, 0}));
}

TEST_F(Metadata, OmePlanesFollowTheDimensionOrder) {
    const auto ome = ParseOme(Ome("DimensionOrder=\"XYTZC\" SizeZ=\"3\" SizeC=\"2\" SizeT=\"4\"",
                                  "<TiffData IFD=\"0\" FirstC=\"1\" FirstZ=\"2\" FirstT=\"3\"/>"),
                              notes_);
    ASSERT_TRUE(ome.has_value());
    EXPECT_EQ(ome->order, "TZC");
    EXPECT_EQ(ome->runs.at(0).firstPlane, 3 + 4 * (2 + 3 * 1));
    for (int n = 0; n < 24; ++n) {
        EXPECT_EQ(PlaceInOrder(ome->axes, ome->order, PlaneInOrder(ome->axes, ome->order, n)), n);
    }
}

TEST_F(Metadata, OmePlanesMayStandInSeveralFiles) {
    const std::vector<OmePlaneRun> runs{{0, 1, 2, "", ""}, {2, 0, {}, "", ""}};
    EXPECT_EQ(PlacesOf(runs, {1, 0}, {1, 3}, 3), (std::vector<OmePlace>{{1, 1}, {1, 2}, {0, 0}}));
}

TEST_F(Metadata, OmePlacesThatAreNone) {
    const auto places = [](const std::vector<OmePlaneRun>& runs) {
        return PlacesOf(runs, std::vector<int>(runs.size(), 0), {3}, 3);
    };
    const std::vector<OmePlace> none;
    EXPECT_EQ(places({}), none);
    EXPECT_EQ(places({{0, 0, 1, "", ""}, {1, 0, 1, "", ""}, {2, 0, 1, "", ""}}), none);
    EXPECT_EQ(places({{0, 2147483647, 1, "", ""}}), none);
    EXPECT_EQ(places({{-1, 0, 3, "", ""}}), none);
    EXPECT_EQ(places({{0, 0, -2147483647, "", ""}}), none);
    EXPECT_EQ(places({{2, 0, 1, "", ""}, {1, 1, 1, "", ""}}), none);
    EXPECT_EQ(PlacesOf({{0, 0, {}, "", ""}}, {0}, {2}, 2147483647), none);
}

TEST_F(Metadata, MessagesStayOnOneLine) {
    EXPECT_EQ(Quoted("a\nb\x7f.tif"), "'a b .tif'");
    EXPECT_STREQ(ReadError("s.tif", "one\ntwo").what(), "cannot read 's.tif': one two");
    EXPECT_STREQ(WriteError("s.tif", "full").what(), "cannot write 's.tif': full");
    EXPECT_EQ(NotesOf([&] { Messages().Note("hello"); }), "rydecon: note: hello\n");
    EXPECT_EQ(NotesOf([&] { Messages(true).Note("hello"); }), "");
}

}  // namespace
}  // namespace rydecon
