// SPDX-License-Identifier: MIT
// rydecon restore on the channels and times of one file: the next one is read, and the last one written, while the
// one between them is computed.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "support/block_scene.h"
#include "support/file_events.h"

namespace rydecon {
namespace {

using test::BytesIn;
using test::FileBytes;
using test::FileEvents;
using test::GaussianPsf;
using test::ProgramResult;
using test::Stack;
using test::Words;

class RestoreVolumes : public test::BlocksTest {
  protected:
    void SetUp() override {
        Write("in.tif", Series(2, 2));
        Write("psf.tif", GaussianPsf());
    }
    /// The small object, brighter from volume to volume along the channels and darker along time.
    static Stack Series(int channels, int times) {
        Stack image = Blurred(test::SmallObject(), GaussianPsf());
        const std::vector<float> one = image.samples;
        image.header.channels = channels;
        image.header.times = times;
        image.samples.clear();
        for (int t = 0; t < times; ++t) {
            for (int c = 0; c < channels; ++c) {
                for (const float sample : one)
                    image.samples.push_back(sample * static_cast<float>(c + 1) / static_cast<float>(t + 1));
            }
        }
        return image;
    }
    /// A limit that allows the whole volumes, and not what would be held beside them.
    std::string LimitWithoutMore(const Words& more) const {
        const std::uint64_t all = BytesIn(Forecast(more).out);
        return std::to_string(all - sizeof(float) * 32 * 27 * 16);
    }
    std::size_t Pieces() const {
        std::size_t count = 0;
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(In("out.tif.parts"), none))
            count += entry.path().filename().string().front() != '.' ? 1 : 0;
        return count;
    }

    const Words method_ = {"--method", "lucy-richardson", "--iterations", "5"};
};

/// "has volume-0001-block-00000.piece"
std::string Arrival(int volume) {
    return "has volume-000" + std::to_string(volume) + "-block-00000.piece";
}

TEST_F(RestoreVolumes, AVolumeIsReadBeforeTheOneBeforeItIsRestored) {
    Write("in.tif", Series(1, 3));
    const Words method = {"--method", "lucy-richardson", "--iterations", "300", "--no-sidecar"};
    for (const bool ahead : {true, false}) {
        std::filesystem::create_directory(In("out.tif.parts"));
        FileEvents events;
        events.WatchReading(In("in.tif"));
        events.WatchArrivals(In("out.tif.parts"));
        const ProgramResult result =
            Restore(ahead ? method : With(method, {"--max-memory", LimitWithoutMore(method_)}));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const Words all = events.All();
        const auto at = [&](const std::string& event) { return std::find(all.begin(), all.end(), event); };
        ASSERT_NE(at(Arrival(2)), all.end());
        ASSERT_LT(at("read in.tif"), at(Arrival(0)));
        EXPECT_EQ(std::find(at(Arrival(1)), all.end(), "read in.tif") == all.end(), ahead)
            << "the last volume is read before the one before it is there";
    }
}

TEST_F(RestoreVolumes, EstimateTellsOfReadingAheadWhereThereIsMemory) {
    const std::string meanwhile = "; the next one is read and the last one written meanwhile\n";
    const std::string four = "volumes        4, one after the other";
    EXPECT_NE(Forecast(method_).out.find(four + meanwhile), std::string::npos) << Forecast(method_).out;
    const ProgramResult tight = Forecast(With(method_, {"--max-memory", LimitWithoutMore(method_)}));
    EXPECT_NE(tight.out.find(four + "\n"), std::string::npos) << tight.out;
    EXPECT_EQ(BytesIn(Forecast(method_).out) - BytesIn(tight.out), 2 * sizeof(float) * 32 * 27 * 16);
}

TEST_F(RestoreVolumes, BytesAndNotesAreThoseOfARunWithoutIt) {
    for (const Words& more : {Words{},
                              Words{"--dtype", "u8"},
                              {"--dtype", "u16", "--rescale"},
                              {"--report", "page.html"},
                              {"--background", "auto", "--hot-pixels", "auto"}}) {
        const Words words = With(method_, more);
        const ProgramResult meanwhile = Restore(words);
        ASSERT_EQ(meanwhile.exitCode, 0) << meanwhile.err;
        const std::string bytes = FileBytes(In("out.tif"));
        const ProgramResult apart = Restore(With(words, {"--max-memory", LimitWithoutMore(words)}));
        ASSERT_EQ(apart.exitCode, 0) << apart.err;
        EXPECT_TRUE(FileBytes(In("out.tif")) == bytes) << (more.empty() ? "" : more[0]);
        const auto withoutPlans = [](const std::string& text) {
            std::string kept;
            std::istringstream lines(text);
            for (std::string line; std::getline(lines, line);)
                if (line.find("note: plan: ") == std::string::npos) kept += line + "\n";
            return kept;
        };
        EXPECT_EQ(withoutPlans(meanwhile.err), withoutPlans(apart.err));
        EXPECT_FALSE(std::filesystem::exists(In("out.tif.parts")));
    }
}

TEST_F(RestoreVolumes, ClippedSamplesAreCountedForTheirVolume) {
    const ProgramResult result = Restore(With(method_, {"--dtype", "u8"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::string record = FileBytes(In("out.tif.json"));
    std::vector<long> clipped;
    for (std::size_t at = 0; (at = record.find("\"clipped\": ", at)) != std::string::npos; ++at)
        clipped.push_back(std::stol(record.substr(at + 11)));
    ASSERT_EQ(clipped.size(), 4U);  // channel 1 at both times, then channel 2
    EXPECT_GT(clipped[0], clipped[1]);
    EXPECT_GT(clipped[2], clipped[0]);
    const long sum = clipped[0] + clipped[1] + clipped[2] + clipped[3];
    EXPECT_NE(result.err.find(": " + std::to_string(sum) + " samples lie above"), std::string::npos)
        << result.err;
}

TEST_F(RestoreVolumes, AVolumeThatCannotBeWrittenIsOneLine) {
    test::ProgramSettings small;
    small.fileSizeLimit = 50000;  // three volumes of bytes, and not one of floats
    Write("in.tif", Series(1, 3));
    const Words command =
        With({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--dtype", "u8"}, method_);
    const ProgramResult full = test::RunProgram(folder_.path(), command, small);
    EXPECT_EQ(full.exitCode, 1);
    EXPECT_TRUE(test::IsOneErrorLine(full.err)) << full.err;
    EXPECT_NE(full.err.find("cannot write 'out.tif.parts/volume-0000-block-00000.piece'"), std::string::npos)
        << full.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "psf.tif"}));
}

TEST_F(RestoreVolumes, AfterCtrlCTheFinishedOnesAreKept) {
    Write("in.tif", Series(2, 2));
    const Words command = With({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"},
                               {"--method", "lucy-richardson", "--iterations", "200"});
    ASSERT_EQ(test::RunProgram(folder_.path(), command).exitCode, 0);
    const std::string expected = FileBytes(In("out.tif"));
    std::filesystem::remove(In("out.tif"));
    std::filesystem::remove(In("out.tif.json"));

    test::RunningProgram program(folder_.path(), command);
    const auto latest = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (Pieces() == 0 && std::chrono::steady_clock::now() < latest)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    program.Signal(SIGINT);
    const ProgramResult stopped = program.Wait();
    const std::size_t kept = Pieces();
    EXPECT_EQ(stopped.exitCode, 3);
    EXPECT_NE(stopped.err.find("stopped; " + std::to_string(kept) + " piece"), std::string::npos)
        << stopped.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif.parts", "psf.tif"}));

    const ProgramResult resumed = test::RunProgram(folder_.path(), With(command, {"--resume"}));
    ASSERT_EQ(resumed.exitCode, 0) << resumed.err;
    std::size_t taken = 0;
    for (std::size_t at = 0; (at = resumed.out.find("taken from an earlier run", at)) != std::string::npos;
         ++at)
        ++taken;
    EXPECT_EQ(taken, kept);
    EXPECT_TRUE(FileBytes(In("out.tif")) == expected);
}

TEST_F(RestoreVolumes, BleachingNamesTheChannelOfTheFile) {
    Write("in.tif", Series(2, 3));
    const ProgramResult second = Restore(With(method_, {"--channels", "2"}));
    ASSERT_EQ(second.exitCode, 0) << second.err;
    EXPECT_NE(second.err.find("note: channel 2: 'in.tif': the mean falls"), std::string::npos) << second.err;
    EXPECT_EQ(second.err.find("channel 1"), std::string::npos) << second.err;
    Write("in.tif", Series(1, 3));
    const ProgramResult only = Restore(method_);
    EXPECT_NE(only.err.find("note: 'in.tif': the mean falls"), std::string::npos) << only.err;
}

}  // namespace
}  // namespace rydecon
