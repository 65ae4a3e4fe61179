// SPDX-License-Identifier: MIT
// The parts that a PSF from optics is made of: units, widths, the record, OME's optics, resampling.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>
#include <vector>

#include "io/imagej_blocks.h"
#include "io/imagej_info.h"
#include "io/ome_metadata.h"
#include "optics/computed_psf.h"
#include "optics/optics.h"
#include "optics/units.h"
#include "optics/widths.h"
#include "report/user_error.h"
#include "restoration/psf_resampling.h"
#include "restoration/psf_rows.h"

namespace rydecon {
namespace {

using enum Quantity;

TEST(OpticsUnits, LengthsTakeUnitsAndAreMicrometresWithout) {
    EXPECT_DOUBLE_EQ(ParseLength("461nm").value(), 0.461);
    EXPECT_DOUBLE_EQ(ParseLength(" 461 nm ").value(), 0.461);
    EXPECT_DOUBLE_EQ(ParseLength("0.461um").value(), 0.461);
    EXPECT_DOUBLE_EQ(ParseLength("0.461\xC2\xB5m").value(), 0.461);
    EXPECT_DOUBLE_EQ(ParseLength("0.461").value(), 0.461);
    EXPECT_DOUBLE_EQ(ParseLength("1e-3mm").value(), 1.0);
    EXPECT_DOUBLE_EQ(ParseLength("-5nm").value(), -0.005);
    for (const char* text :
         {"", "nm", "461 parsec", "four", "1,5um", "461nm2", "nan", "inf", "1e999", "5 5nm"}) {
        EXPECT_EQ(ParseLength(text), std::nullopt) << text;
    }
}

TEST(OpticsWidths, GaussianIsExactOnAnyGrid) {
    for (const double sigma : {0.8, 2.3, 7.0}) {
        std::vector<double> profile;
        for (int n = -30; n <= 30; ++n) profile.push_back(std::exp(-0.5 * n * n / (sigma * sigma)));
        const double width = 2.0 * std::sqrt(2.0 * std::numbers::ln2) * sigma;
        EXPECT_NEAR(WidthOfProfile(profile, 30, 0.1).value(), 0.1 * width, 1e-9);
    }
}

TEST(OpticsWidths, ProfileThatStaysHighHasNone) {
    EXPECT_EQ(WidthOfProfile({0.0, 1.0, 0.9}, 1, 1.0), std::nullopt);
    EXPECT_EQ(WidthOfProfile({1.0}, 0, 1.0), std::nullopt);
    EXPECT_NEAR(WidthOfProfile({0.0, 1.0, 0.0}, 1, 1.0).value(), 1.0, 1e-12);
}

Optics Widefield(double na, double n, double emission, double pixel, double step) {
    Optics optics;
    optics.modality = &FindModality("widefield");
    optics.modalitySource = "--modality";
    const auto set = [&](Quantity q, double v) { optics[q] = {v, Origin::Option, TraitsOf(q).option}; };
    set(NumericalAperture, na);
    set(RefractiveIndex, n);
    set(Emission, emission);
    set(Pixel, pixel);
    set(ZStep, step);
    return optics;
}

TEST(OpticsWidths, TheoryIsTheTextbooks) {
    const Widths widths = TheoreticalWidths(Widefield(0.3, 1.0, 0.5, 0.1, 0.5));
    EXPECT_NEAR(widths.x.value(), 0.5145 * 0.5 / 0.3, 1e-3);
    EXPECT_NEAR(widths.z.value(), 0.886 * 0.5 / (1.0 - std::sqrt(1.0 - 0.09)), 1e-2);
}

class LowAperture : public ::testing::TestWithParam<const char*> {};

TEST_P(LowAperture, ComputedWidthsAreTheTheoreticalOnes) {
    Optics optics = Widefield(0.3, 1.0, 0.52, 0.1, 0.8);
    optics.modality = &FindModality(GetParam());
    optics[Excitation] = {0.488, Origin::Option, "--excitation"};
    optics[Magnification] = {60.0, Origin::Option, "--magnification"};
    const ComputedPsf psf(optics, RecommendedExtent(optics), Messages(true));
    const Widths measured = psf.MeasuredWidths(optics);
    const Widths theory = TheoreticalWidths(optics);
    EXPECT_NEAR(measured.x.value(), theory.x.value(), 0.02 * theory.x.value());
    EXPECT_NEAR(measured.z.value(), theory.z.value(), 0.02 * theory.z.value());
}

INSTANTIATE_TEST_SUITE_P(Optics, LowAperture, ::testing::Values("widefield", "two-photon", "confocal-1um"));

TEST(ComputedPsf, IsCentredSymmetricAndOfSumOneOnAnySides) {
    const Optics optics = Widefield(0.9, 1.33, 0.52, 0.1, 0.3);
    for (const Extent& size :
         {Extent{31, 33, 15}, Extent{32, 34, 16}, Extent{31, 34, 1}, Extent{9, 1, 3}, Extent{1, 1, 1}}) {
        const ComputedPsf psf(optics, size, Messages(true));
        const Extent c = psf.centre();
        double sum = 0.0;
        for (int k = 0; k < size.z; ++k) {
            for (int j = 0; j < size.y; ++j) {
                for (int i = 0; i < size.x; ++i) {
                    sum += psf.Row(j, k)[i];
                    EXPECT_LE(psf.Row(j, k)[i], psf.Row(c.y, c.z)[c.x]);
                    const int mirrored = 2 * c.x - i;
                    if (mirrored < size.x) {
                        EXPECT_EQ(psf.Row(j, k)[i], psf.Row(j, k)[mirrored]);
                    }
                }
            }
        }
        EXPECT_NEAR(sum, 1.0, 1e-5) << ToString(size);
    }
}

TEST(ComputedPsf, FewRowsDoNotNarrowThePattern) {
    const Optics optics = Widefield(0.9, 1.33, 0.52, 0.1, 0.3);
    const ComputedPsf flat(optics, {41, 5, 1}, Messages(true));
    const ComputedPsf square(optics, {41, 41, 1}, Messages(true));
    const float scale = square.Row(20, 0)[20] / flat.Row(2, 0)[20];
    for (int i = 0; i < 41; ++i) {
        EXPECT_NEAR(flat.Row(2, 0)[i] * scale, square.Row(20, 0)[i], 1e-6f * square.Row(20, 0)[20]) << i;
    }
    EXPECT_GT(flat.Row(2, 0)[3], 0.0f);
}

TEST(OpticsRecord, RecommendedSizesAreTheLibrarysMadeOdd) {
    const Optics optics = Widefield(1.4, 1.515, 0.52, 0.1, 0.3);
    const Extent size = RecommendedExtent(optics);
    EXPECT_EQ(size.x, static_cast<int>(FloatPSF3D::GetRecommendedXYSize(520, 1.4, 0.1, true) | 1U));
    EXPECT_EQ(size.y, size.x);
    EXPECT_EQ(size.z, static_cast<int>(FloatPSF3D::GetRecommendedZSize(520, 1.515, 1.4, 0.3, true) | 1U));
}

TEST(OpticsRecord, OptionsGoBeforeMetadata) {
    StackHeader header;
    header.optics.numericalAperture = 0.8;
    header.optics.refractiveIndex = 1.33;
    header.optics.emission = 0.6;
    header.optics.acquisitionMode = "LaserScanningConfocalMicroscopy";
    header.voxel = {0.2, 0.2, 0.5};
    header.voxelSource = header.optics.source = "OME-XML";
    Optics optics;
    optics[NumericalAperture] = {0.7, Origin::Option, "--na"};
    FillFromMetadata(optics, header, "'x.tif'");
    EXPECT_EQ(optics.Value(NumericalAperture), 0.7);
    EXPECT_EQ(optics.Value(RefractiveIndex), 1.33);
    EXPECT_EQ(optics.Value(Pixel), 0.2);
    EXPECT_EQ(optics.Value(ZStep), 0.5);
    EXPECT_EQ(optics.modality->name, "confocal");
    const std::string text = DescribeSources(optics);
    EXPECT_NE(text.find("numerical aperture 0.7 (--na)"), std::string::npos) << text;
    EXPECT_NE(text.find("emission wavelength 0.6 um (OME-XML)"), std::string::npos) << text;
}

TEST(OpticsRecord, PixelsThatAreNotSquareAreRefusedUnlessGiven) {
    StackHeader header;
    header.voxel = {0.2, 0.3, 0.5};
    Optics optics;
    EXPECT_THROW(FillFromMetadata(optics, header, "'x.tif'"), UserError);
    optics[Pixel] = {0.2, Origin::Option, "--pixel"};
    FillFromMetadata(optics, header, "'x.tif'");
    EXPECT_EQ(optics.Value(Pixel), 0.2);
}

TEST(OpticsRecord, ImmersionIsNoNumber) {
    StackHeader header;
    header.optics.immersion = "Oil";
    Optics optics;
    FillFromMetadata(optics, header, "'x.tif'");
    try {
        RequireComplete(optics, "");
        FAIL();
    } catch (const UserError& error) {
        EXPECT_NE(std::string(error.what()).find("--ri (the immersion 'Oil'"), std::string::npos)
            << error.what();
    }
}

TEST(OpticsRecord, SampleIndexIsNeededAtADepthOnly) {
    Optics optics = Widefield(0.9, 1.33, 0.52, 0.1, 0.3);
    EXPECT_NO_THROW(RequireComplete(optics, ""));
    optics[Depth] = {5.0, Origin::Option, "--depth"};
    EXPECT_THROW(RequireComplete(optics, ""), UserError);
    optics[SampleIndex] = {1.4, Origin::Option, "--sample-ri"};
    EXPECT_NO_THROW(RequireComplete(optics, ""));
}

TEST(OpticsRecord, FaultyMetadataFailAndFaultyOptionsAreWrongUsage) {
    const auto codeOf = [](const Optics& optics) {
        try {
            RequireSound(optics);
        } catch (const UserError& error) {
            return error.code();
        }
        return ExitCode::Done;
    };
    Optics optics = Widefield(1.4, 1.33, 0.52, 0.1, 0.3);
    EXPECT_EQ(codeOf(optics), ExitCode::Usage);
    optics[NumericalAperture]->origin = optics[RefractiveIndex]->origin = Origin::Metadata;
    EXPECT_EQ(codeOf(optics), ExitCode::Failed);
    optics[NumericalAperture]->value = 1.2;
    EXPECT_EQ(codeOf(optics), ExitCode::Done);
    // What a modality does not read may be wrong in metadata.
    optics[Excitation] = {5.0, Origin::Metadata, "OME-XML"};
    EXPECT_EQ(codeOf(optics), ExitCode::Done);
}

TEST(OmeOptics, AreReadWithTheirUnits) {
    const std::string text =
        "<OME xmlns='http://www.openmicroscopy.org/Schemas/OME/2016-06'><Instrument ID='I:0'>"
        "<Objective ID='O:0' LensNA='0.5'/>"
        "<Objective ID='O:1' LensNA='1.4' NominalMagnification='63' Immersion='Oil'/></Instrument>"
        "<Image ID='Im:0'><ObjectiveSettings ID='O:1' RefractiveIndex='1.518'/>"
        "<Pixels SizeX='5' SizeY='4'><Channel EmissionWavelength='0.52' EmissionWavelengthUnit='\xC2\xB5m' "
        "ExcitationWavelength='488' PinholeSize='50000' PinholeSizeUnit='nm' AcquisitionMode='WideField'/>"
        "</Pixels></Image></OME>";
    const auto ome = ParseOme(text, FileNotes("x.tif", Messages(true)));
    ASSERT_TRUE(ome.has_value());
    StackHeader header;
    header.optics = ome->optics;
    header.channel = ome->channel;
    const ImageOptics optics = OpticsOf(header, 0);
    EXPECT_EQ(optics.numericalAperture, 1.4);
    EXPECT_EQ(optics.magnification, 63.0);
    EXPECT_EQ(optics.refractiveIndex, 1.518);
    EXPECT_EQ(optics.immersion, "Oil");
    EXPECT_DOUBLE_EQ(optics.emission.value(), 0.52);
    EXPECT_DOUBLE_EQ(optics.excitation.value(), 0.488);
    EXPECT_DOUBLE_EQ(optics.pinhole.value(), 50.0);
    EXPECT_EQ(optics.acquisitionMode, "WideField");
}

TEST(OmeOptics, TakeTheOnlyObjectiveButNoneOfSeveral) {
    const auto apertureOf = [](const std::string& objectives) {
        const std::string text = "<OME><Instrument>" + objectives +
                                 "</Instrument><Image><Pixels SizeX='5' SizeY='4'/></Image></OME>";
        return ParseOme(text, FileNotes("x.tif", Messages(true)))->optics.numericalAperture;
    };
    EXPECT_EQ(apertureOf("<Objective LensNA='0.5'/>"), 0.5);
    EXPECT_EQ(apertureOf("<Objective LensNA='0.5'/><Objective LensNA='0.7'/>"), std::nullopt);
    EXPECT_EQ(apertureOf("<Objective LensNA='-1'/>"), std::nullopt);
    EXPECT_EQ(apertureOf(""), std::nullopt);
}

/// ImageJ's blocks: a label, then the info text, in UTF-16 of the order asked for.
struct InfoBlocks {
    std::vector<std::uint32_t> counts;
    std::vector<unsigned char> bytes;

    InfoBlocks(const std::string& info, bool bigEndian) : big(bigEndian) {
        Add(Code("IJIJ"), 4);
        for (const char* kind : {"labl", "info"}) {
            Add(Code(kind), 4);
            Add(1, 4);
        }
        counts = {20, 4, static_cast<std::uint32_t>(2 * info.size())};
        for (const char c : "ab" + info) Add(static_cast<unsigned char>(c), 2);
    }

  private:
    static std::uint32_t Code(const std::string& word) {
        std::uint32_t code = 0;
        for (const char c : word) code = code << 8 | static_cast<unsigned char>(c);
        return code;
    }
    void Add(std::uint32_t number, int count) {
        for (int n = 0; n < count; ++n) {
            bytes.push_back(static_cast<unsigned char>(number >> 8 * (big ? count - 1 - n : n)));
        }
    }
    bool big;
};

TEST(ImageJInfo, IsFoundInBothByteOrders) {
    constexpr bool kBig = std::endian::native == std::endian::big;
    for (const bool big : {false, true}) {
        const InfoBlocks blocks("NA = 1.4\n", big);
        EXPECT_EQ(ReadImageJBlocks(blocks.counts, blocks.bytes, big != kBig).info, "NA = 1.4\n");
    }
}

TEST(ImageJInfo, DamagedBlocksHoldNone) {
    InfoBlocks blocks("NA = 1.4\n", false);
    constexpr bool kBig = std::endian::native == std::endian::big;
    EXPECT_EQ(ReadImageJBlocks({}, {}, kBig).info, "");
    EXPECT_EQ(ReadImageJBlocks(blocks.counts, blocks.bytes, !kBig).info, "");
    blocks.counts[2] += 2;
    EXPECT_EQ(ReadImageJBlocks(blocks.counts, blocks.bytes, kBig).info, "");
    blocks.counts = {20};
    EXPECT_EQ(ReadImageJBlocks(blocks.counts, blocks.bytes, kBig).info, "");
    blocks.counts = {4000000000U, 4, 4};
    EXPECT_EQ(ReadImageJBlocks(blocks.counts, blocks.bytes, kBig).info, "");
}

TEST(ImageJInfo, TellsOpticsByKnownKeysOnly) {
    const ImageOptics optics = OpticsFromInfo(
        "Instrument|Objective|Lens NA = 1.4\nRefractiveIndex: 1.518\nEmissionWavelength = 520.0\n"
        "Excitation Wavelength = 0.488 um\nPinholeSize = 50\nNominalMagnification = 63\nOther = 7\n");
    EXPECT_EQ(optics.numericalAperture, 1.4);
    EXPECT_EQ(optics.refractiveIndex, 1.518);
    EXPECT_DOUBLE_EQ(optics.emission.value(), 0.52);
    EXPECT_DOUBLE_EQ(optics.excitation.value(), 0.488);
    EXPECT_EQ(optics.pinhole, 50.0);
    EXPECT_EQ(optics.magnification, 63.0);
    // Several channels: which one this stack is nobody knows.
    EXPECT_EQ(OpticsFromInfo("EmissionWavelength = 520\nEmissionWavelength = 600\n").emission, std::nullopt);
    EXPECT_EQ(OpticsFromInfo("LensNA = high\nRefractiveIndex = -1\n").numericalAperture, std::nullopt);
}

/// A Gaussian of 0.4 um sigma about a sample.
SampleBox Gaussian(const Extent& size, const Extent& peak, const Pitch& pitch) {
    SampleBox box(size);
    for (int k = 0; k < size.z; ++k) {
        for (int j = 0; j < size.y; ++j) {
            for (int i = 0; i < size.x; ++i) {
                const double x = (i - peak.x) * pitch.x;
                const double y = (j - peak.y) * pitch.y;
                const double z = (k - peak.z) * pitch.z;
                box.At(i, j, k) = static_cast<float>(std::exp(-0.5 * (x * x + y * y + z * z) / 0.16));
            }
        }
    }
    return box;
}

TEST(PsfResampling, GaussianKeepsItsShape) {
    const Pitch old = {0.1, 0.1, 0.2};
    const PitchRatio ratio = {1.3, 1.0, 0.75};
    BoxPsfRows rows("g", Gaussian({44, 41, 23}, {22, 19, 11}, old));
    const SampleBox box = ResamplePsf(rows, ratio, Messages(true));
    const Extent peak = {16, 19, 14};  // as many steps of the new distances as fit below the old peak
    ASSERT_EQ(ToString(box.size()), ToString({33, 41, 29}));
    const SampleBox exact = Gaussian(box.size(), peak, {old.x * ratio.x, old.y * ratio.y, old.z * ratio.z});
    for (std::size_t n = 0; n < box.samples().size(); ++n) {
        ASSERT_NEAR(box.samples()[n], exact.samples()[n], 4e-3) << n;
    }
}

TEST(PsfResampling, NothingIsNegative) {
    SampleBox box({9, 9, 3});
    box.At(4, 4, 1) = 1.0f;
    box.At(2, 4, 1) = -0.5f;
    BoxPsfRows rows("g", box);
    const SampleBox resampled = ResamplePsf(rows, {0.7, 0.7, 1.0}, Messages(true));
    for (const float sample : resampled.samples()) EXPECT_GE(sample, 0.0f);
}

}  // namespace
}  // namespace rydecon
