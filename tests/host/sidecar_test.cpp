// SPDX-License-Identifier: MIT
// The record beside an output of rydecon restore.

#include <gtest/gtest.h>
#include <zlib.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "record/resolved_settings.h"
#include "record/settings_hash.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

using Json = nlohmann::ordered_json;
using test::FileBytes;
using test::GaussianPsf;
using test::MakeStack;
using test::ProgramResult;
using test::ReadStack;
using test::RunProgram;
using test::Stack;
using test::Words;

class Sidecar : public test::RestoreTest {
  protected:
    void SetUp() override {
        Write("in.tif",
              MakeStack(21, 17, 9, [](int i, int j, int k) { return 10 + i + j * k - (i == 3 ? 40 : 0); },
                        {0.1, 0.12, 0.3}));
        Write("psf.tif", GaussianPsf());
    }
    Json Record(const std::string& output = "out.tif") const {
        return Json::parse(FileBytes(In(output + ".json")));
    }
    Json RecordOf(const Words& more) const {
        const ProgramResult result = Restore(more);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return Record();
    }
};

/// Of a run that takes all of an image as it is.
const std::string kPlainData =
    R"("dtype":"float32","rescale":false,"channels":[],"times":[],"background":null,"hot-pixels":"off","stop":"own",)";

std::uint32_t Crc(const std::string& bytes) {
    return static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

TEST_F(Sidecar, TellsFilesByContent) {
    const Json record = RecordOf({"--method", "lucy-richardson", "--iterations", "3"});
    EXPECT_EQ(record["schema"], "rydecon-record-1");
    EXPECT_EQ(record["program"]["version"], RYDECON_VERSION);
    for (const auto& [json, name] : {std::pair(record["inputs"]["image"], "in.tif"),
                                     {record["inputs"]["psf"][0], "psf.tif"},
                                     {record["output"], "out.tif"}}) {
        const std::string bytes = FileBytes(In(name));
        EXPECT_EQ(json["file"], name);
        EXPECT_EQ(json["bytes"], bytes.size());
        EXPECT_EQ(json["crc32"], Crc(bytes));
    }
    EXPECT_EQ(record["inputs"]["image"]["shape"], Json({21, 17, 9, 1, 1}));
    EXPECT_EQ(record["inputs"]["image"]["sample_type"], "float32");
    EXPECT_NEAR(record["inputs"]["image"]["voxel_um"]["y"].get<double>(), 0.12, 1e-6);
}

TEST_F(Sidecar, TellsWhatTheRunCameTo) {
    const Json record = RecordOf({"--method", "lucy-richardson", "--iterations", "3"});
    const Stack image = ReadStack(In("in.tif"));
    const Stack result = ReadStack(In("out.tif"));
    ASSERT_EQ(record["volumes"].size(), 1U);
    const Json& volume = record["volumes"][0];
    EXPECT_EQ(volume["shape"], Json({21, 17, 9}));
    for (std::size_t axis = 0; axis < 3; ++axis) EXPECT_GT(volume["padded"][axis], volume["shape"][axis]);
    EXPECT_EQ(volume["iterations"], 3);
    EXPECT_EQ(volume["end"], "limit");
    const auto negative =
        std::count_if(image.samples.begin(), image.samples.end(), [](float s) { return s < 0; });
    EXPECT_GT(negative, 0);
    EXPECT_EQ(volume["samples_in"]["negative"], negative);
    EXPECT_EQ(volume["negative_cut"], negative);
    EXPECT_EQ(volume["samples_in"]["least"], *std::min_element(image.samples.begin(), image.samples.end()));
    EXPECT_EQ(volume["samples_out"]["largest"],
              *std::max_element(result.samples.begin(), result.samples.end()));
    double cut = 0.0;
    for (const float sample : image.samples) cut += std::max(sample, 0.0f);
    EXPECT_NEAR(volume["flux_in"].get<double>(), cut, 1e-6 * cut);
    EXPECT_NEAR(volume["flux_out"].get<double>(), result.Sum(), 1e-6 * cut);
    EXPECT_EQ(volume["clipped"], 0);
    EXPECT_GT(volume["seconds"]["core"], 0.0);
    EXPECT_GE(record["seconds"], volume["seconds"]["core"]);
    EXPECT_GT(record["peak_memory_bytes"], 1000000);
    EXPECT_GE(record["threads"], 1);
}

TEST_F(Sidecar, TellsSettingsWithTheirDefaults) {
    const Json record = RecordOf({});
    EXPECT_EQ(record["settings"].dump(),
              R"({"method":"accelerated","family":"volume",)" + kPlainData +
                  R"("iterations":50,"regularization":1.0,)"
                  R"("stop-ratio":1.0007,"no-auto-stop":false,"wiener-start":false})");
    EXPECT_EQ(record["volumes"][0]["negative_cut"], 0) << "it lifts them";
    const Json direct = RecordOf({"--method", "wiener", "--noise", "2"});
    EXPECT_EQ(direct["settings"].dump(),
              R"({"method":"wiener","family":"volume",)" + kPlainData + R"("noise":2})");
    EXPECT_EQ(direct["volumes"][0]["end"], "direct");
}

TEST_F(Sidecar, KeepsNotesWhetherPrintedOrNot) {
    const ProgramResult loud = Restore({"--method", "wiener"});
    const Json notes = Record()["warnings"];
    ASSERT_EQ(notes.size(), 1U);
    EXPECT_EQ(loud.err, "rydecon: note: " + notes[0].get<std::string>() + "\n");
    EXPECT_EQ(RecordOf({"--method", "wiener", "-q"})["warnings"], notes);
}

TEST_F(Sidecar, TellsWhereEachNumberOfTheOpticsComesFrom) {
    const ProgramResult result = RunProgram(
        folder_.path(), {"restore", "in.tif", "-o", "o.tif", "--modality", "widefield", "--na", "0.8", "--ri",
                         "1.33", "--emission", "520nm", "--pixel", "0.11", "--iterations", "1"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const Json psf = Record("o.tif")["volumes"][0]["psf"];
    EXPECT_EQ(psf["name"], "the computed PSF");
    EXPECT_EQ(psf["optics"]["modality"]["source"], "--modality");
    EXPECT_EQ(psf["optics"]["na"].dump(), R"({"value":0.8,"source":"--na","used":true})");
    EXPECT_EQ(psf["optics"]["emission"]["unit"], "um");
    EXPECT_NEAR(psf["optics"]["emission"]["value"].get<double>(), 0.52, 1e-12);
    EXPECT_EQ(psf["optics"]["pixel"]["source"], "--pixel");
    EXPECT_EQ(psf["optics"]["z-step"]["source"], ReadStack(In("in.tif")).header.voxelSource);
    EXPECT_TRUE(Record("o.tif")["inputs"]["psf"].empty());
}

TEST_F(Sidecar, OfPicturesTellsEachPlaneAndTheTiles) {
    Write("in.tif",
          MakeStack(120, 60, 2, [](int i, int j, int k) { return 100 + (i * 7 + j * 3 + k * 11) % 23; }));
    Write("psf.tif", MakeStack(5, 5, 1, [](int i, int j, int) {
              return 1.0 / (1 + std::abs(i - 2) + std::abs(j - 2));
          }));
    const Json record = RecordOf({"--method", "rltv", "--iterations", "2", "--tiles", "2x1", "--per-plane"});
    EXPECT_EQ(record["settings"]["family"], "picture");
    EXPECT_EQ(record["settings"]["tiles"], "2x1");
    EXPECT_EQ(record["tiles"], Json({2, 1}));
    ASSERT_EQ(record["volumes"].size(), 2U);
    const Stack image = ReadStack(In("in.tif"));
    const Stack result = ReadStack(In("out.tif"));
    const std::ptrdiff_t plane = 120 * 60;
    for (int k = 0; k < 2; ++k) {
        const Json& picture = record["volumes"][static_cast<std::size_t>(k)];
        EXPECT_EQ(picture["shape"], Json({120, 60, 1}));
        EXPECT_TRUE(picture["padded"].is_null());
        EXPECT_EQ(picture["iterations"], 4) << "two in each of two tiles";
        EXPECT_EQ(picture["end"], "limit");
        EXPECT_EQ(picture["psf"]["name"], "'psf.tif'");
        const auto sum = [&](const Stack& s) {
            return std::accumulate(s.samples.begin() + k * plane, s.samples.begin() + (k + 1) * plane, 0.0);
        };
        EXPECT_NEAR(picture["flux_in"].get<double>(), sum(image), 1e-3);
        EXPECT_NEAR(picture["flux_out"].get<double>(), sum(result), 1e-3);
    }
}

TEST_F(Sidecar, CountsWhatTheSampleTypeCannotHold) {
    Write("in.tif", MakeStack(40, 30, 1, [](int i, int j, int) { return i == 20 && j == 15 ? 3e5 : 100.0; }));
    Write("psf.tif", MakeStack(3, 3, 1, [](int i, int j, int) { return i == 1 && j == 1 ? 4.0 : 1.0; }));
    for (const char* method : {"lucy-richardson", "rltv"}) {
        const Json record = RecordOf({"--method", method, "--iterations", "1", "--dtype", "u16"});
        EXPECT_GE(record["volumes"][0]["clipped"], 1) << method;
        EXPECT_EQ(record["settings"]["dtype"], "uint16");
        EXPECT_GT(record["volumes"][0]["samples_out"]["largest"], 65535.0) << "before they were written";
    }
}

TEST_F(Sidecar, LeftOutWhereAskedAndNeverOfAnEarlierOutput) {
    ASSERT_EQ(Restore({"--iterations", "1"}).exitCode, 0);
    ASSERT_TRUE(std::filesystem::exists(In("out.tif.json")));
    ASSERT_EQ(Restore({"--iterations", "2", "--no-sidecar"}).exitCode, 0);
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "psf.tif"}));
}

TEST_F(Sidecar, FilesOfOthersInItsPlaceStay) {
    for (const char* text : {"mine", "{}", "[1]", "{\"schema\": 5}", "{\"schema\": \"other\"}"}) {
        std::ofstream(In("out.tif.json")) << text;
        ExpectRefusal({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"}, 1,
                      "cannot write 'out.tif.json': there is a file already that is no record");
        EXPECT_EQ(Restore({"--no-sidecar", "--iterations", "1"}).exitCode, 0);
        EXPECT_EQ(FileBytes(In("out.tif.json")), text);
        std::filesystem::remove(In("out.tif"));
    }
}

TEST_F(Sidecar, OneThatCannotBeWrittenCostsANote) {
    test::ProgramSettings small;
    Write("in.tif", MakeStack(9, 9, 1, [](int i, int j, int) { return 10 + i + j; }));
    Write("psf.tif", MakeStack(3, 3, 1, [](int i, int j, int) { return i == 1 && j == 1 ? 4.0 : 1.0; }));
    small.fileSizeLimit = 800;  // the output is smaller, its record larger
    const ProgramResult result = Restore({"--iterations", "1"}, small);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("note: the output stands without its record: cannot write 'out.tif.json'"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "psf.tif"}));
}

TEST_F(Sidecar, NamesThatAreNoUtf8StayJson) {
    const std::string name = "\xff.tif";
    std::filesystem::copy_file(In("in.tif"), In(name));
    const ProgramResult result = RunProgram(
        folder_.path(), {"restore", name, "--psf", "psf.tif", "-o", "out.tif", "--iterations", "1"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(Record()["inputs"]["image"]["bytes"], std::filesystem::file_size(In(name)));
}

// ---------------------------------------------------------------------------------------- the hash

TEST_F(Sidecar, HashFollowsSettingsAndContentsAlone) {
    const auto hash = [this](const Words& more) {
        return RecordOf(more)["settings_hash"].get<std::string>();
    };
    const std::string plain = hash({"--iterations", "3"});
    EXPECT_EQ(plain.size(), 16U);
    EXPECT_EQ(hash({"--iterations", "3", "--regularization", "1", "-q"}), plain) << "a default that is given";
    EXPECT_EQ(hash({"--iterations", "3", "--truth", "in.tif"}), plain);
    EXPECT_NE(hash({"--iterations", "4"}), plain);
    EXPECT_NE(hash({"--iterations", "3", "--wiener-start"}), plain);
    EXPECT_NE(hash({"--iterations", "3", "--dtype", "u16"}), plain);
    EXPECT_NE(hash({"--iterations", "3", "--background", "2"}), plain);
    EXPECT_NE(hash({"--iterations", "3", "--hot-pixels", "auto"}), plain);
    const std::string split =
        hash({"--iterations", "3", "--stop", "split", "--gain", "1", "--offset", "-40"});
    EXPECT_NE(split, plain);
    EXPECT_NE(hash({"--iterations", "3", "--stop", "split", "--gain", "1", "--offset", "-40", "--seed", "2"}),
              split);
    EXPECT_NE(hash({"--iterations", "3", "--method", "lucy-richardson"}), plain);
    EXPECT_NE(hash({"--iterations", "3", "--pixel", "0.2"}), plain);

    std::filesystem::last_write_time(In("in.tif"), std::filesystem::file_time_type::clock::now());
    EXPECT_EQ(hash({"--iterations", "3"}), plain) << "touched, not changed";
    Write("psf.tif", GaussianPsf(1.3));
    EXPECT_NE(hash({"--iterations", "3"}), plain);
    Write("psf.tif", GaussianPsf());
    EXPECT_EQ(hash({"--iterations", "3"}), plain);
    Write("in.tif", MakeStack(21, 17, 9, [](int i, int j, int k) { return 10 + i + j * k; }));
    EXPECT_NE(hash({"--iterations", "3"}), plain);
}

TEST(SettingsHash, FollowsTheVersion) {
    RestoreJob job;
    job.method = "wiener";
    const InputIdentities inputs;
    EXPECT_EQ(SettingsHash(job, inputs, "1.0"), SettingsHash(job, inputs, "1.0"));
    EXPECT_NE(SettingsHash(job, inputs, "1.0"), SettingsHash(job, inputs, "1.1"));
}

/// A new option of a method must be told of, or be known as one that leaves the samples alone.
TEST(ResolvedSettings, KnowEveryOptionThatAnyMethodReads) {
    const RestoreJob job;
    for (const Method& method : Methods()) {
        EXPECT_NO_THROW(ResolvedSettings(method, job)) << method.name;
        EXPECT_FALSE(ResolvedSettings(method, job).empty()) << method.name;
    }
    for (const PictureMethod& method : PictureMethods()) {
        EXPECT_NO_THROW(ResolvedSettings(method, job)) << method.name;
    }
    Method method = Methods().front();
    method.reads.emplace_back("--new");
    EXPECT_THROW(ResolvedSettings(method, job), std::logic_error);
}

}  // namespace
}  // namespace rydecon
