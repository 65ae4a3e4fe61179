// SPDX-License-Identifier: MIT

#include "io/tiff_page.h"

#include <algorithm>
#include <limits>
#include <span>

#include "io/imagej_blocks.h"

namespace rydecon {
namespace {

// Four tebibytes of float32 planes fit no machine; sizes beyond come from damaged files.
constexpr std::uint64_t kMostSamples = std::uint64_t{1} << 40;

std::string PageName(int number) {
    return "page " + std::to_string(number);
}

std::uint16_t Tag16(const TiffFile& file, std::uint32_t tag) {
    std::uint16_t value = 0;
    TIFFGetFieldDefaulted(file.handle(), tag, &value);
    return value;
}

std::uint32_t Tag32(const TiffFile& file, std::uint32_t tag) {
    std::uint32_t value = 0;
    TIFFGetFieldDefaulted(file.handle(), tag, &value);
    return value;
}

void ReadSize(const TiffFile& file, TiffPage& page) {
    const std::uint64_t width = Tag32(file, TIFFTAG_IMAGEWIDTH);
    const std::uint64_t height = Tag32(file, TIFFTAG_IMAGELENGTH);
    constexpr std::uint64_t kLongest = std::numeric_limits<int>::max();
    if (width == 0 || height == 0 || width > kLongest || height > kLongest || width * height > kMostSamples) {
        throw file.Refusal(PageName(page.number) + " claims the impossible size " + std::to_string(width) +
                           " x " + std::to_string(height) + "; the file is damaged: copy or export it again");
    }
    if (Tag32(file, TIFFTAG_IMAGEDEPTH) > 1) {
        throw file.Refusal(PageName(page.number) +
                           " is a volume of its own; a stack with one page a plane is needed: export it so");
    }
    page.width = static_cast<int>(width);
    page.height = static_cast<int>(height);
}

int TransparentSamples(const TiffFile& file) {
    std::uint16_t extra = 0;
    const std::uint16_t* kinds = nullptr;
    if (TIFFGetField(file.handle(), TIFFTAG_EXTRASAMPLES, &extra, &kinds) == 0 || kinds == nullptr) return 0;
    return static_cast<int>(std::count_if(kinds, kinds + extra, [](std::uint16_t kind) {
        return kind == EXTRASAMPLE_ASSOCALPHA || kind == EXTRASAMPLE_UNASSALPHA;
    }));
}

/// Reads how the samples of a pixel lie; false where the page is grey or of a kind that is no set of channels.
bool ReadComponents(const TiffFile& file, TiffPage& page) {
    const int samples = Tag16(file, TIFFTAG_SAMPLESPERPIXEL);
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(file.handle(), TIFFTAG_PHOTOMETRIC, &photometric);
    const bool known = photometric == PHOTOMETRIC_RGB || photometric == PHOTOMETRIC_MINISBLACK;
    // Samples beyond red, green and blue are none of the picture, whatever they are.
    const int components = photometric == PHOTOMETRIC_RGB ? 3 : samples - TransparentSamples(file);
    if (samples < 2 || components < 1 || components > samples || !known || page.lossy) return false;
    page.samplesPerPixel = samples;
    page.components = components;
    page.separate = Tag16(file, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
    page.redGreenBlue = photometric == PHOTOMETRIC_RGB;
    return true;
}

void CheckGrey(const TiffFile& file, const TiffPage& page) {
    const std::uint16_t samples = Tag16(file, TIFFTAG_SAMPLESPERPIXEL);
    if (samples != 1) {
        throw file.Refusal(PageName(page.number) + " has " + std::to_string(samples) +
                           " samples per pixel (colour); a grey stack is needed: split the channels "
                           "(in ImageJ: Image > Color > Split Channels) and give one of them");
    }
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(file.handle(), TIFFTAG_PHOTOMETRIC, &photometric);
    if (photometric == PHOTOMETRIC_MINISWHITE) {
        // Some programs write inverted samples, some an inverted display of plain ones.
        throw file.Refusal(PageName(page.number) +
                           " is stored with white as zero, so whether bright means much light is open; save "
                           "it with black as zero (in ImageJ: Image > Lookup Tables > Grays)");
    }
    if (photometric != PHOTOMETRIC_MINISBLACK && photometric != PHOTOMETRIC_PALETTE) {
        throw file.Refusal(PageName(page.number) + " is no grey image (photometric interpretation " +
                           std::to_string(photometric) +
                           "); save the stack as grey values, 8, 16 or 32 bits");
    }
}

const char* FormatName(std::uint16_t format) {
    switch (format) {
        case SAMPLEFORMAT_UINT:
        case SAMPLEFORMAT_VOID:
            return "unsigned integer";
        case SAMPLEFORMAT_INT:
            return "signed integer";
        case SAMPLEFORMAT_IEEEFP:
            return "float";
        case SAMPLEFORMAT_COMPLEXINT:
        case SAMPLEFORMAT_COMPLEXIEEEFP:
            return "complex";
        default:
            return "unknown";
    }
}

std::optional<SampleType> TypeFrom(std::uint16_t format, std::uint16_t bits) {
    switch (format) {
        case SAMPLEFORMAT_UINT:
        case SAMPLEFORMAT_VOID:
            if (bits == 8) return SampleType::UInt8;
            if (bits == 16) return SampleType::UInt16;
            if (bits == 32) return SampleType::UInt32;
            return std::nullopt;
        case SAMPLEFORMAT_INT:
            if (bits == 8) return SampleType::Int8;
            if (bits == 16) return SampleType::Int16;
            if (bits == 32) return SampleType::Int32;
            return std::nullopt;
        case SAMPLEFORMAT_IEEEFP:
            if (bits == 32) return SampleType::Float32;
            if (bits == 64) return SampleType::Float64;
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

void ReadType(const TiffFile& file, TiffPage& page) {
    const std::uint16_t bits = Tag16(file, TIFFTAG_BITSPERSAMPLE);
    const std::uint16_t format = Tag16(file, TIFFTAG_SAMPLEFORMAT);
    const auto type = TypeFrom(format, bits);
    if (!type) {
        throw file.Refusal(
            PageName(page.number) + " has " + std::to_string(bits) + "-bit " + FormatName(format) +
            " samples; integers of 8, 16 or 32 bits or floats of 32 or 64 bits are needed (in ImageJ: "
            "Image > Type)");
    }
    page.type = *type;
}

void CheckCodec(const TiffFile& file, const TiffPage& page) {
    const std::uint16_t scheme = Tag16(file, TIFFTAG_COMPRESSION);
    if (TIFFIsCODECConfigured(scheme) != 0) return;
    const TIFFCodec* codec = TIFFFindCODEC(scheme);
    const std::string name = codec != nullptr ? codec->name : "scheme " + std::to_string(scheme);
    throw file.Refusal(PageName(page.number) + " is compressed by a method that cannot be undone here (" +
                       name + "); save it uncompressed or with LZW or Deflate");
}

// Rows of strip `n`; the last strip of a component may be cut short by the image.
std::uint64_t RowsOfStrip(const TiffPage& page, std::uint32_t rowsPerStrip, std::uint64_t n) {
    const auto height = static_cast<std::uint64_t>(page.height);
    if (page.separate) n %= (height - 1) / rowsPerStrip + 1;
    const std::uint64_t first = n * rowsPerStrip;
    return first < height ? std::min<std::uint64_t>(rowsPerStrip, height - first) : 0;
}

// Checks that every strip or tile lies within the file, and finds the run of uncompressed strips.
void LocateSamples(const TiffFile& file, TiffPage& page) {
    TIFF* tiff = file.handle();
    const bool plain = Tag16(file, TIFFTAG_COMPRESSION) == COMPRESSION_NONE;
    const bool bitsInOrder = Tag16(file, TIFFTAG_FILLORDER) == FILLORDER_MSB2LSB;
    const std::uint32_t rowsPerStrip = std::max(Tag32(file, TIFFTAG_ROWSPERSTRIP), std::uint32_t{1});
    const std::uint64_t rowBytes = page.RowBytes();
    const std::uint32_t count = page.tiled ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
    const std::uint64_t tileBytes = page.tiled ? TIFFTileSize64(tiff) : 0;
    if (count == 0) throw file.Refusal(PageName(page.number) + " has no samples; export the file again");
    bool oneRun = plain && bitsInOrder && !page.tiled && page.samplesPerPixel == 1;
    std::uint64_t runEnd = 0;
    for (std::uint32_t n = 0; n < count; ++n) {
        const std::uint64_t begin = TIFFGetStrileOffset(tiff, n);
        const std::uint64_t bytes = TIFFGetStrileByteCount(tiff, n);
        if (begin == 0 || bytes == 0) {
            throw file.Refusal(PageName(page.number) + " lacks part of its samples; export the file again");
        }
        const std::uint64_t wanted = page.tiled ? tileBytes : RowsOfStrip(page, rowsPerStrip, n) * rowBytes;
        const std::uint64_t needed = plain ? wanted : bytes;
        if (begin > file.size() || needed > file.size() - begin) {
            throw file.Refusal("the file is truncated: the samples of " + PageName(page.number) +
                               " reach beyond its end; copy or export it again");
        }
        if (plain && bytes < wanted) {
            throw file.Refusal(PageName(page.number) +
                               " has fewer samples than its size needs; export the file again");
        }
        if (n > 0 && begin != runEnd) oneRun = false;
        runEnd = begin + wanted;
    }
    if (oneRun) page.run = TIFFGetStrileOffset(tiff, 0);
}

}  // namespace

bool IsReducedOrMask(const TiffFile& file) {
    return (Tag32(file, TIFFTAG_SUBFILETYPE) & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) != 0;
}

TiffPage DescribePage(const TiffFile& file, int number, Accept accept) {
    TiffPage page;
    page.number = number;
    page.directory = TIFFCurrentDirOffset(file.handle());
    page.tiled = TIFFIsTiled(file.handle()) != 0;
    page.lossy = Tag16(file, TIFFTAG_COMPRESSION) == COMPRESSION_JPEG;
    ReadSize(file, page);
    if (accept == Accept::Volume || !ReadComponents(file, page)) CheckGrey(file, page);
    ReadType(file, page);
    CheckCodec(file, page);
    LocateSamples(file, page);
    return page;
}

ResolutionTags ReadResolution(const TiffFile& file) {
    ResolutionTags tags;
    float samplesPerUnit = 0.0F;
    if (TIFFGetField(file.handle(), TIFFTAG_XRESOLUTION, &samplesPerUnit) != 0) tags.x = samplesPerUnit;
    if (TIFFGetField(file.handle(), TIFFTAG_YRESOLUTION, &samplesPerUnit) != 0) tags.y = samplesPerUnit;
    tags.unit = Tag16(file, TIFFTAG_RESOLUTIONUNIT);
    return tags;
}

std::string ReadDescription(const TiffFile& file) {
    const char* text = nullptr;
    return TIFFGetField(file.handle(), TIFFTAG_IMAGEDESCRIPTION, &text) != 0 && text != nullptr ? text : "";
}

ImageJBlockContents ReadImageJBlocks(const TiffFile& file) {
    const auto isOfType = [&](std::uint32_t tag, TIFFDataType type) {
        const TIFFField* const field = TIFFFindField(file.handle(), tag, TIFF_ANY);
        return field != nullptr && TIFFFieldDataType(field) == type && TIFFFieldPassCount(field) != 0;
    };
    if (!isOfType(kImageJByteCountsTag, TIFF_LONG) || !isOfType(kImageJBlocksTag, TIFF_BYTE)) return {};
    std::uint32_t counts = 0;
    std::uint32_t bytes = 0;
    const std::uint32_t* byteCounts = nullptr;
    const unsigned char* blocks = nullptr;
    const bool told = TIFFGetField(file.handle(), kImageJByteCountsTag, &counts, &byteCounts) != 0 &&
                      TIFFGetField(file.handle(), kImageJBlocksTag, &bytes, &blocks) != 0 &&
                      byteCounts != nullptr && blocks != nullptr;
    if (!told) return {};
    return ReadImageJBlocks({byteCounts, counts}, {blocks, bytes}, TIFFIsByteSwapped(file.handle()) != 0);
}

bool HasPseudoColours(const TiffFile& file) {
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(file.handle(), TIFFTAG_PHOTOMETRIC, &photometric);
    if (photometric != PHOTOMETRIC_PALETTE) return false;
    std::uint16_t* red = nullptr;
    std::uint16_t* green = nullptr;
    std::uint16_t* blue = nullptr;
    const std::uint16_t bits = Tag16(file, TIFFTAG_BITSPERSAMPLE);
    bool brightens = bits <= 16 && TIFFGetField(file.handle(), TIFFTAG_COLORMAP, &red, &green, &blue) != 0;
    const auto luminance = [&](std::uint32_t i) {
        return 0.299 * red[i] + 0.587 * green[i] + 0.114 * blue[i];
    };
    for (std::uint32_t i = 1; brightens && i < (std::uint32_t{1} << bits); ++i) {
        brightens = luminance(i) >= luminance(i - 1);
    }
    if (!brightens) {
        throw file.Refusal(
            "its samples are numbers of a colour table; save the stack as grey values (in "
            "ImageJ: Image > Lookup Tables > Grays, or Image > Type > 8-bit)");
    }
    return true;
}

}  // namespace rydecon
