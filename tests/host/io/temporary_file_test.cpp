// SPDX-License-Identifier: MIT

#include "io/temporary_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tiff_fixture.h"

namespace rydecon::testing {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class TemporaryFiles : public FolderTest {
  protected:
    static void WriteText(TemporaryFile& file, const std::string& text) {
        file.Write(text.data(), text.size());
    }
    static std::string TextOf(const fs::path& path) {
        const auto bytes = BytesOfFile(path);
        return {bytes.begin(), bytes.end()};
    }
    static mode_t ModeOf(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }
    void ExpectRefusal(const fs::path& target, bool overwrite, const std::string& words) {
        const Names before = NamesInFolder();
        const std::string line = RefusalOf(target, [&] { TemporaryFile file(target, overwrite); });
        EXPECT_NE(line.find(words), std::string::npos) << line;
        EXPECT_EQ(NamesInFolder(), before);
    }
};

/// Lowers the largest file size for the length of a block.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &previous_);
        const rlimit lower{bytes, previous_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &lower);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &previous_); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    rlimit previous_{};
};

TEST_F(TemporaryFiles, TargetAppearsOnCommit) {
    const mode_t mask = umask(022);
    {
        TemporaryFile file(File("out.tif"), false);
        WriteText(file, "abc");
        const Names names = NamesInFolder();
        ASSERT_EQ(names.size(), 1U);
        EXPECT_EQ(names[0].rfind(".out.tif.rydecon-", 0), 0U) << names[0];
        WriteText(file, "def");
        file.Commit();
        EXPECT_EQ(NamesInFolder(), Names{"out.tif"});
    }
    umask(mask);
    EXPECT_EQ(TextOf(File("out.tif")), "abcdef");
    EXPECT_EQ(ModeOf(File("out.tif")), 0644U);
}

TEST_F(TemporaryFiles, NothingIsLeftWithoutCommit) {
    {
        TemporaryFile file(File("out.tif"), false);
        file.Reserve(100000);
        WriteText(file, "abc");
    }
    EXPECT_EQ(NamesInFolder(), Names{});
}

TEST_F(TemporaryFiles, ReservedRoomIsNoContent) {
    TemporaryFile file(File("out.tif"), false);
    file.Reserve(100000);
    WriteText(file, "abc");
    file.Commit();
    EXPECT_EQ(TextOf(File("out.tif")), "abc");
}

TEST_F(TemporaryFiles, PlacesAreWrittenInAnyOrder) {
    TemporaryFile file(File("out.tif"), false);
    file.WriteAt(4, "ef", 2);
    WriteText(file, "ab");  // from the start, wherever WriteAt was
    file.WriteAt(2, "cd", 2);
    file.WriteAt(4, "", 0);
    file.Commit();
    EXPECT_EQ(TextOf(File("out.tif")), "abcdef");
}

TEST_F(TemporaryFiles, APlaceBeyondTheLimitIsAnError) {
    const std::string line = RefusalOf(File("out.tif"), [&] {
        const FileSizeLimit limit(10000);
        TemporaryFile file(File("out.tif"), false);
        file.WriteAt(9000, std::string(2000, 'x').data(), 2000);
    });
    EXPECT_NE(line.find("largest file"), std::string::npos) << line;
    EXPECT_EQ(NamesInFolder(), Names{});
}

TEST_F(TemporaryFiles, ExistingTargetStaysUnlessReplaced) {
    WriteBytes(File("out.tif"), {'o', 'l', 'd'});
    ExpectRefusal(File("out.tif"), false, "exists already");
    chmod(File("out.tif").c_str(), 0640);
    {
        TemporaryFile file(File("out.tif"), true);
        WriteText(file, "new");
        EXPECT_EQ(TextOf(File("out.tif")), "old");
        file.Commit();
    }
    EXPECT_EQ(TextOf(File("out.tif")), "new");
    EXPECT_EQ(ModeOf(File("out.tif")), 0640U);
    EXPECT_EQ(NamesInFolder(), Names{"out.tif"});
}

TEST_F(TemporaryFiles, TargetThatAppearsMeanwhileStays) {
    TemporaryFile file(File("out.tif"), false);
    WriteText(file, "new");
    WriteBytes(File("out.tif"), {'o', 't', 'h', 'e', 'r'});
    const std::string line = RefusalOf(File("out.tif"), [&] { file.Commit(); });
    EXPECT_NE(line.find("meanwhile"), std::string::npos) << line;
    EXPECT_EQ(TextOf(File("out.tif")), "other");
}

TEST_F(TemporaryFiles, TargetsThatCannotBe) {
    ExpectRefusal(File("missing/out.tif"), false, "does not exist; create it");
    ExpectRefusal(folder(), true, "is a folder");
    ExpectRefusal(folder() / "", true, "name of a file");
    ExpectRefusal("", true, "name of a file");
    WriteBytes(File("plain"), {'x'});
    ExpectRefusal(File("plain/out.tif"), false, "");
    ASSERT_EQ(mkfifo(File("pipe").c_str(), 0600), 0);
    ExpectRefusal(File("pipe"), true, "no regular file");
    ExpectRefusal(File(std::string(300, 'n')), true, "too long");
}

TEST_F(TemporaryFiles, LongNamesHaveATemporaryNameToo) {
    const std::string name = std::string(251, 'n') + ".tif";
    TemporaryFile file(File(name), false);
    file.Commit();
    EXPECT_EQ(NamesInFolder(), Names{name});
}

TEST_F(TemporaryFiles, FolderWithoutPermission) {
    ASSERT_EQ(mkdir(File("locked").c_str(), 0555), 0);
    const bool root = geteuid() == 0;
    if (root) {
        chmod(folder().c_str(), 0755);
        ASSERT_EQ(seteuid(65534), 0);
    }
    const std::string line =
        RefusalOf(File("locked/out.tif"), [&] { TemporaryFile file(File("locked/out.tif"), false); });
    if (root) {
        ASSERT_EQ(seteuid(0), 0);
    }
    EXPECT_NE(line.find("may write to"), std::string::npos) << line;
}

TEST_F(TemporaryFiles, LinksAreWrittenThrough) {
    ASSERT_EQ(mkdir(File("elsewhere").c_str(), 0755), 0);
    WriteBytes(File("elsewhere/real.tif"), {'o', 'l', 'd'});
    fs::create_symlink("elsewhere/real.tif", File("link.tif"));
    ExpectRefusal(File("link.tif"), false, "exists already");
    {
        TemporaryFile file(File("link.tif"), true);
        WriteText(file, "new");
        file.Commit();
    }
    EXPECT_TRUE(fs::is_symlink(File("link.tif")));
    EXPECT_EQ(TextOf(File("elsewhere/real.tif")), "new");

    fs::create_symlink(File("elsewhere/later.tif"), File("dangling.tif"));
    TemporaryFile file(File("dangling.tif"), false);
    WriteText(file, "first");
    file.Commit();
    EXPECT_EQ(TextOf(File("elsewhere/later.tif")), "first");
    EXPECT_TRUE(fs::is_symlink(File("dangling.tif")));
}

TEST_F(TemporaryFiles, LinkThatBitesItselfIsRefused) {
    fs::create_symlink("b", File("a"));
    fs::create_symlink("a", File("b"));
    ExpectRefusal(File("a"), true, "its links lead back to themselves");
}

TEST_F(TemporaryFiles, FileSizeLimitIsAnErrorAndNoDeath) {
    TemporaryFile file(File("out.tif"), false);
    const std::vector<char> bytes(20000, 'x');
    const FileSizeLimit limit(10000);
    const std::string line = RefusalOf(File("out.tif"), [&] { file.Write(bytes.data(), bytes.size()); });
    EXPECT_NE(line.find("ulimit -f"), std::string::npos) << line;
}

/// The descriptor that this process holds on a temporary file.
int DescriptorOfTemporary() {
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const fs::path opened = fs::read_symlink(entry.path(), gone);
        if (opened.native().find(".rydecon-") != std::string::npos) return std::stoi(entry.path().filename());
    }
    return -1;
}

TEST_F(TemporaryFiles, FullDiskIsAnError) {
    TemporaryFile file(File("out.tif"), false);
    const int descriptor = DescriptorOfTemporary();
    const int full = open("/dev/full", O_WRONLY);
    if (descriptor < 0 || full < 0) GTEST_SKIP() << "no /proc or no /dev/full here";
    ASSERT_EQ(dup2(full, descriptor), descriptor);
    close(full);
    const std::string line = RefusalOf(File("out.tif"), [&] { WriteText(file, "abc"); });
    EXPECT_NE(line.find("no space left"), std::string::npos) << line;
    EXPECT_NE(line.find("make room"), std::string::npos) << line;
}

}  // namespace
}  // namespace rydecon::testing
