// SPDX-License-Identifier: MIT
#pragma once

// TIFF files for the tests: written by libtiff, then damaged on purpose where a test needs that.

#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "report/user_error.h"

namespace rydecon::testing {

/// A folder of its own for each test, removed afterwards.
class FolderTest : public ::testing::Test {
  protected:
    FolderTest();
    ~FolderTest() override;
    std::filesystem::path File(const std::string& name) const { return folder_ / name; }
    const std::filesystem::path& folder() const { return folder_; }
    std::vector<std::string> NamesInFolder() const;

  private:
    std::filesystem::path folder_;
};

/// One page as libtiff shall write it; 0 and empty leave the tag out.
struct TestPage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 8;
    std::uint16_t format = SAMPLEFORMAT_UINT;
    std::uint16_t samplesPerPixel = 1;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint32_t depth = 0;  // planes in the one page
    std::uint16_t predictor = 0;
    std::uint32_t rowsPerStrip = 0;  // 0: one strip
    bool stripsBackwards = false;    // in the file, the last strip stands first
    std::uint32_t tile = 0;          // edge of the tiles; 0: strips
    std::uint32_t subfileType = 0;
    std::string description;
    float xResolution = 0.0F;
    float yResolution = 0.0F;
    std::uint16_t resolutionUnit = 0;
    bool risingColours = false;        // a palette that brightens with the index
    std::vector<unsigned char> bytes;  // rows of samples in the byte order of this machine
};

template <typename T>
constexpr std::uint16_t FormatOf() {
    if constexpr (std::is_floating_point_v<T>) return SAMPLEFORMAT_IEEEFP;
    return std::is_signed_v<T> ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT;
}

template <typename T>
TestPage PageOf(std::uint32_t width, std::uint32_t height, const std::vector<T>& samples) {
    TestPage page;
    page.width = width;
    page.height = height;
    page.bits = 8 * sizeof(T);
    page.format = FormatOf<T>();
    page.bytes.resize(samples.size() * sizeof(T));
    std::memcpy(page.bytes.data(), samples.data(), page.bytes.size());
    return page;
}

/// A small grey page of 8 bits, 5 x 4, whose samples count up from `first`.
TestPage SmallPage(unsigned char first = 0);

/// `mode` as for TIFFOpen: "wl", "wb" little and big endian, "w8" BigTIFF.
void WriteTiff(const std::filesystem::path& path, const char* mode, const std::vector<TestPage>& pages);

/// Sets the value of a SHORT or LONG tag in the first directory of a classic TIFF file.
void PatchTag(const std::filesystem::path& path, std::uint16_t tag, std::uint32_t value);

/// Makes the first directory's link point to `offset`.
void PatchNextDirectory(const std::filesystem::path& path, std::uint32_t offset);

std::vector<unsigned char> BytesOfFile(const std::filesystem::path& path);
void WriteBytes(const std::filesystem::path& path, const std::vector<unsigned char>& bytes);

/// The text of the UserError that `action` throws, checked to be one line that names `file`.
template <typename Action>
std::string RefusalOf(const std::filesystem::path& file, Action action) {
    try {
        action();
    } catch (const UserError& refusal) {
        std::string line = refusal.what();
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
        EXPECT_NE(line.find("'" + file.string() + "'"), std::string::npos) << line;
        EXPECT_EQ(refusal.code(), ExitCode::Failed);
        return line;
    }
    ADD_FAILURE() << "nothing was refused";
    return {};
}

}  // namespace rydecon::testing
