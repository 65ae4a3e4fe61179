// SPDX-License-Identifier: MIT

#include "io/stack_writer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <tiffio.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "io/stack_reader.h"
#include "io/tiff_prologue.h"
#include "tiff_fixture.h"

namespace rydecon::testing {
namespace {

using Names = std::vector<std::string>;

StackHeader Shape(int width, int height, int planes) {
    StackHeader header;
    header.width = width;
    header.height = height;
    header.slices = planes;
    return header;
}

float Sample(int x, int y, int plane) {
    return static_cast<float>(plane * 10000 + y * 100 + x) + 0.25F;
}

class Writing : public FolderTest {
  protected:
    static std::vector<float> PlaneRows(const StackHeader& header, int plane, std::ptrdiff_t stride) {
        std::vector<float> rows(static_cast<std::size_t>(stride * header.height), std::nanf(""));
        for (int y = 0; y < header.height; ++y) {
            for (int x = 0; x < header.width; ++x) {
                rows[static_cast<std::size_t>(y * stride + x)] = Sample(x, y, plane);
            }
        }
        return rows;
    }
    static void WriteStack(const std::filesystem::path& path, const StackHeader& header,
                           std::ptrdiff_t stride) {
        StackWriter writer(path, header, false);
        for (int plane = 0; plane < header.planes(); ++plane) {
            writer.WritePlane(PlaneRows(header, plane, stride).data(), stride);
        }
        writer.Commit();
    }
    void ExpectRoundTrip(const StackHeader& header, std::ptrdiff_t stride) {
        WriteStack(File("out.tif"), header, stride);
        StackReader reader(File("out.tif"), messages_);
        EXPECT_EQ(reader.header().width, header.width);
        EXPECT_EQ(reader.header().height, header.height);
        EXPECT_EQ(reader.header().planes(), header.planes());
        EXPECT_EQ(reader.header().sampleType, SampleType::Float32);
        EXPECT_EQ(reader.header().voxel.x, header.voxel.x);
        EXPECT_EQ(reader.header().voxel.y, header.voxel.y);
        EXPECT_EQ(reader.header().voxel.z, header.voxel.z);
        std::vector<float> rows(static_cast<std::size_t>(header.width * header.height));
        for (int plane = 0; plane < header.planes(); ++plane) {
            reader.ReadPlane(plane, rows.data(), header.width);
            EXPECT_EQ(rows, PlaneRows(header, plane, header.width));
        }
        std::filesystem::remove(File("out.tif"));
    }
    Messages messages_;
};

TEST_F(Writing, ReadsBackAsWritten) {
    StackHeader header = Shape(37, 21, 5);
    ExpectRoundTrip(header, 37);
    header.voxel = {0.065, 0.0651, 0.3};
    ExpectRoundTrip(header, 48);
    header.voxel = {0.1083, 0.1083, std::nullopt};
    ExpectRoundTrip(header, 37);
    header.voxel = {std::nullopt, std::nullopt, 0.2};
    ExpectRoundTrip(header, 37);
}

TEST_F(Writing, OddShapesReadBack) {
    ExpectRoundTrip(Shape(1, 1, 1), 1);
    ExpectRoundTrip(Shape(1, 7, 2), 3);
    ExpectRoundTrip(Shape(300, 1, 3), 300);
    ExpectRoundTrip(Shape(2, 3, 700), 2);
    StackHeader plane = Shape(9, 8, 1);
    plane.voxel = {0.1, 0.1, 0.25};
    ExpectRoundTrip(plane, 9);
}

TEST_F(Writing, RowsLongerThanTheBufferReadBack) {
    ExpectRoundTrip(Shape(1200000, 2, 2), 1200001);
}

// ImageJ takes plane k from k plane sizes behind the first, whatever the directories say.
TEST_F(Writing, PlanesStandInOneRunToTheEndOfTheFile) {
    const StackHeader header = Shape(37, 21, 50);
    WriteStack(File("out.tif"), header, 37);
    TIFF* tiff = TIFFOpen(File("out.tif").c_str(), "r");
    ASSERT_NE(tiff, nullptr);
    const std::uint64_t first = TIFFGetStrileOffset(tiff, 0);
    std::uint64_t plane = 0;
    do {
        EXPECT_EQ(TIFFNumberOfStrips(tiff), 1U);
        EXPECT_EQ(TIFFGetStrileOffset(tiff, 0), first + plane * PlaneBytes(header));
        EXPECT_EQ(TIFFGetStrileByteCount(tiff, 0), PlaneBytes(header));
        EXPECT_LT(TIFFCurrentDirOffset(tiff), first);
        ++plane;
    } while (TIFFReadDirectory(tiff) == 1);
    TIFFClose(tiff);
    EXPECT_EQ(plane, 50U);
    EXPECT_EQ(std::filesystem::file_size(File("out.tif")), first + 50 * PlaneBytes(header));
}

TEST_F(Writing, LibtiffHasNothingToComplainOf) {
    static std::string complaints;
    complaints.clear();
    const auto keep = [](const char*, const char* format, va_list) { complaints += format; };
    const TIFFErrorHandler warnings = TIFFSetWarningHandler(keep);
    const TIFFErrorHandler errors = TIFFSetErrorHandler(keep);
    StackHeader header = Shape(4, 4, 3);
    header.voxel = {0.1, 0.1, 0.2};
    WriteStack(File("out.tif"), header, 4);
    for (const TiffForm form : {TiffForm::Classic, TiffForm::SingleDirectory, TiffForm::Big}) {
        std::string bytes = MakePrologue(header, form) + std::string(3 * PlaneBytes(header), '\0');
        WriteBytes(File("form.tif"), {bytes.begin(), bytes.end()});
        TIFF* tiff = TIFFOpen(File("form.tif").c_str(), "r");
        ASSERT_NE(tiff, nullptr);
        EXPECT_EQ(TIFFNumberOfDirectories(tiff), form == TiffForm::SingleDirectory ? 1U : 3U);
        std::vector<float> samples(16);
        EXPECT_EQ(TIFFReadEncodedStrip(tiff, 0, samples.data(), 64), 64);
        TIFFClose(tiff);
        EXPECT_EQ(StackReader(File("form.tif"), messages_).header().planes(), 3);
    }
    TIFFSetWarningHandler(warnings);
    TIFFSetErrorHandler(errors);
    EXPECT_EQ(complaints, "");
}

TEST_F(Writing, FormFollowsTheSize) {
    EXPECT_EQ(ChooseForm(Shape(512, 512, 100)), TiffForm::Classic);
    EXPECT_EQ(ChooseForm(Shape(1024, 1024, 1023)), TiffForm::Classic);
    EXPECT_EQ(ChooseForm(Shape(1024, 1024, 1024)), TiffForm::SingleDirectory);
    EXPECT_EQ(ChooseForm(Shape(32768, 32767, 2)), TiffForm::SingleDirectory);
    EXPECT_EQ(ChooseForm(Shape(32768, 32768, 1)), TiffForm::Big);
    EXPECT_EQ(ChooseForm(Shape(2147483647, 2147483647, 1)), TiffForm::Big);
    // Many small planes: here the directories are what exceeds.
    EXPECT_EQ(ChooseForm(Shape(1, 1, 2147483647)), TiffForm::SingleDirectory);
}

TEST_F(Writing, ImpossibleVoxelsAreNotWritten) {
    StackHeader header = Shape(3, 3, 2);
    header.voxel = {0.0, -1.0, std::nan("")};
    WriteStack(File("out.tif"), header, 3);
    ::testing::internal::CaptureStderr();
    const VoxelSize voxel = StackReader(File("out.tif"), messages_).header().voxel;
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(voxel.x, std::nullopt);
    EXPECT_EQ(voxel.y, std::nullopt);
    EXPECT_EQ(voxel.z, std::nullopt);
}

TEST_F(Writing, NothingAppearsUncommitted) {
    const StackHeader header = Shape(3, 3, 2);
    {
        StackWriter writer(File("out.tif"), header, false);
        writer.WritePlane(PlaneRows(header, 0, 3).data(), 3);
        EXPECT_THROW(writer.Commit(), std::logic_error);
        writer.WritePlane(PlaneRows(header, 1, 3).data(), 3);
        EXPECT_THROW(writer.WritePlane(PlaneRows(header, 1, 3).data(), 3), std::logic_error);
    }
    EXPECT_EQ(NamesInFolder(), Names{});
    EXPECT_THROW(StackWriter(File("out.tif"), Shape(0, 3, 2), false), std::invalid_argument);
}

TEST_F(Writing, PlanesComeInAnyOrderButOnce) {
    StackHeader header = Shape(3, 2, 2);
    header.channels = 3;
    header.times = 2;
    const std::vector<float> rows(6, 1.0F);
    StackWriter writer(File("out.tif"), header, false);
    for (const PlaneIndex wrong : {PlaneIndex{2, 0, 0}, PlaneIndex{0, 3, 0}, PlaneIndex{0, 0, 2},
                                   PlaneIndex{-1, 0, 0}, PlaneIndex{0, -1, 0}, PlaneIndex{0, 0, -1}}) {
        EXPECT_THROW(writer.WritePlane(wrong, rows.data(), 3), std::out_of_range);
    }
    writer.WritePlane({1, 2, 1}, rows.data(), 3);
    EXPECT_THROW(writer.WritePlane({1, 2, 1}, rows.data(), 3), std::logic_error);
    for (int k = 0; k < 11; ++k) writer.WritePlane(PlaneAt(header, k), rows.data(), 3);
    writer.Commit();
    StackReader reader(File("out.tif"), messages_, Accept::AnyStack);
    EXPECT_EQ(reader.header().slices, 2);
    EXPECT_EQ(reader.header().channels, 3);
    EXPECT_EQ(reader.header().times, 2);
    EXPECT_THROW(reader.ReadPlane({0, 3, 0}, nullptr, 3), std::out_of_range);
    EXPECT_THROW(reader.ReadPlane({2, 0, 0}, nullptr, 3), std::out_of_range);
    EXPECT_THROW(reader.ReadPlane({0, 0, -1}, nullptr, 3), std::out_of_range);
}

TEST_F(Writing, LargeFormsFollowTheContainerAndTheLimit) {
    StackHeader header = Shape(10, 10, 20);
    EXPECT_EQ(ChooseForm(header, 30000), TiffForm::Classic);
    EXPECT_EQ(ChooseForm(header, 9000), TiffForm::SingleDirectory);
    EXPECT_EQ(ChooseForm(header, 900), TiffForm::Big);
    header.container = Container::Ome;
    EXPECT_EQ(ChooseForm(header, 30000), TiffForm::Classic);
    EXPECT_EQ(ChooseForm(header, 9000), TiffForm::Big);
}

// Wherever the limit lies, a classic file keeps it.
TEST_F(Writing, ClassicFilesKeepTheLimit) {
    StackHeader header = Shape(7, 5, 9);
    header.channels = 2;
    header.channel.resize(2);
    header.channel[0].name = std::string(3000, 'n');
    for (const Container container : {Container::ImageJ, Container::Ome}) {
        header.container = container;
        for (std::uint64_t limit = 1000; limit < 200000; limit += 997) {
            if (ChooseForm(header, limit) != TiffForm::Classic) continue;
            EXPECT_LE(MakePrologue(header, TiffForm::Classic).size() + 18 * PlaneBytes(header), limit);
        }
    }
}

TEST_F(Writing, ReplacingTheInputKeepsItUntilCommit) {
    const StackHeader header = Shape(3, 3, 2);
    WriteStack(File("stack.tif"), header, 3);
    StackReader reader(File("stack.tif"), messages_);
    StackWriter writer(File("stack.tif"), header, true);
    std::vector<float> rows(9);
    for (int plane = 0; plane < 2; ++plane) {
        reader.ReadPlane(plane, rows.data(), 3);
        for (float& sample : rows) sample *= 2;
        writer.WritePlane(rows.data(), 3);
    }
    writer.Commit();
    StackReader(File("stack.tif"), messages_).ReadPlane(1, rows.data(), 3);
    EXPECT_EQ(rows[8], 2 * Sample(2, 2, 1));
}

TEST_F(Writing, FileSizeLimitIsFoundBeforeTheWork) {
    rlimit previous{};
    getrlimit(RLIMIT_FSIZE, &previous);
    const rlimit lower{100000, previous.rlim_max};
    setrlimit(RLIMIT_FSIZE, &lower);
    const std::string line = RefusalOf(File("out.tif"), [&] {
        const StackHeader header = Shape(100, 100, 10);
        StackWriter writer(File("out.tif"), header, false);
        for (int plane = 0; plane < header.planes(); ++plane) {
            writer.WritePlane(PlaneRows(header, plane, 100).data(), 100);
        }
    });
    setrlimit(RLIMIT_FSIZE, &previous);
    EXPECT_NE(line.find("largest file"), std::string::npos) << line;
    EXPECT_EQ(NamesInFolder(), Names{});
}

TEST_F(Writing, TruncatedResultIsNoStack) {
    const StackHeader header = Shape(8, 8, 4);
    WriteStack(File("out.tif"), header, 8);
    auto bytes = BytesOfFile(File("out.tif"));
    for (const std::size_t missing : {std::size_t{1}, PlaneBytes(header), 4 * PlaneBytes(header) + 40}) {
        WriteBytes(File("cut.tif"), {bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(missing)});
        const std::string line =
            RefusalOf(File("cut.tif"), [&] { StackReader reader(File("cut.tif"), messages_); });
        EXPECT_NE(line.find("truncated"), std::string::npos) << line;
    }
}

}  // namespace
}  // namespace rydecon::testing
