// SPDX-License-Identifier: MIT
// rydecon restore --rescale: integers that hold the range of the restored samples.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <thread>

#include "support/block_scene.h"
#include "support/picture_scene.h"

namespace rydecon {
namespace {

using test::BlockImage;
using test::FileBytes;
using test::GaussianPsf;
using test::ProgramResult;
using test::Stack;
using test::Words;

class RestoreRescale : public test::BlocksTest {
  protected:
    void SetUp() override {
        Write("in.tif", Blurred(test::SmallObject(), GaussianPsf()));
        Write("psf.tif", GaussianPsf());
    }
    /// The samples of an output, in the order of its file, brought back by what its sidecar tells.
    std::vector<float> BroughtBack(const std::string& name) {
        const auto told = nlohmann::json::parse(FileBytes(In(name + ".json"))).at("rescale");
        const double least = told.at("least");
        step_ = (told.at("largest").get<double>() - least) / told.at("written_largest").get<double>();
        std::vector<float> samples = All(name);
        EXPECT_EQ(*std::min_element(samples.begin(), samples.end()), 0.0f);
        EXPECT_EQ(*std::max_element(samples.begin(), samples.end()), told.at("written_largest").get<float>());
        for (float& sample : samples) sample = static_cast<float>(least + step_ * double{sample});
        return samples;
    }
    /// Of all channels and times.
    std::vector<float> All(const std::string& name) {
        StackReader reader(In(name), Messages(true), Accept::AnyStack);
        header_ = reader.header();
        const std::size_t plane =
            static_cast<std::size_t>(header_.width) * static_cast<std::size_t>(header_.height);
        std::vector<float> samples(plane * static_cast<std::size_t>(header_.planes()));
        for (int k = 0; k < header_.planes(); ++k) {
            reader.ReadPlane(k, samples.data() + static_cast<std::size_t>(k) * plane, header_.width);
        }
        return samples;
    }
    /// The same command as floats and rescaled, within half a step of one another.
    void ExpectRoundTrip(const Words& more, const std::string& type) {
        ASSERT_EQ(Restore(more).exitCode, 0);
        const std::vector<float> floats = All("out.tif");
        said_ = Restore(With(more, {"--dtype", type, "--rescale"}));
        ASSERT_EQ(said_.exitCode, 0) << said_.err;
        const std::vector<float> back = BroughtBack("out.tif");
        EXPECT_EQ(header_.sampleType, type == "u8" ? SampleType::UInt8 : SampleType::UInt16);
        ASSERT_EQ(back.size(), floats.size());
        double largest = 0.0;
        for (std::size_t n = 0; n < back.size(); ++n) {
            largest = std::max(largest, std::abs(double{back[n]} - double{floats[n]}));
        }
        EXPECT_LE(largest, 0.5001 * step_ + 1e-6 * *std::max_element(floats.begin(), floats.end()));
        EXPECT_GT(largest, 0.0);
        EXPECT_NE(said_.err.find("are written as 0 to "), std::string::npos) << said_.err;
        EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "out.tif.json", "psf.tif"}));
    }

    double step_ = 0.0;
    StackHeader header_;
};

TEST_F(RestoreRescale, IntensitiesComeBackWithinHalfAStep) {
    ExpectRoundTrip({"--method", "lucy-richardson", "--iterations", "5"}, "u16");
    ExpectRoundTrip({"--method", "wiener"}, "u8");
    ExpectRoundTrip({"--method", "accelerated", "--iterations", "5"}, "u16");
}

TEST_F(RestoreRescale, AllChannelsAndTimesShareOneRange) {
    Stack image = Blurred(test::SmallObject(), GaussianPsf());
    const std::vector<float> one = image.samples;
    image.header.channels = 2;
    image.header.times = 2;
    image.header.timeStep = TimeStep{3.0, "s"};
    image.samples.clear();
    for (int n = 0; n < 4; ++n) {
        for (const float sample : one) image.samples.push_back(sample * static_cast<float>(n + 1));
    }
    Write("in.tif", image);
    ExpectRoundTrip({"--method", "lucy-richardson", "--iterations", "3"}, "u16");
    EXPECT_EQ(header_.channels, 2);
    EXPECT_EQ(header_.times, 2);
    ASSERT_TRUE(header_.timeStep);
    EXPECT_EQ(header_.timeStep->value, 3.0);
    ASSERT_TRUE(header_.voxel.z);
    EXPECT_NEAR(*header_.voxel.z, 0.3, 1e-6);
}

TEST_F(RestoreRescale, BlocksPicturesAndPlanes) {
    Write("in.tif", BlockImage());
    const Words method = {"--method", "lucy-richardson", "--iterations", "4"};
    ExpectRoundTrip(With(method, {"--max-memory", LimitFor(method, 0.6)}), "u16");
    EXPECT_NE(said_.out.find(" blocks, each padded to "), std::string::npos) << said_.out;

    Write("psf.tif", test::PlanePsf());
    Write("in.tif", test::PictureTruth(60, 50));
    ExpectRoundTrip({"--method", "rltm", "--iterations", "3"}, "u16");
    Write("in.tif", test::MakeStack(40, 30, 5, [](int i, int j, int k) { return 1 + i * j % (7 + 40 * k); }));
    ExpectRoundTrip({"--method", "rltm", "--iterations", "3", "--per-plane"}, "u8");
}

TEST_F(RestoreRescale, AConstantImageIsAllZeroAndItsLevelTold) {
    Write("in.tif", test::MakeStack(20, 20, 8, [](int, int, int) { return 42; }));
    const ProgramResult result = Restore({"--dtype", "u16", "--rescale"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("restored samples from 42 to 42"), std::string::npos) << result.err;
    for (const float sample : All("out.tif")) ASSERT_EQ(sample, 0.0f);
}

TEST_F(RestoreRescale, AKilledRunGoesOn) {
    Write("in.tif", BlockImage());
    const Words method = {"--method", "lucy-richardson", "--iterations", "60", "--dtype", "u16", "--rescale"};
    const Words command =
        With(With({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--overwrite"}, method),
             {"--max-memory", LimitFor(method, 0.4)});
    const ProgramResult unbroken = test::RunProgram(folder_.path(), command);
    ASSERT_EQ(unbroken.exitCode, 0) << unbroken.err;
    const std::string expected = FileBytes(In("out.tif"));
    std::filesystem::remove(In("out.tif"));

    test::RunningProgram program(folder_.path(), command);
    const auto latest = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    const auto hasPiece = [this] {
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(In("out.tif.parts"), none)) {
            if (entry.path().filename().string().front() != '.') return true;
        }
        return false;
    };
    while (!hasPiece() && std::chrono::steady_clock::now() < latest) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    program.Signal(SIGKILL);
    ASSERT_EQ(program.Wait().exitCode, 128 + SIGKILL);
    const ProgramResult resumed = test::RunProgram(folder_.path(), With(command, {"--resume"}));
    ASSERT_EQ(resumed.exitCode, 0) << resumed.err;
    EXPECT_NE(resumed.out.find("from an earlier run"), std::string::npos) << resumed.out;
    EXPECT_TRUE(FileBytes(In("out.tif")) == expected);
    EXPECT_FALSE(std::filesystem::exists(In("out.tif.parts")));
}

TEST_F(RestoreRescale, IsForIntegersAlone) {
    ExpectRefusal({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--rescale"}, 2,
                  "--rescale fills the range of integers; add --dtype u16 or --dtype u8");
}

TEST_F(RestoreRescale, ChangesTheHashOfTheSettings) {
    const auto hash = [this](const Words& more) {
        EXPECT_EQ(Restore(With({"--method", "wiener", "--dtype", "u16"}, more)).exitCode, 0);
        return nlohmann::json::parse(FileBytes(In("out.tif.json"))).at("settings_hash").get<std::string>();
    };
    EXPECT_NE(hash({}), hash({"--rescale"}));
}

TEST_F(RestoreRescale, NotesOfSeveralVolumesNameTheirChannel) {
    Stack image = Blurred(test::SmallObject(), GaussianPsf());
    image.header.channels = 2;
    image.samples.resize(2 * image.samples.size(), 9.0f);
    Write("in.tif", image);
    const ProgramResult result = Restore({"--method", "lucy-richardson", "--iterations", "2"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("channel 2: 'in.tif': every sample is 9;"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace rydecon
