// SPDX-License-Identifier: MIT

#include "io/tiff_prologue.h"

#include <tiff.h>

#include <bit>
#include <optional>
#include <string>
#include <vector>

#include "io/imagej_blocks.h"
#include "io/imagej_metadata.h"
#include "io/length_unit.h"
#include "io/ome_writer.h"
#include "io/resolution_tags.h"

namespace rydecon {
namespace {

constexpr std::uint64_t kSampleAlignment = 16;

// Appends numbers to the prologue; an Offset is as wide as the form's file offsets.
class ByteSink {
  public:
    ByteSink(std::string& bytes, bool big) : bytes_(bytes), big_(big) {}

    template <typename T>
    void Number(T value) {
        bytes_.append(reinterpret_cast<const char*>(&value), sizeof(T));
    }
    void Offset(std::uint64_t value) { big_ ? Number(value) : Number(static_cast<std::uint32_t>(value)); }
    void Bytes(const std::string& text) { bytes_ += text; }
    std::size_t OffsetBytes() const { return big_ ? 8 : 4; }
    bool big() const { return big_; }
    std::uint64_t Position() const { return bytes_.size(); }
    void Pad(std::uint64_t alignment) {
        bytes_.resize((bytes_.size() + alignment - 1) / alignment * alignment);
    }

  private:
    std::string& bytes_;
    bool big_;
};

// One directory: entries in ascending order of tags, then the values too long for an entry.
class Directory {
  public:
    void Short(std::uint16_t tag, std::uint16_t value) { Add(tag, TIFF_SHORT, 1, &value, sizeof value); }
    void Long(std::uint16_t tag, std::uint32_t value) { Add(tag, TIFF_LONG, 1, &value, sizeof value); }
    void Long8(std::uint16_t tag, std::uint64_t value) { Add(tag, TIFF_LONG8, 1, &value, sizeof value); }
    void Offset(std::uint16_t tag, std::uint64_t value, bool big) {
        big ? Long8(tag, value) : Long(tag, static_cast<std::uint32_t>(value));
    }
    void Text(std::uint16_t tag, const std::string& text) {
        Add(tag, TIFF_ASCII, text.size() + 1, text.c_str(), text.size() + 1);
    }
    void Longs(std::uint16_t tag, const std::vector<std::uint32_t>& values) {
        Add(tag, TIFF_LONG, values.size(), values.data(), values.size() * sizeof(std::uint32_t));
    }
    void Bytes(std::uint16_t tag, const std::string& bytes) {
        Add(tag, TIFF_BYTE, bytes.size(), bytes.data(), bytes.size());
    }
    void Resolution(std::uint16_t tag, const std::optional<double>& distance) {
        if (!distance) return;
        const auto [numerator, denominator] = ResolutionFraction(*distance);
        const std::uint32_t fraction[2] = {numerator, denominator};
        Add(tag, TIFF_RATIONAL, 1, fraction, sizeof fraction);
    }

    /// `last`: no directory follows.
    void AppendTo(ByteSink& sink, bool last) const {
        const std::size_t width = sink.OffsetBytes();
        const std::uint64_t entries = entries_.size();
        sink.big() ? sink.Number(entries) : sink.Number(static_cast<std::uint16_t>(entries));
        std::uint64_t values = sink.Position() + entries * (4 + 2 * width) + width;
        std::vector<const Entry*> outside;
        for (const Entry& entry : entries_) {
            sink.Number(entry.tag);
            sink.Number(entry.type);
            sink.Offset(entry.count);
            if (entry.value.size() <= width) {
                AppendValue(sink, entry, width);
            } else {
                sink.Offset(values);
                outside.push_back(&entry);
                values += Even(entry.value.size());
            }
        }
        sink.Offset(last ? 0 : values);
        for (const Entry* entry : outside) AppendValue(sink, *entry, Even(entry->value.size()));
    }

  private:
    struct Entry {
        std::uint16_t tag;
        std::uint16_t type;
        std::uint64_t count;
        std::string value;
    };
    static std::size_t Even(std::size_t bytes) { return bytes + bytes % 2; }
    static void AppendValue(ByteSink& sink, const Entry& entry, std::size_t width) {
        sink.Bytes(entry.value);
        sink.Bytes(std::string(width - entry.value.size(), '\0'));
    }
    void Add(std::uint16_t tag, std::uint16_t type, std::uint64_t count, const void* value,
             std::size_t bytes) {
        entries_.push_back({tag, type, count, std::string(static_cast<const char*>(value), bytes)});
    }

    std::vector<Entry> entries_;
};

/// What stands in the first directory only.
struct Metadata {
    std::string description;
    ImageJBlocks blocks;  // none in an OME-TIFF
};

Metadata MetadataOf(const StackHeader& header) {
    if (header.container == Container::Ome) return {WriteOme(header), {}};
    return {WriteImageJ(header), WriteImageJBlocks(header)};
}

void AddResolution(Directory& directory, const StackHeader& header) {
    // ImageJ's unit stands in its description; elsewhere centimetres are read.
    const bool ome = header.container == Container::Ome;
    const auto distance = [&](const std::optional<double>& micrometres) {
        return ome && micrometres ? std::optional(*micrometres / kMicrometresPerCentimetre) : micrometres;
    };
    directory.Resolution(TIFFTAG_XRESOLUTION, distance(header.voxel.x));
    directory.Resolution(TIFFTAG_YRESOLUTION, distance(header.voxel.y));
    const bool told = header.voxel.x || header.voxel.y;
    directory.Short(TIFFTAG_RESOLUTIONUNIT, ome && told ? RESUNIT_CENTIMETER : RESUNIT_NONE);
}

/// `metadata`: of the first directory; null in the others.
Directory PlaneDirectory(const StackHeader& header, const Metadata* metadata, std::uint64_t samples,
                         bool big) {
    const bool isFloat = header.sampleType == SampleType::Float32;
    Directory directory;
    directory.Long(TIFFTAG_SUBFILETYPE, 0);
    directory.Long(TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(header.width));
    directory.Long(TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(header.height));
    directory.Short(TIFFTAG_BITSPERSAMPLE, static_cast<std::uint16_t>(8 * BytesOf(header.sampleType)));
    directory.Short(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    directory.Short(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    if (metadata != nullptr) directory.Text(TIFFTAG_IMAGEDESCRIPTION, metadata->description);
    directory.Offset(TIFFTAG_STRIPOFFSETS, samples, big);
    directory.Short(TIFFTAG_SAMPLESPERPIXEL, 1);
    directory.Long(TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(header.height));
    directory.Offset(TIFFTAG_STRIPBYTECOUNTS, PlaneBytes(header), big);
    AddResolution(directory, header);
    if (metadata != nullptr) directory.Text(TIFFTAG_SOFTWARE, "rydecon");
    directory.Short(TIFFTAG_SAMPLEFORMAT, isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    if (metadata != nullptr && !metadata->blocks.bytes.empty()) {
        directory.Longs(kImageJByteCountsTag, metadata->blocks.byteCounts);
        directory.Bytes(kImageJBlocksTag, metadata->blocks.bytes);
    }
    return directory;
}

void AppendFileHeader(ByteSink& sink) {
    constexpr bool kLittle = std::endian::native == std::endian::little;
    sink.Number(static_cast<std::uint16_t>(kLittle ? TIFF_LITTLEENDIAN : TIFF_BIGENDIAN));
    sink.Number(static_cast<std::uint16_t>(sink.big() ? TIFF_VERSION_BIG : TIFF_VERSION_CLASSIC));
    if (sink.big()) {
        sink.Number(std::uint16_t{8});  // bytes of an offset
        sink.Number(std::uint16_t{0});
    }
    sink.Offset(sink.Position() + sink.OffsetBytes());
}

std::string Prologue(const StackHeader& header, TiffForm form, std::uint64_t firstSample) {
    std::string bytes;
    ByteSink sink(bytes, form == TiffForm::Big);
    AppendFileHeader(sink);
    const Metadata metadata = MetadataOf(header);
    const int directories = form == TiffForm::SingleDirectory ? 1 : header.planes();
    for (int plane = 0; plane < directories; ++plane) {
        const std::uint64_t samples = firstSample + static_cast<std::uint64_t>(plane) * PlaneBytes(header);
        PlaneDirectory(header, plane == 0 ? &metadata : nullptr, samples, sink.big())
            .AppendTo(sink, plane == directories - 1);
    }
    sink.Pad(kSampleAlignment);
    return bytes;
}

}  // namespace

std::uint64_t PlaneBytes(const StackHeader& header) {
    return static_cast<std::uint64_t>(header.width) * static_cast<std::uint64_t>(header.height) *
           BytesOf(header.sampleType);
}

std::uint64_t PlaneOffset(const StackHeader& header, const PlaneIndex& plane) {
    const auto place = (static_cast<std::uint64_t>(plane.t) * static_cast<std::uint64_t>(header.slices) +
                        static_cast<std::uint64_t>(plane.z)) *
                           static_cast<std::uint64_t>(header.channels) +
                       static_cast<std::uint64_t>(plane.c);
    return place * PlaneBytes(header);
}

std::string MakePrologue(const StackHeader& header, TiffForm form) {
    // The length does not depend on the offsets in it.
    return Prologue(header, form, Prologue(header, form, 0).size());
}

TiffForm ChooseForm(const StackHeader& header, std::uint64_t classicLimit) {
    const bool ome = header.container == Container::Ome;
    const Metadata metadata = MetadataOf(header);
    const std::uint64_t plane = PlaneBytes(header);
    const auto planes = static_cast<std::uint64_t>(header.planes());
    constexpr std::uint64_t kMostPerDirectory = 512;  // more than a directory and its short values take
    const std::uint64_t text = kMostPerDirectory + metadata.description.size() +
                               metadata.blocks.bytes.size() +
                               metadata.blocks.byteCounts.size() * sizeof(std::uint32_t);
    if (text > classicLimit || plane > classicLimit - text) return TiffForm::Big;
    if (planes <= (classicLimit - text) / (plane + kMostPerDirectory)) return TiffForm::Classic;
    return ome ? TiffForm::Big : TiffForm::SingleDirectory;
}

}  // namespace rydecon
