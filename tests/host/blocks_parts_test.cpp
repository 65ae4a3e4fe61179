// SPDX-License-Identifier: MIT
// The parts that restoring in blocks is made of.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

#include "report/user_error.h"
#include "restoration/blocks/axis_cut.h"
#include "restoration/blocks/memory_limit.h"
#include "restoration/blocks/part_folder.h"
#include "restoration/blocks/piece_assembly.h"
#include "restoration/blocks/run_forecast.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

TEST(AxisCut, WeightsSumToOneAndEndAtTheGuards) {
    for (const Overlap& overlap : {Overlap{0, 4, 1}, Overlap{3, 5, 1}, Overlap{8, 8, 16}, Overlap{5, 0, 1}}) {
        for (const int side : {40, 97, 200, 331}) {
            for (int count = 1; count <= AxisCut::MostParts(side, overlap); ++count) {
                const AxisCut cut(side, count, overlap);
                for (int position = 0; position < side; ++position) {
                    double sum = 0.0;
                    int parts = 0;
                    for (int n = 0; n < count; ++n) {
                        const float weight = cut.Weight(n, position);
                        ASSERT_GE(weight, 0.0f);
                        sum += weight;
                        if (weight == 0.0f) continue;
                        ++parts;
                        const Span read = cut.Read(n);
                        ASSERT_GE(position - read.begin, n == 0 ? 0 : overlap.guard);
                        ASSERT_GE(read.end - 1 - position, n + 1 == count ? 0 : overlap.guard);
                        ASSERT_LE(read.length(), cut.LongestPart());
                        ASSERT_EQ(read.begin % overlap.step, 0);
                    }
                    ASSERT_NEAR(sum, 1.0, 1e-7) << side << ", " << count << " parts, at " << position;
                    ASSERT_LE(parts, 2);
                    ASSERT_GE(cut.Weight(cut.Owner(position), position), 0.5f);
                }
            }
        }
    }
}

TEST(AxisCut, OnePartIsTheAxis) {
    const AxisCut cut(7, 1, {5, 5, 1});
    EXPECT_EQ(cut.Read(0), (Span{0, 7}));
    EXPECT_EQ(cut.Used(0), (Span{0, 7}));
    EXPECT_EQ(cut.Weight(0, 6), 1.0f);
    EXPECT_EQ(AxisCut::MostParts(7, {5, 5, 1}), 1);
    EXPECT_EQ(AxisCut::MostParts(1, {0, 4, 1}), 1);
}

TEST(ByteSize, ReadsSuffixesAndRefusesNonsense) {
    EXPECT_EQ(ParseByteSize("--max-memory", "4G"), 4ULL << 30);
    EXPECT_EQ(ParseByteSize("--max-memory", "1.5m"), 3ULL << 19);
    EXPECT_EQ(ParseByteSize("--max-memory", "2048K"), 2ULL << 20);
    EXPECT_EQ(ParseByteSize("--max-memory", "1T"), 1ULL << 40);
    EXPECT_EQ(ParseByteSize("--max-memory", "5000000"), 5000000U);
    for (const char* text :
         {"", "0", "-1G", "G", "4GB", "4 G", "1e3M", "nan", "inf", "0x10M", "1023K", "+4G"}) {
        try {
            ParseByteSize("--max-memory", text);
            ADD_FAILURE() << text;
        } catch (const UserError& error) {
            EXPECT_EQ(error.code(), ExitCode::Usage) << text;
            EXPECT_EQ(std::string(error.what()).rfind("--max-memory ", 0), 0U) << error.what();
        }
    }
}

TEST(ByteSize, TextHasThreeDigits) {
    EXPECT_EQ(ByteText(1), "1 MiB");
    EXPECT_EQ(ByteText(812ULL << 20), "812 MiB");
    EXPECT_EQ(ByteText(3ULL << 30), "3.00 GiB");
}

/// Runs that take these seconds; how many of them LeastTime takes.
int RunsOf(const std::vector<double>& seconds, double least) {
    std::size_t n = 0;
    const auto taken = LeastTime([&]() -> std::optional<double> { return seconds.at(n++); });
    EXPECT_TRUE(taken);
    EXPECT_EQ(taken.value_or(0.0), least);
    return static_cast<int>(n);
}

TEST(LeastTime, IsTheOneOfARunThatOthersLeftAlone) {
    EXPECT_EQ(RunsOf({0.25, 0.02, 0.3}, 0.02), 3) << "a busy machine";
    EXPECT_EQ(RunsOf({0.04, 0.03, 0.04}, 0.03), 3) << "a quiet one";
    EXPECT_EQ(RunsOf({0.01, 0.01, 0.02, 0.01, 0.005, 0.01}, 0.005), 6) << "short runs";
    EXPECT_EQ(RunsOf({5.0}, 5.0), 1) << "not longer than needed";
    EXPECT_EQ(LeastTime([]() -> std::optional<double> { return std::nullopt; }), std::nullopt);
}

class ControlGroups : public ::testing::Test {
  protected:
    void Put(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories((folder_.path() / name).parent_path());
        std::ofstream(folder_.path() / name) << text;
    }
    std::optional<std::uint64_t> Room(const std::string& membership) const {
        Put("membership", membership);
        return RoomInControlGroups(folder_.path() / "membership", folder_.path());
    }
    test::TemporaryFolder folder_;
};

TEST_F(ControlGroups, TheTightestOfAllAroundCounts) {
    Put("a/b/memory.max", "max\n");
    Put("a/memory.max", "5000\n");
    Put("a/memory.current", "3000\n");
    Put("a/memory.stat", "anon 100\ninactive_file 1000\nfile 7\n");
    EXPECT_EQ(Room("0::/a/b\n"), 3000U) << "file pages give way";
    Put("a/b/memory.max", "1500\n");
    EXPECT_EQ(Room("0::/a/b\n"), 1500U);
    EXPECT_EQ(Room("0::/elsewhere\n"), std::nullopt);
    EXPECT_EQ(Room(""), std::nullopt);
}

TEST_F(ControlGroups, TheOlderFormIsReadToo) {
    Put("memory/docker/memory.limit_in_bytes", "4000\n");
    Put("memory/docker/memory.usage_in_bytes", "9000\n");
    EXPECT_EQ(Room("5:cpu:/docker\n4:memory,hugetlb:/docker\n"), 0U) << "more than the limit is in use";
}

TEST(MemoryLimit, IsWhatTheUserAllows) {
    const MemoryLimit limit = FindMemoryLimit(1ULL << 30);
    EXPECT_EQ(limit.bytes, 1ULL << 30);
    EXPECT_EQ(limit.source, "--max-memory");
    const MemoryLimit free = FindMemoryLimit(std::nullopt);
    EXPECT_GT(free.bytes, MeasureProcess().resident);
    EXPECT_LT(free.bytes, ~std::uint64_t{0});
}

class Pieces : public ::testing::Test {
  protected:
    Pieces() : parts_(folder_.path() / "out.tif", true, quiet_) {}
    static PieceHead Head(unsigned block = 0) {
        return {2, block, {3, 2, 1}, {4, 3, 2}, "method=any image=1"};
    }
    /// Writes the samples offset, offset + 1, ...
    void Make(const PieceHead& head, float offset = 0.0f) {
        parts_.Open();
        const auto piece = parts_.Write(head);
        std::vector<float> rows(3 * 5);
        for (int k = 0; k < head.size.z; ++k) {
            for (int j = 0; j < 3; ++j) {
                for (int i = 0; i < 4; ++i)
                    rows[static_cast<std::size_t>(5 * j + i)] =
                        offset + static_cast<float>((k * 3 + j) * 4 + i);
            }
            piece->WritePlane(k, rows.data(), 5);
        }
        piece->Commit({17, EndOfRun::StopTest});
    }
    std::filesystem::path File() const {
        return folder_.path() / "out.tif.parts" / "volume-0002-block-00000.piece";
    }
    const Messages quiet_{true};
    test::TemporaryFolder folder_;
    PartFolder parts_;
};

TEST_F(Pieces, KeepTheirSamplesAndHowTheyEnded) {
    EXPECT_FALSE(parts_.Has(Head()));
    Make(Head());
    EXPECT_EQ(std::filesystem::file_size(File()), 52 + Head().identity.size() + 4 + 4 * 24 + 12);
    ASSERT_TRUE(parts_.Has(Head()));
    EXPECT_EQ(parts_.EndOf(Head()).iterations, 17U);
    EXPECT_EQ(parts_.EndOf(Head()).end, EndOfRun::StopTest);
    EXPECT_EQ(parts_.CountsOfEarlierRun(2), (Extent{3, 2, 1}));
    EXPECT_EQ(parts_.CountsOfEarlierRun(0), std::nullopt);
    PieceReader reader = parts_.Read(Head());
    for (int k = 0; k < 2; ++k) {
        float plane[12];
        reader.ReadPlane(plane);
        for (int n = 0; n < 12; ++n) EXPECT_EQ(plane[n], static_cast<float>(12 * k + n));
    }
    parts_.Remove();
    EXPECT_TRUE(folder_.Entries().empty());
}

TEST_F(Pieces, AnyChangedByteIsFound) {
    Make(Head());
    const std::string sound = test::FileBytes(File());
    for (std::size_t n = 0; n < sound.size(); ++n) {
        std::string changed = sound;
        changed[n] = static_cast<char>(changed[n] ^ 0x10);
        std::ofstream(File(), std::ios::binary) << changed;
        PartFolder parts(folder_.path() / "out.tif", true, quiet_);
        ASSERT_FALSE(parts.Has(Head())) << "byte " << n;
        ASSERT_FALSE(std::filesystem::exists(File())) << "byte " << n;
    }
    for (const std::size_t length : {std::size_t{0}, std::size_t{30}, sound.size() - 1}) {
        std::ofstream(File(), std::ios::binary) << sound.substr(0, length);
        PartFolder parts(folder_.path() / "out.tif", true, quiet_);
        EXPECT_FALSE(parts.Has(Head())) << length;
    }
}

TEST_F(Pieces, OfAnotherIdentityAreNotTaken) {
    Make(Head());
    PieceHead other = Head();
    other.identity += "2";
    EXPECT_FALSE(parts_.Has(other));
    EXPECT_FALSE(std::filesystem::exists(File()));
}

TEST_F(Pieces, DamageBetweenCheckAndUseIsAnError) {
    Make(Head());
    ASSERT_TRUE(parts_.Has(Head()));
    {
        std::fstream file(File(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(100);
        file.put('\x7f');
    }
    PieceReader reader = parts_.Read(Head());
    float plane[12];
    reader.ReadPlane(plane);
    EXPECT_THROW(reader.ReadPlane(plane), UserError);
}

/// Remembers planes of 4 by 3 samples.
struct RememberedPlanes final : PlaneSink {
    void WritePlane(int /*k*/, const float* rows, std::ptrdiff_t rowStride) override {
        for (int j = 0; j < 3; ++j)
            samples.insert(samples.end(), rows + j * rowStride, rows + j * rowStride + 4);
    }
    std::vector<float> samples;
};

TEST_F(Pieces, OfOneBlockAreTheVolumeToTheSignOfAZero) {
    const BlockGrid grid({4, 3, 2}, {1, 1, 1}, {});
    PieceHead head = Head();
    head.counts = {1, 1, 1};
    const std::vector<float> rows = {-0.0f, 0.0f, 1e-45f, -3.5f, 7.0f, -0.0f,
                                     1.0f,  2.0f, 3.0f,   4.0f,  5.0f, 6.0f};
    parts_.Open();
    const auto piece = parts_.Write(head);
    for (int k = 0; k < 2; ++k) piece->WritePlane(k, rows.data(), 4);
    piece->Commit({1, EndOfRun::Limit});
    RememberedPlanes planes;
    AssemblePieces(
        parts_, grid, [&head](int) { return head; }, 0.0f, planes);
    ASSERT_EQ(planes.samples.size(), 24U);
    for (std::size_t n = 0; n < 24; ++n) {
        EXPECT_EQ(planes.samples[n], rows[n % 12]) << n;
        EXPECT_EQ(std::signbit(planes.samples[n]), std::signbit(rows[n % 12])) << n;
    }
}

TEST_F(Pieces, ThatARunHasNotComeToStayWhenItEnds) {
    Make(Head());
    for (const ExitCode code : {ExitCode::Stopped, ExitCode::Failed}) {
        PartFolder resumed(folder_.path() / "out.tif", true, quiet_);
        resumed.Open();
        try {
            resumed.Fail(UserError("the disk is full", code));
        } catch (const UserError& error) {
            EXPECT_EQ(error.code(), code);
            EXPECT_NE(std::string(error.what()).find("; 1 piece stays in "), std::string::npos)
                << error.what();
        }
        EXPECT_TRUE(std::filesystem::exists(File()));
    }
}

TEST_F(Pieces, OfAFolderThatWasNeverOpenedNothingIsTold) {
    EXPECT_THROW(
        {
            try {
                parts_.Fail(UserError("stopped; go on with the checkpoint", ExitCode::Stopped));
            } catch (const UserError& error) {
                EXPECT_EQ(std::string(error.what()), "stopped; go on with the checkpoint");
                throw;
            }
        },
        UserError);
}

}  // namespace
}  // namespace rydecon
