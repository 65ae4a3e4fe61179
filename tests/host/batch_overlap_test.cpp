// SPDX-License-Identifier: MIT
// Several images, one at a time: what is read and written while another one is computed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>

#include "batch/file_warmer.h"
#include "support/batch_scene.h"
#include "support/file_events.h"

namespace rydecon {
namespace {

namespace fs = std::filesystem;
using test::FileEvents;
using test::ProgramResult;
using test::RunningProgram;
using test::RunProgram;
using test::Words;

class BatchOverlap : public test::BatchTest {};

TEST_F(BatchOverlap, TheNextImageIsReadWhileTheOneBeforeItIsRestored) {
    std::ofstream(In("list.tsv")) << "image\toutput\titerations\nin/a.tif\ta.tif\t3000\nin/b.tif\tb.tif\t2\n";
    fs::create_directory(In("out"));
    FileEvents events;
    events.WatchReading(In("in/b.tif"));
    events.WatchArrivals(In("out"));
    const ProgramResult result =
        RunProgram(folder_.path(), {"restore", "--manifest", "list.tsv", "-o", "out", "--psf", "psf.tif",
                                    "--method", "lucy-richardson"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const Words all = events.All();
    const auto restored = std::find(all.begin(), all.end(), "has a.tif");
    ASSERT_NE(restored, all.end());
    EXPECT_NE(std::find(all.begin(), restored, "read b.tif"), restored) << "by the batch itself";
    EXPECT_NE(std::find(restored, all.end(), "read b.tif"), all.end()) << "by its restoration";
}

TEST_F(BatchOverlap, TheNextImageBeginsWhileTheOneBeforeItIsPutInItsPlace) {
    // Pages take a while after the computation. That of one image at least is not done when the next image begins.
    std::ofstream list(In("list.tsv"));
    list << "image\toutput\treport\n";
    fs::create_directory(In("out"));
    constexpr int kImages = 5;
    for (int n = 0; n < kImages; ++n) {
        const std::string name = "image" + std::to_string(n);
        Write("in/" + name + ".tif", test::MakeStack(260, 240, 3, [n](int i, int j, int k) {
                  return 20 + (i * 7 + j * 13 + k * 5 + n) % 31;
              }));
        list << "in/" << name << ".tif\t" << name << ".tif\tout/" << name << ".html\n";
    }
    list.close();
    FileEvents events;
    events.WatchArrivals(In("out"));
    const ProgramResult result =
        RunProgram(folder_.path(), {"restore", "--manifest", "list.tsv", "-o", "out", "--psf", "psf.tif",
                                    "--method", "lucy-richardson", "--iterations", "2"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const Words all = events.All();
    int overlapped = 0;
    for (int n = 0; n + 1 < kImages; ++n) {
        const auto page = std::find(all.begin(), all.end(), "has image" + std::to_string(n) + ".html");
        ASSERT_NE(page, all.end());
        const std::string next = "new .image" + std::to_string(n + 1) + ".html.rydecon-";
        overlapped += std::any_of(all.begin(), page,
                                  [&next](const std::string& event) { return event.rfind(next, 0) == 0; });
    }
    EXPECT_GE(overlapped, 1);
    for (int n = 0; n < kImages; ++n) {
        EXPECT_TRUE(Tells(TableLine(result, "in/image" + std::to_string(n) + ".tif"), "done"));
    }
}

TEST_F(BatchOverlap, ARestorationPassesItsTurnOnBeforeItsOutputIsInPlace) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const std::array<char, 4096> full{};
    while (write(ends[1], full.data(), full.size()) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);  // whoever writes now waits
    test::ProgramSettings settings;
    settings.environment = {"RYDECON_TURN=" + std::to_string(ends[1])};
    RunningProgram program(folder_.path(),
                           {"restore", "in/a.tif", "--psf", "psf.tif", "-o", "out.tif", "--iterations", "2"},
                           settings);
    const auto written = [this] {
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            const bool temporary = entry.path().filename().string().rfind(".out.tif.rydecon-", 0) == 0;
            if (temporary && entry.file_size() >= sizeof(float) * 15 * 12 * 7) return true;
        }
        return false;
    };
    const auto latest = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!written() && std::chrono::steady_clock::now() < latest)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_TRUE(written());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(fs::exists(In("out.tif"))) << "it waits until somebody takes its turn";
    close(ends[1]);
    std::array<char, 4096> taken{};
    while (read(ends[0], taken.data(), taken.size()) > 0) {
    }
    close(ends[0]);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(fs::exists(In("out.tif")));
}

TEST_F(BatchOverlap, ASettingThatNamesNoPipeIsPassedOver) {
    test::ProgramSettings settings;
    for (const char* value : {"RYDECON_TURN=77", "RYDECON_TURN=", "RYDECON_TURN=x", "RYDECON_TURN=-1"}) {
        settings.environment = {value};
        const ProgramResult result =
            RunProgram(folder_.path(),
                       {"restore", "in/a.tif", "--psf", "psf.tif", "-o", "out.tif", "--overwrite"}, settings);
        EXPECT_EQ(result.exitCode, 0) << value << result.err;
    }
}

TEST_F(BatchOverlap, AReportThatIsMissingIsMadeUp) {
    std::ofstream(In("list.tsv")) << "image\toutput\treport\tcurve\nin/a.tif\ta.tif\tout/a.html\tout/a.csv\n"
                                     "in/b.tif\tb.tif\t\t\n";
    const Words command = {"--manifest", "list.tsv", "-o", "out"};
    ASSERT_EQ(Run(command).exitCode, 0);
    EXPECT_TRUE(Tells(TableLine(Run(command), "in/a.tif"), "already done"));
    const std::string bytes = test::FileBytes(In("out/a.tif"));

    fs::remove(In("out/a.html"));
    const ProgramResult refused = Run(command);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(Tells(TableLine(refused, "in/a.tif"),
                      "cannot write 'out/a.csv': the file exists already; add --overwrite to replace it"))
        << refused.out;
    EXPECT_FALSE(fs::exists(In("out/a.html")));

    fs::remove(In("out/a.csv"));
    const ProgramResult result = Run(command);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(Tells(TableLine(result, "in/a.tif"), "done          3")) << result.out;
    EXPECT_TRUE(Tells(TableLine(result, "in/b.tif"), "already done")) << result.out;
    EXPECT_TRUE(fs::exists(In("out/a.html")));
    EXPECT_TRUE(fs::exists(In("out/a.csv")));
    EXPECT_TRUE(test::FileBytes(In("out/a.tif")) == bytes);
}

/// Pages of a file that the system has in memory.
std::size_t PagesInMemory(const fs::path& file, std::size_t bytes) {
    const int descriptor = open(file.c_str(), O_RDONLY);
    void* const map = mmap(nullptr, bytes, PROT_READ, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (map == MAP_FAILED) return 0;
    std::vector<unsigned char> pages(bytes / static_cast<std::size_t>(sysconf(_SC_PAGESIZE)));
    const int known = mincore(map, bytes, pages.data());
    munmap(map, bytes);
    if (known != 0) return 0;
    return static_cast<std::size_t>(
        std::count_if(pages.begin(), pages.end(), [](unsigned char page) { return (page & 1) != 0; }));
}

TEST_F(BatchOverlap, WarmFilesAreInTheSystemsMemory) {
    constexpr std::size_t kBytes = std::size_t{8} << 20;
    const fs::path file = In("large");
    std::ofstream(file, std::ios::binary) << std::string(kBytes, 'x');
    const int descriptor = open(file.c_str(), O_RDONLY);
    fsync(descriptor);
    posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
    close(descriptor);
    const std::size_t all = kBytes / static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    if (PagesInMemory(file, kBytes) == all) GTEST_SKIP() << "files of this folder are always in memory";
    FileWarmer warmer;
    warmer.Warm({In("none"), folder_.path(), file});
    warmer.Wait();
    EXPECT_EQ(PagesInMemory(file, kBytes), all);
}

TEST_F(BatchOverlap, WarmingLeavesOffAtOnce) {
    // A hole takes no room on the disk.
    const fs::path file = In("large");
    std::ofstream(file).put('x');
    fs::resize_file(file, std::uintmax_t{1} << 30);
    const auto start = std::chrono::steady_clock::now();
    {
        FileWarmer warmer;
        warmer.Warm({file, file, file, file, file, file, file, file});
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

}  // namespace
}  // namespace rydecon
