// SPDX-License-Identifier: MIT
// rydecon restore without a PSF file, and with one whose voxels differ from the image's.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "io/tiff_fixture.h"
#include "support/program_run.h"
#include "support/stack_files.h"

namespace rydecon {
namespace {

namespace fs = std::filesystem;
using test::IsOneErrorLine;
using test::MakeStack;
using test::ProgramResult;
using test::ReadStack;
using test::RunProgram;
using test::Stack;
using test::TemporaryFolder;
using test::WriteStack;
using Words = std::vector<std::string>;

constexpr int kWidth = 40;
constexpr int kHeight = 36;
constexpr int kPlanes = 15;

const char* const kInstrument =
    "<Instrument ID='I:0'><Objective ID='O:0' LensNA='1.2' NominalMagnification='60' "
    "Immersion='Water'/></Instrument>";
const char* const kSettings = "<ObjectiveSettings ID='O:0' RefractiveIndex='1.33'/>";
const char* const kVoxel =
    "PhysicalSizeX='100' PhysicalSizeXUnit='nm' PhysicalSizeY='0.1' PhysicalSizeZ='0.25'";
const char* const kChannel = "<Channel EmissionWavelength='520' AcquisitionMode='WideField'/>";

class RestoreFromOptics : public ::testing::Test {
  protected:
    RestoreFromOptics() {
        // A blurred stack whose PSF is that of the optics.
        const Words psf = {"psf",  "--modality", "widefield",  "--na",  "1.2",
                           "--ri", "1.33",       "--emission", "520nm", "--pixel",
                           "0.1",  "--z-step",   "0.25",       "-o",    "psf.tif"};
        EXPECT_EQ(RunProgram(folder_.path(), psf).exitCode, 0);
        const Words simulation = {"simulate", "--psf", "psf.tif", "--size", "40",        "36",  "15",
                                  "--seed",   "4",     "-o",      "made",   "--photons", "5000"};
        EXPECT_EQ(RunProgram(folder_.path(), simulation).exitCode, 0);
        blurred_ = ReadStack(In("made") / "blurred.tif");
    }

    fs::path In(const std::string& name) const { return folder_.path() / name; }

    /// The blurred stack as OME-TIFF.
    void WriteOme(const std::string& instrument, const std::string& settings, const std::string& voxel,
                  const std::string& channel) {
        std::vector<rydecon::testing::TestPage> pages;
        const std::size_t plane = std::size_t{kWidth} * kHeight;
        for (std::size_t k = 0; k < kPlanes; ++k) {
            const auto first = blurred_.samples.begin() + static_cast<std::ptrdiff_t>(k * plane);
            pages.push_back(rydecon::testing::PageOf(
                kWidth, kHeight, std::vector<float>(first, first + static_cast<std::ptrdiff_t>(plane))));
        }
        pages.front().description =
            "<?xml version='1.0'?><OME xmlns='http://www.openmicroscopy.org/Schemas/OME/2016-06'>" +
            instrument + "<Image ID='Im:0'>" + settings +
            "<Pixels ID='P:0' DimensionOrder='XYZCT' Type='float' SizeX='40' SizeY='36' SizeZ='15' SizeC='1' "
            "SizeT='1' " +
            voxel + ">" + channel + "<TiffData/></Pixels></Image></OME>";
        rydecon::testing::WriteTiff(In("ome.tif"), "wl", pages);
    }

    ProgramResult Restore(const std::string& image, const Words& more) {
        Words words = {"restore", image, "-o", "restored.tif", "--overwrite", "--iterations", "8"};
        words.insert(words.end(), more.begin(), more.end());
        return RunProgram(folder_.path(), words);
    }
    void ExpectRefusal(const ProgramResult& result, int exitCode, const std::string& part) {
        EXPECT_EQ(result.exitCode, exitCode) << result.err;
        EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
        EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
        EXPECT_FALSE(fs::exists(In("restored.tif")));
    }
    static void ExpectTold(const ProgramResult& result, const std::string& part) {
        EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
    }

    /// Largest difference between the restored stack and another, relative to the brightest sample.
    double DifferenceFrom(const Stack& other) const {
        const Stack restored = ReadStack(In("restored.tif"));
        double largest = 0.0;
        double brightest = 0.0;
        for (std::size_t n = 0; n < other.samples.size(); ++n) {
            largest = std::max<double>(largest, std::abs(restored.samples[n] - other.samples[n]));
            brightest = std::max<double>(brightest, other.samples[n]);
        }
        return largest / brightest;
    }

    TemporaryFolder folder_;
    Stack blurred_;
};

TEST_F(RestoreFromOptics, FullOmeMetadataSuffice) {
    ASSERT_EQ(Restore("made/blurred.tif", {"--psf", "psf.tif"}).exitCode, 0);
    const Stack expected = ReadStack(In("restored.tif"));
    WriteOme(kInstrument, kSettings, kVoxel, kChannel);
    const ProgramResult result = Restore("ome.tif", {});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    for (const char* part : {"modality widefield (OME-XML)", "numerical aperture 1.2 (OME-XML)",
                             "refractive index 1.33 (OME-XML)", "emission wavelength 0.52 um (OME-XML)",
                             "pixel size 0.1 um (OME-XML)", "distance of planes 0.25 um (OME-XML)"}) {
        ExpectTold(result, part);
    }
    // The file went through one more rounding.
    EXPECT_LT(DifferenceFrom(expected), 1e-3);
    EXPECT_GT(DifferenceFrom(blurred_), 0.2);
}

TEST_F(RestoreFromOptics, OptionsSuffice) {
    const ProgramResult result = Restore("made/blurred.tif", {"--modality", "widefield", "--na", "1.2",
                                                              "--ri", "1.33", "--emission", "520nm"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ExpectTold(result, "emission wavelength 0.52 um (--emission), pixel size 0.1 um (ImageJ metadata)");
    EXPECT_NEAR(ReadStack(In("restored.tif")).header.voxel.z.value(), 0.25, 1e-9);
}

/// ImageJ's two tags with an info text, put into the first page of a file.
void AddInfo(const fs::path& path, const std::string& info) {
    std::vector<std::uint32_t> words = {0x494a494a, 0x696e666f, 1};  // "IJIJ", "info"
    std::vector<unsigned char> bytes(sizeof(std::uint32_t) * words.size());
    std::memcpy(bytes.data(), words.data(), bytes.size());
    for (const char c : info) {
        const auto unit = static_cast<std::uint16_t>(c);
        const auto* const raw = reinterpret_cast<const unsigned char*>(&unit);
        bytes.insert(bytes.end(), raw, raw + sizeof unit);
    }
    const std::vector<std::uint32_t> counts = {12, static_cast<std::uint32_t>(2 * info.size())};
    char countsName[] = "counts";
    char blocksName[] = "blocks";
    const TIFFFieldInfo fields[] = {
        {50838, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_LONG, FIELD_CUSTOM, 1, 1, countsName},
        {50839, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_BYTE, FIELD_CUSTOM, 1, 1, blocksName}};
    TIFF* const tiff = TIFFOpen(path.c_str(), "r+");
    ASSERT_NE(tiff, nullptr);
    TIFFMergeFieldInfo(tiff, fields, 2);
    TIFFSetField(tiff, 50838, static_cast<std::uint32_t>(counts.size()), counts.data());
    TIFFSetField(tiff, 50839, static_cast<std::uint32_t>(bytes.size()), bytes.data());
    EXPECT_NE(TIFFRewriteDirectory(tiff), 0);
    TIFFClose(tiff);
}

TEST_F(RestoreFromOptics, ImageJsInfoIsRead) {
    std::vector<rydecon::testing::TestPage> pages = {
        rydecon::testing::PageOf(8, 8, std::vector<float>(64, 1.0F))};
    pages.front().description = "ImageJ=1.53t\nunit=um\n";
    pages.front().xResolution = pages.front().yResolution = 10.0F;
    rydecon::testing::WriteTiff(In("ij.tif"), "wl", pages);
    AddInfo(In("ij.tif"), "Objective|LensNA = 1.2\nRefractiveIndex = 1.33\nEmissionWavelength = 520\n");
    // One plane: its PSF is the focal plane, and a distance of planes is not needed.
    const ProgramResult result = Restore("ij.tif", {"--modality", "widefield", "--pinhole", "1"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ExpectTold(result, "numerical aperture 1.2 (ImageJ info), refractive index 1.33 (ImageJ info)");
    ExpectTold(result, "--pinhole means nothing to --modality widefield");
    EXPECT_NE(result.out.find(" x 1, "), std::string::npos) << result.out;  // the padded volume
    ExpectTold(result, "emission wavelength 0.52 um (ImageJ info), pixel size 0.1 um (ImageJ metadata)");
}

TEST_F(RestoreFromOptics, OptionsGoBeforeMetadata) {
    WriteOme(kInstrument, kSettings, kVoxel, kChannel);
    const ProgramResult result = Restore("ome.tif", {"--na", "0.7", "--z-step", "400nm"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ExpectTold(result, "numerical aperture 0.7 (--na), refractive index 1.33 (OME-XML)");
    ExpectTold(result, "distance of planes 0.4 um (--z-step)");
    EXPECT_NEAR(ReadStack(In("restored.tif")).header.voxel.z.value(), 0.4, 1e-9);
}

TEST_F(RestoreFromOptics, MissingOnesAreNamedAllAtOnce) {
    ExpectRefusal(Restore("made/blurred.tif", {}), 2, "without --modality, --na and --ri:");
    WriteOme(kInstrument, "", kVoxel, "<Channel AcquisitionMode='LaserScanningConfocalMicroscopy'/>");
    ExpectRefusal(Restore("ome.tif", {}), 2,
                  "without --ri (the immersion 'Water' of the metadata is no number), --emission, "
                  "--excitation and --pinhole:");
    WriteOme("", "", "", "");
    ExpectRefusal(Restore("ome.tif", {"--modality", "two-photon"}), 2,
                  "without --na, --ri, --excitation, --pixel and --z-step:");
}

TEST_F(RestoreFromOptics, BadNumbersOfMetadataFailBadOptionsAreWrongUsage) {
    WriteOme("<Instrument><Objective ID='O:0' LensNA='1.4'/></Instrument>", kSettings, kVoxel, kChannel);
    ExpectRefusal(Restore("ome.tif", {}), 1, "from OME-XML must be below");
    ExpectRefusal(Restore("ome.tif", {"--ri", "1.1"}), 2, "must be below --ri 1.1");
    ExpectRefusal(Restore("made/blurred.tif", {"--psf", "psf.tif", "--pixel", "0"}), 2, "--pixel");
    ExpectRefusal(Restore("made/blurred.tif", {"--psf", "psf.tif", "--na", "1.2"}), 2, "--na");
}

TEST_F(RestoreFromOptics, PsfOfOtherVoxelsIsResampled) {
    ASSERT_EQ(Restore("made/blurred.tif", {"--psf", "psf.tif"}).exitCode, 0);
    const Stack expected = ReadStack(In("restored.tif"));
    const Words fine = {"psf",  "--modality", "widefield",  "--na",  "1.2",
                        "--ri", "1.33",       "--emission", "520nm", "--pixel",
                        "0.08", "--z-step",   "0.2",        "-o",    "fine.tif"};
    ASSERT_EQ(RunProgram(folder_.path(), fine).exitCode, 0);
    const ProgramResult result = Restore("made/blurred.tif", {"--psf", "fine.tif"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ExpectTold(result,
               "resampled from voxels of 0.08 x 0.08 x 0.2 um to those of the image, 0.1 x 0.1 x 0.25 um");
    EXPECT_LT(DifferenceFrom(expected), 0.1);
    EXPECT_EQ(Restore("made/blurred.tif", {"--psf", "psf.tif"}).err, "");
}

TEST_F(RestoreFromOptics, PsfOfAnotherScaleIsRefused) {
    WriteStack(In("other.tif"),
               MakeStack(5, 5, 5, [](int i, int j, int k) { return i == 2 && j == 2 && k == 2; },
                         {20.0, 20.0, 20.0}));
    ExpectRefusal(Restore("made/blurred.tif", {"--psf", "other.tif"}), 1, "no PSF of this image");
}

}  // namespace
}  // namespace rydecon
