// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <ry_platform/ry_platform.h>
#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/temp_path_folder.h"

namespace {

using namespace gnr::test;

constexpr int kReading = 1;
constexpr int kWriting = 2;
constexpr int kWritingOrMaking = 6;

std::wstring TempPath() {
    std::array<wchar_t, 0x104> buffer{};
    const unsigned length = RY_GetTempPath(0x104, buffer.data());
    EXPECT_EQ(std::wstring(buffer.data()).size(), length);
    return buffer.data();
}

class Platform : public testing::Test {
  protected:
    std::wstring Path(const char* name) const { return (folder_.Path() / name).wstring(); }

    TempPathFolder folder_;
};

// --------------------------------------------------------------------------------- temporary folder

TEST_F(Platform, TempPathEndsInOneSeparator) {
    EXPECT_EQ(TempPath(), folder_.Path().wstring() + L"/");
    const EnvironmentValue with_separator("TMPDIR", (folder_.Path().native() + "/").c_str());
    EXPECT_EQ(TempPath(), folder_.Path().wstring() + L"/");
}

TEST_F(Platform, TempPathHasADefault) {
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
        const EnvironmentValue unset("TMPDIR", value);
        EXPECT_EQ(TempPath(), L"/tmp/");
    }
}

TEST_F(Platform, TempPathIsAbsolute) {
    const EnvironmentValue relative("TMPDIR", "some/folder");
    EXPECT_EQ(TempPath(), (std::filesystem::current_path() / "some/folder/").wstring());
}

TEST_F(Platform, TempPathMustFitWithItsTerminator) {
    const EnvironmentValue four("TMPDIR", "/abc");
    std::array<wchar_t, 8> buffer{};
    buffer.fill(L'#');
    EXPECT_EQ(RY_GetTempPath(5, buffer.data()), 0u);
    EXPECT_EQ(buffer[0], L'#');
    EXPECT_EQ(RY_GetTempPath(0, buffer.data()), 0u);
    EXPECT_EQ(RY_GetTempPath(6, buffer.data()), 5u);
    EXPECT_EQ(std::wstring(buffer.data()), L"/abc/");
    EXPECT_EQ(buffer[6], L'#');
}

TEST_F(Platform, DirectoryIsMadeOnceForAllUsers) {
    const std::wstring path = Path("made");
    EXPECT_EQ(RY_CreateDirectory(path.c_str(), 1, -1), 0);
    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_EQ(RY_CreateDirectory(path.c_str(), 1, -1), -9);
    EXPECT_EQ(RY_CreateDirectory(Path("missing/child").c_str(), 1, -1), -9);
}

TEST_F(Platform, TempFileNamesAreNeverSharedAndExistEmpty) {
    constexpr int kNames = 100;
    const std::wstring folder = TempPath();
    std::array<std::vector<std::wstring>, 2> names;
    const auto name_many = [&](std::vector<std::wstring>& into) {
        for (int i = 0; i < kNames; ++i) {
            std::array<wchar_t, 0x104> buffer{};
            EXPECT_EQ(RY_GetTempFileName(folder.c_str(), L"pre", 0, buffer.data(), 0x104), 0);
            into.emplace_back(buffer.data());
        }
    };
    std::thread other(name_many, std::ref(names[0]));
    name_many(names[1]);
    other.join();

    std::set<std::wstring> all(names[0].begin(), names[0].end());
    all.insert(names[1].begin(), names[1].end());
    EXPECT_EQ(all.size(), 2u * kNames);
    for (const std::wstring& name : all) {
        EXPECT_EQ(name.rfind(folder + L"pre", 0), 0u);
        EXPECT_EQ(std::filesystem::file_size(name), 0u);
    }
}

TEST_F(Platform, TempFileNameThatDoesNotFitLeavesNoFile) {
    std::array<wchar_t, 0x104> buffer{};
    const auto room = static_cast<unsigned>(TempPath().size() + 8);
    EXPECT_EQ(RY_GetTempFileName(TempPath().c_str(), L"pre", 0, buffer.data(), room), -9);
    EXPECT_EQ(buffer[0], L'\0');
    EXPECT_TRUE(folder_.Files().empty());
    EXPECT_EQ(RY_GetTempFileName(Path("missing/").c_str(), L"pre", 0, buffer.data(), 0x104), -9);
}

/// Names are bytes to the system, UTF-8 or not, in whatever locale.
TEST_F(Platform, EveryNameOfTheSystemHasAPath) {
    for (const std::string name :
         {"\xc2\xb5m \xe4\xb8\xad \xf0\x9f\x94\xac", "latin-1 \xb5m", "\xed\xa0\x80 surrogate",
          "cut \xe4\xb8", "overlong \xc0\xaf \xe0\x80\x80", "\xf4\x90\x80\x80 too high", "\xff\xfe"}) {
        const std::filesystem::path sub = folder_.Path() / name;
        std::filesystem::create_directory(sub);
        const EnvironmentValue as_temporary("TMPDIR", sub.c_str());
        std::array<wchar_t, 0x104> buffer{};
        ASSERT_EQ(RY_GetTempFileName(TempPath().c_str(), L"pre", 0, buffer.data(), 0x104), 0) << name;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(sub), {}), 1) << name;
        EXPECT_EQ(RY_RemoveFile(buffer.data(), 0), 0);
        EXPECT_TRUE(std::filesystem::is_empty(sub)) << name;
    }
}

TEST_F(Platform, WellFormedNamesAreOneCharacterACodePoint) {
    const EnvironmentValue named("TMPDIR", "/\xc2\xb5\xe4\xb8\xad\xf0\x9f\x94\xac\xb5");
    EXPECT_EQ(TempPath(), std::wstring(L"/\u00b5\u4e2d\U0001f52c") + static_cast<wchar_t>(0xDCB5) + L"/");
}

// --------------------------------------------------------------------------------------------- files

TEST_F(Platform, WritesAndReadsCountedBytes) {
    RyFileHandle file{};
    ASSERT_EQ(RY_OpenFile(Path("file").c_str(), kWritingOrMaking, 0, -1, &file), 0);
    unsigned long long count = 99;
    EXPECT_EQ(RY_WriteFile(file, "abcdef", 6, &count, 0), 0);
    EXPECT_EQ(count, 6u);
    EXPECT_EQ(RY_WriteFile(file, nullptr, 0, &count, 0), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(RY_CloseFile(file), 0);

    ASSERT_EQ(RY_OpenFile(Path("file").c_str(), kReading, 1, -1, &file), 0);
    EXPECT_EQ(RY_GetFileSize(file, &count), 0);
    EXPECT_EQ(count, 6u);
    std::array<char, 8> bytes{};
    EXPECT_EQ(RY_ReadFile(file, bytes.data(), 4, &count, 0), 0);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(std::string(bytes.data()), "abcd");
    EXPECT_EQ(RY_ReadFile(file, bytes.data(), 4, &count, 0), 0);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(RY_ReadFile(file, bytes.data(), 4, &count, 0), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(RY_CloseFile(file), 0);
}

TEST_F(Platform, WritingEmptiesAFileAndMakesOneOnlyWhenAsked) {
    RyFileHandle file{};
    EXPECT_EQ(RY_OpenFile(Path("file").c_str(), kWriting, 0, -1, &file), -9);
    WriteWhole(folder_.Path() / "file", {1, 2, 3});
    for (const int mode : {kWriting, kWritingOrMaking}) {
        ASSERT_EQ(RY_OpenFile(Path("file").c_str(), mode, 0, -1, &file), 0);
        EXPECT_EQ(RY_CloseFile(file), 0);
        EXPECT_EQ(std::filesystem::file_size(folder_.Path() / "file"), 0u);
        WriteWhole(folder_.Path() / "file", {1, 2, 3});
    }
}

TEST_F(Platform, OpensRegularFilesOnly) {
    RyFileHandle file{};
    ASSERT_EQ(::mkfifo((folder_.Path() / "pipe").c_str(), 0600), 0);
    WriteWhole(folder_.Path() / "file", {1, 2, 3});
    std::filesystem::create_symlink(folder_.Path() / "file", folder_.Path() / "link");
    for (const int mode : {kReading, kWriting, kWritingOrMaking}) {
        EXPECT_EQ(RY_OpenFile(folder_.Path().wstring().c_str(), mode, 0, -1, &file), -9) << mode;
        EXPECT_EQ(RY_OpenFile(Path("pipe").c_str(), mode, 0, -1, &file), -9) << mode;
        EXPECT_EQ(RY_OpenFile(L"/dev/null", mode, 0, -1, &file), -9) << mode;
    }
    EXPECT_EQ(RY_OpenFile(Path("link").c_str(), kWriting, 0, -1, &file), -9);
    EXPECT_EQ(RY_OpenFile(Path("link").c_str(), kWritingOrMaking, 0, -1, &file), -9);
    EXPECT_EQ(ReadWhole(folder_.Path() / "file"), FileBytes({1, 2, 3}));
}

TEST_F(Platform, UnknownModesAreRefused) {
    WriteWhole(folder_.Path() / "file", {1, 2, 3});
    RyFileHandle file{};
    for (const int mode : {-1, 0, 3, 4, 5, 7, 8}) {
        EXPECT_EQ(RY_OpenFile(Path("file").c_str(), mode, 0, -1, &file), -9) << mode;
    }
    EXPECT_EQ(ReadWhole(folder_.Path() / "file"), FileBytes({1, 2, 3}));
}

TEST_F(Platform, RemovesFiles) {
    WriteWhole(folder_.Path() / "file", {1});
    EXPECT_EQ(RY_RemoveFile(Path("file").c_str(), 0), 0);
    EXPECT_TRUE(folder_.Files().empty());
    EXPECT_EQ(RY_RemoveFile(Path("file").c_str(), 0), -9);
}

TEST_F(Platform, FailuresOfAClosedHandleAreTold) {
    constexpr RyFileHandle kNoFile = -1;
    unsigned long long count = 99;
    char byte = 0;
    EXPECT_EQ(RY_ReadFile(kNoFile, &byte, 1, &count, 0), -9);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(RY_WriteFile(kNoFile, &byte, 1, &count, 0), -9);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(RY_GetFileSize(kNoFile, &count), -9);
    EXPECT_EQ(RY_CloseFile(kNoFile), -9);
}

}  // namespace
