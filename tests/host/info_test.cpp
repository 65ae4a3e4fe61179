// SPDX-License-Identifier: MIT
// rydecon info: what it tells of files whose content is known.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/stack_files.h"

namespace rydecon {
namespace {

using Json = nlohmann::json;
using test::IsOneErrorLine;
using test::ProgramResult;
using test::ProgramSettings;
using Words = std::vector<std::string>;

constexpr int kWidth = 6, kHeight = 5, kSlices = 4, kChannels = 2, kTimes = 3;

float Sample(const PlaneIndex& plane, int n) {
    return static_cast<float>(1000 * plane.c + 100 * plane.t + 10 * plane.z + n % 7);
}

StackHeader Header() {
    StackHeader header;
    header.width = kWidth;
    header.height = kHeight;
    header.slices = kSlices;
    header.channels = kChannels;
    header.times = kTimes;
    header.voxel = {0.065, 0.065, 0.3};
    header.timeStep = TimeStep{2.5, "s"};
    header.optics.numericalAperture = 1.4;
    header.optics.refractiveIndex = 1.518;
    header.optics.immersion = "Oil";
    header.channel.resize(kChannels);
    header.channel[0].name = "DAPI";
    header.channel[0].emission = 0.461;
    header.channel[0].colour = Rgb{0, 0, 255};
    header.channel[1].name = "GFP";
    header.channel[1].excitation = 0.488;
    header.channel[1].acquisitionMode = "WideField";
    return header;
}

class Info : public ::testing::Test {
  protected:
    std::filesystem::path In(const std::string& name) const { return folder_.path() / name; }
    void Write(const std::string& name, const StackHeader& header, SampleType type = SampleType::UInt16) {
        WriteOptions options;
        options.sampleType = type;
        StackWriter writer(In(name), header, options);
        for (int k = 0; k < header.planes(); ++k) {
            std::vector<float> rows;
            for (int n = 0; n < kWidth * kHeight; ++n) rows.push_back(Sample(PlaneAt(header, k), n));
            writer.WritePlane(rows.data(), kWidth);
        }
        writer.Commit();
    }
    ProgramResult Run(const Words& more, const ProgramSettings& settings = {}) {
        Words words = {"info"};
        words.insert(words.end(), more.begin(), more.end());
        return test::RunProgram(folder_.path(), words, settings);
    }
    Json Told(const Words& more) {
        Words words = {"--json"};
        words.insert(words.end(), more.begin(), more.end());
        const ProgramResult result = Run(words);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return Json::parse(result.out);
    }
    test::TemporaryFolder folder_;
};

TEST_F(Info, TellsTheMetadataOfBothContainers) {
    for (const auto& [name, container] :
         {std::pair("a.tif", "ImageJ TIFF"), std::pair("a.ome.tif", "OME-TIFF")}) {
        Write(name, Header());
        const Json file = Told({name}).at(0);
        EXPECT_EQ(file["file"], name);
        EXPECT_EQ(file["container"], container);
        EXPECT_EQ(file["axes"], "TZCYX");
        EXPECT_EQ(file["width"], kWidth);
        EXPECT_EQ(file["height"], kHeight);
        EXPECT_EQ(file["slices"], kSlices);
        EXPECT_EQ(file["channels"].size(), kChannels);
        EXPECT_EQ(file["times"], kTimes);
        EXPECT_EQ(file["sample_type"], "uint16");
        EXPECT_EQ(file["significant_bits"], nullptr);
        EXPECT_EQ(file["voxel_um"]["x"], 0.065);
        EXPECT_EQ(file["voxel_um"]["z"], 0.3);
        EXPECT_EQ(file["time_step"], Json({{"value", 2.5}, {"unit", "s"}}));
        EXPECT_EQ(file["optics"]["numerical_aperture"], 1.4);
        EXPECT_EQ(file["optics"]["refractive_index"], 1.518);
        EXPECT_EQ(file["optics"]["immersion"], "Oil");
        EXPECT_EQ(file["optics"]["magnification"], nullptr);
        const Json& dapi = file["channels"][0];
        EXPECT_EQ(dapi["name"], "DAPI");
        EXPECT_NEAR(dapi["emission_um"].get<double>(), 0.461, 1e-12);
        EXPECT_EQ(dapi["excitation_um"], nullptr);
        EXPECT_EQ(dapi["colour"], Json({0, 0, 255}));
        EXPECT_EQ(file["channels"][1]["name"], "GFP");
        EXPECT_EQ(file["channels"][1]["acquisition_mode"], "WideField");
    }
}

TEST_F(Info, TellsTheSamplesOfEachChannel) {
    Write("a.tif", Header());
    const Json file = Told({"a.tif"}).at(0);
    for (int c = 0; c < kChannels; ++c) {
        std::vector<double> samples;
        std::vector<double> means;
        for (int t = 0; t < kTimes; ++t) {
            double sum = 0.0;
            for (int z = 0; z < kSlices; ++z) {
                for (int n = 0; n < kWidth * kHeight; ++n) samples.push_back(Sample({z, c, t}, n));
            }
            for (std::size_t k = samples.size() - kSlices * kWidth * kHeight; k < samples.size(); ++k) {
                sum += samples[k];
            }
            means.push_back(sum / (kSlices * kWidth * kHeight));
        }
        std::sort(samples.begin(), samples.end());
        const Json& told = file["channels"][static_cast<std::size_t>(c)]["statistics"];
        EXPECT_EQ(told["samples"], samples.size());
        EXPECT_EQ(told["not_finite"], 0);
        EXPECT_EQ(told["min"], samples.front());
        EXPECT_EQ(told["max"], samples.back());
        EXPECT_NEAR(told["mean"].get<double>(), (means[0] + means[1] + means[2]) / 3.0, 1e-9);
        EXPECT_EQ(told["percentiles"]["50"], samples[samples.size() / 2 - 1]);
        EXPECT_EQ(told["percentiles"]["1"], samples[(samples.size() + 99) / 100 - 1]);
        EXPECT_EQ(told["saturation_level"], 65535.0);
        EXPECT_EQ(told["saturated"], 0);
        EXPECT_FALSE(told["constant"]);
        EXPECT_GT(told["noise"].get<double>(), 0.0);
        for (std::size_t t = 0; t < 3; ++t)
            EXPECT_NEAR(told["mean_of_times"][t].get<double>(), means[t], 1e-9);
        EXPECT_NEAR(told["bleaching"].get<double>(), means[2] / means[0], 1e-12);
    }
}

TEST_F(Info, SaysItInLines) {
    // The second channel lies beyond 255 everywhere.
    Write("a.ome.tif", Header(), SampleType::UInt8);
    const ProgramResult result = Run({"a.ome.tif"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    for (const char* part :
         {"a.ome.tif: OME-TIFF, 6 x 5 samples, 4 slices, 2 channels, 3 time points, axes TZCYX, uint8",
          "  voxel x 0.065 um, y 0.065 um, z 0.3 um (OME-XML)\n", "  time step 2.5 s\n",
          "  optics numerical aperture 1.4, refractive index 1.518, immersion Oil (OME-XML)\n",
          "  channel 1 'DAPI', emission 0.461 um, colour #0000ff\n    samples 0 to 236, mean ",
          "    percentiles 1 % ", "    noise ", "    bleaching the mean of the last time point is ",
          "  channel 2 'GFP', excitation 0.488 um, WideField\n    samples 255 to 255, mean 255, deviation "
          "0\n",
          "    empty all samples are 255\n"}) {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << '\n' << result.out;
    }
    EXPECT_EQ(result.out.find("saturated"), std::string::npos) << "0 of the first, all alike in the second";
    std::vector<float> bright(kWidth * kHeight, 254.0F);
    bright[7] = bright[8] = 255.0F;
    StackHeader header = Header();
    header.slices = header.channels = header.times = 1;
    WriteOptions options;
    options.sampleType = SampleType::UInt8;
    StackWriter writer(In("bright.tif"), header, options);
    writer.WritePlane(bright.data(), kWidth);
    writer.Commit();
    EXPECT_NE(Run({"bright.tif"}).out.find("    saturated 2 of 30 samples are at 255 or above\n"),
              std::string::npos);
}

TEST_F(Info, LeavesSamplesAloneWhereOnlyMetadataAreAsked) {
    Write("a.tif", Header());
    const Json file = Told({"--metadata", "a.tif"}).at(0);
    EXPECT_EQ(file["channels"].size(), kChannels);
    EXPECT_FALSE(file["channels"][0].contains("statistics"));
    const ProgramResult result = Run({"--metadata", "a.tif"});
    EXPECT_EQ(result.out.find("percentiles"), std::string::npos) << result.out;
}

TEST_F(Info, NonFiniteAndConstantSamplesAreTold) {
    const auto odd = test::MakeStack(4, 4, 2, [](int i, int j, int k) {
        return i == 0 && j == 0 ? (k == 0 ? std::nan("") : HUGE_VAL) : 2.0;
    });
    test::WriteStack(In("odd.tif"), odd);
    const ProgramResult result = Run({"odd.tif"});
    EXPECT_NE(result.out.find("    not finite 2 of 32 samples are NaN or infinite\n"), std::string::npos);
    EXPECT_NE(result.out.find("    empty all samples are 2\n"), std::string::npos) << result.out;
    const Json told = Told({"odd.tif"}).at(0)["channels"][0]["statistics"];
    EXPECT_EQ(told["not_finite"], 2);
    EXPECT_TRUE(told["constant"]);
    EXPECT_EQ(told["saturation_level"], nullptr);
    EXPECT_EQ(told["bleaching"], nullptr);
    test::WriteStack(In("nan.tif"), test::MakeStack(3, 3, 1, [](int, int, int) { return std::nan(""); }));
    const Json none = Told({"nan.tif"}).at(0)["channels"][0]["statistics"];
    EXPECT_EQ(none["mean"], nullptr);
    EXPECT_EQ(none["percentiles"]["50"], nullptr);
    EXPECT_EQ(none["mean_of_times"], Json::array({nullptr}));
}

TEST_F(Info, AFileThatCannotBeReadDoesNotHideTheOthers) {
    Write("a.tif", Header());
    const ProgramResult result = Run({"missing.tif", "a.tif"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
    EXPECT_NE(result.err.find("missing.tif"), std::string::npos);
    EXPECT_EQ(result.out.rfind("a.tif: ImageJ TIFF", 0), 0U) << result.out;
    const ProgramResult json = Run({"--json", "a.tif", "missing.tif", "gone.tif"});
    EXPECT_EQ(json.exitCode, 1);
    EXPECT_EQ(Json::parse(json.out).size(), 1U);
    EXPECT_EQ(std::count(json.err.begin(), json.err.end(), '\n'), 2) << json.err;
}

TEST_F(Info, NeedsAFileAndAnOutput) {
    EXPECT_EQ(Run({}).exitCode, 2);
    Write("a.tif", Header());
    ProgramSettings full;
    full.outputToFullDevice = true;
    const ProgramResult result = Run({"a.tif"}, full);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(IsOneErrorLine(result.err)) << result.err;
}

TEST_F(Info, NamesThatAreNoTextDoNotBreakJson) {
    Write("a.tif", Header());
    std::filesystem::rename(In("a.tif"), In("\xFF\n.tif"));
    EXPECT_EQ(Told({"\xFF\n.tif"}).size(), 1U);
}

// A plane at a time, and the histogram.
TEST_F(Info, HoldsOnePlaneInMemory) {
    if (test::kInstrumented) GTEST_SKIP() << test::kNotMeasured;
    StackHeader header;
    header.width = 1000;
    header.height = 1000;
    header.slices = 60;
    WriteOptions options;
    options.sampleType = SampleType::UInt8;
    StackWriter writer(In("long.tif"), header, options);
    const std::vector<float> rows(1000 * 1000, 1.5F);
    for (int k = 0; k < header.slices; ++k) writer.WritePlane(rows.data(), 1000);
    writer.Commit();
    const ProgramResult result = Run({"long.tif"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_LT(result.peakMemory, 80L * 1000 * 1000);
}

}  // namespace
}  // namespace rydecon
