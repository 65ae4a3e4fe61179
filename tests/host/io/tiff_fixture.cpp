// SPDX-License-Identifier: MIT

#include "tiff_fixture.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace rydecon::testing {
namespace {

namespace fs = std::filesystem;

void Check(bool success, const char* what) {
    if (!success) throw std::runtime_error(std::string("the test file cannot be written: ") + what);
}

void SetTags(TIFF* tiff, const TestPage& page) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, page.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, page.format);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.samplesPerPixel);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.photometric);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, page.compression);
    if (page.depth != 0) TIFFSetField(tiff, TIFFTAG_IMAGEDEPTH, page.depth);
    if (page.predictor != 0) TIFFSetField(tiff, TIFFTAG_PREDICTOR, page.predictor);
    if (page.subfileType != 0) TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, page.subfileType);
    if (!page.description.empty()) TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, page.description.c_str());
    if (page.xResolution > 0) TIFFSetField(tiff, TIFFTAG_XRESOLUTION, static_cast<double>(page.xResolution));
    if (page.yResolution > 0) TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(page.yResolution));
    if (page.resolutionUnit > 0) TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, page.resolutionUnit);
    if (page.photometric == PHOTOMETRIC_PALETTE) {
        std::vector<std::uint16_t> green(std::size_t{1} << page.bits, 0);
        const std::vector<std::uint16_t> dark(green.size(), 0);
        for (std::size_t i = 0; i < green.size(); ++i) {
            green[i] = static_cast<std::uint16_t>(page.risingColours ? i * 257 : (i * 7919) % 65536);
        }
        TIFFSetField(tiff, TIFFTAG_COLORMAP, dark.data(), green.data(), dark.data());
    }
}

void WriteStrips(TIFF* tiff, const TestPage& page, std::vector<unsigned char> bytes) {
    const std::uint32_t rowsPerStrip = page.rowsPerStrip == 0 ? page.height : page.rowsPerStrip;
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
    const std::size_t rowBytes = bytes.size() / page.height;
    const std::uint32_t strips = (page.height + rowsPerStrip - 1) / rowsPerStrip;
    for (std::uint32_t k = 0; k < strips; ++k) {
        const std::uint32_t strip = page.stripsBackwards ? strips - 1 - k : k;
        const std::uint32_t row = strip * rowsPerStrip;
        const auto count = static_cast<tmsize_t>(std::min(rowsPerStrip, page.height - row) * rowBytes);
        Check(TIFFWriteEncodedStrip(tiff, strip, bytes.data() + row * rowBytes, count) == count, "strip");
    }
}

void WriteTiles(TIFF* tiff, const TestPage& page) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, page.tile);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, page.tile);
    const std::size_t sample = page.bits / 8U;
    for (std::uint32_t top = 0; top < page.height; top += page.tile) {
        for (std::uint32_t left = 0; left < page.width; left += page.tile) {
            std::vector<unsigned char> tile(page.tile * page.tile * sample, 0);
            const std::size_t columns = std::min(page.tile, page.width - left) * sample;
            for (std::uint32_t row = top; row < std::min(page.height, top + page.tile); ++row) {
                std::memcpy(tile.data() + (row - top) * page.tile * sample,
                            page.bytes.data() + (static_cast<std::size_t>(row) * page.width + left) * sample,
                            columns);
            }
            Check(TIFFWriteTile(tiff, tile.data(), left, top, 0, 0) > 0, "tile");
        }
    }
}

// Reads and writes numbers of a classic file in its own byte order.
class Patch {
  public:
    explicit Patch(const fs::path& path) : path_(path), bytes_(BytesOfFile(path)) {}
    void Save() const { WriteBytes(path_, bytes_); }
    std::uint32_t Get(std::size_t at, std::size_t width) const {
        std::uint32_t value = 0;
        for (std::size_t k = 0; k < width; ++k) value |= std::uint32_t{bytes_.at(at + k)} << Shift(k, width);
        return value;
    }
    void Set(std::size_t at, std::size_t width, std::uint32_t value) {
        for (std::size_t k = 0; k < width; ++k) {
            bytes_.at(at + k) = static_cast<unsigned char>(value >> Shift(k, width));
        }
    }
    std::size_t FirstDirectory() const { return Get(4, 4); }

  private:
    std::size_t Shift(std::size_t k, std::size_t width) const {
        return 8 * (bytes_[0] == 'I' ? k : width - 1 - k);
    }
    fs::path path_;
    std::vector<unsigned char> bytes_;
};

}  // namespace

FolderTest::FolderTest() {
    std::string name = (fs::temp_directory_path() / "rydecon_io_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the test");
    folder_ = name;
}

FolderTest::~FolderTest() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::vector<std::string> FolderTest::NamesInFolder() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TestPage SmallPage(unsigned char first) {
    std::vector<std::uint8_t> samples(20);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::uint8_t>(first + i);
    return PageOf(5, 4, samples);
}

void WriteTiff(const fs::path& path, const char* mode, const std::vector<TestPage>& pages) {
    TIFF* tiff = TIFFOpen(path.c_str(), mode);
    Check(tiff != nullptr, "open");
    for (const TestPage& page : pages) {
        SetTags(tiff, page);
        page.tile == 0 ? WriteStrips(tiff, page, page.bytes) : WriteTiles(tiff, page);
        Check(TIFFWriteDirectory(tiff) == 1, "directory");
    }
    TIFFClose(tiff);
}

void PatchTag(const fs::path& path, std::uint16_t tag, std::uint32_t value) {
    Patch file(path);
    const std::size_t directory = file.FirstDirectory();
    const std::size_t entries = file.Get(directory, 2);
    for (std::size_t k = 0; k < entries; ++k) {
        const std::size_t entry = directory + 2 + 12 * k;
        if (file.Get(entry, 2) != tag) continue;
        Check(file.Get(entry + 4, 4) == 1, "the tag to patch has several values");
        file.Set(entry + 8, file.Get(entry + 2, 2) == TIFF_SHORT ? 2 : 4, value);
        file.Save();
        return;
    }
    Check(false, "no tag to patch");
}

void PatchNextDirectory(const fs::path& path, std::uint32_t offset) {
    Patch file(path);
    const std::size_t directory = file.FirstDirectory();
    file.Set(directory + 2 + 12 * file.Get(directory, 2), 4, offset);
    file.Save();
}

std::vector<unsigned char> BytesOfFile(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void WriteBytes(const fs::path& path, const std::vector<unsigned char>& bytes) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    Check(stream.good(), "bytes");
}

}  // namespace rydecon::testing
