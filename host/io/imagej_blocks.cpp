// SPDX-License-Identifier: MIT
#include "io/imagej_blocks.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <optional>
#include <utility>

#include "io/imagej_info.h"
#include "io/utf16.h"

namespace rydecon {
namespace {

constexpr std::uint32_t kMagic = 0x494a494a;      // "IJIJ"
constexpr std::uint32_t kInfoBlock = 0x696e666f;  // "info"
constexpr std::uint32_t kLabels = 0x6c61626c;     // "labl"
constexpr std::uint32_t kLookups = 0x6c757473;    // "luts"
constexpr std::size_t kLookupBytes = 768;

// Labels of more planes nobody reads.
constexpr int kMostLabels = 65536;

class BlockReader {
  public:
    BlockReader(std::span<const unsigned char> bytes, bool bigEndian)
        : bytes_(bytes), bigEndian_(bigEndian) {}

    /// The number of `count` bytes at `offset`, which lie inside.
    std::uint32_t Number(std::size_t offset, std::size_t count) const {
        std::uint32_t number = 0;
        for (std::size_t n = 0; n < count; ++n) {
            const std::size_t at = bigEndian_ ? n : count - 1 - n;
            number = number << 8 | bytes_[offset + at];
        }
        return number;
    }

    std::string Text(std::size_t offset, std::size_t count) const {
        std::u16string text;
        for (std::size_t n = 0; n + 1 < count; n += 2) {
            text += static_cast<char16_t>(Number(offset + n, 2));
        }
        return Utf8From(text);
    }

  private:
    std::span<const unsigned char> bytes_;
    bool bigEndian_;
};

// Blocks of one kind follow one another; the header block lists the kinds with their counts.
class BlockWriter {
  public:
    void Text(std::uint32_t kind, const std::string& text) {
        const std::u16string wide = Utf16From(text);
        Add(kind, wide.data(), wide.size() * sizeof(char16_t));
    }
    void Add(std::uint32_t kind, const void* bytes, std::size_t count) {
        if (kinds_.empty() || kinds_.back().first != kind) kinds_.emplace_back(kind, 0U);
        ++kinds_.back().second;
        byteCounts_.push_back(static_cast<std::uint32_t>(count));
        bytes_.append(static_cast<const char*>(bytes), count);
    }
    ImageJBlocks Finish() const {
        if (kinds_.empty()) return {};
        std::string start;
        Append(start, kMagic);
        for (const auto& [kind, count] : kinds_) {
            Append(start, kind);
            Append(start, count);
        }
        ImageJBlocks blocks{{static_cast<std::uint32_t>(start.size())}, start + bytes_};
        blocks.byteCounts.insert(blocks.byteCounts.end(), byteCounts_.begin(), byteCounts_.end());
        return blocks;
    }

  private:
    static void Append(std::string& bytes, std::uint32_t number) {
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
    std::vector<std::pair<std::uint32_t, std::uint32_t>> kinds_;
    std::vector<std::uint32_t> byteCounts_;
    std::string bytes_;
};

std::vector<std::uint8_t> LookupOf(const ChannelRecord& record) {
    if (record.lookup.size() == kLookupBytes) return record.lookup;
    const Rgb colour = record.colour.value_or(Rgb{255, 255, 255});
    std::vector<std::uint8_t> ramp;
    for (const std::uint8_t component : colour) {
        for (int i = 0; i < 256; ++i) ramp.push_back(static_cast<std::uint8_t>((component * i + 127) / 255));
    }
    return ramp;
}

// ImageJ keeps no names of channels; what stands above its image is the label of the plane.
void AddLabels(BlockWriter& writer, const StackHeader& header) {
    const bool named = std::any_of(header.channel.begin(), header.channel.end(),
                                   [](const ChannelRecord& record) { return !record.name.empty(); });
    if (!named || header.planes() > kMostLabels) return;
    for (int k = 0; k < header.planes(); ++k) {
        writer.Text(kLabels, RecordOf(header, k % header.channels).name);
    }
}

void AddLookups(BlockWriter& writer, const StackHeader& header) {
    const bool coloured = std::any_of(
        header.channel.begin(), header.channel.end(),
        [](const ChannelRecord& record) { return record.colour.has_value() || !record.lookup.empty(); });
    if (!coloured || header.channels == 1) return;
    for (int c = 0; c < header.channels; ++c) {
        const std::vector<std::uint8_t> lookup = LookupOf(RecordOf(header, c));
        writer.Add(kLookups, lookup.data(), lookup.size());
    }
}

}  // namespace

ImageJBlockContents ReadImageJBlocks(std::span<const std::uint32_t> byteCounts,
                                     std::span<const unsigned char> blocks, bool swapped) {
    const bool bigEndian = (std::endian::native == std::endian::big) != swapped;
    const BlockReader reader(blocks, bigEndian);
    ImageJBlockContents contents;
    if (byteCounts.empty() || byteCounts[0] < 4 || byteCounts[0] > blocks.size()) return contents;
    if (reader.Number(0, 4) != kMagic) return contents;
    // The header lists kinds of blocks, each with how many follow; block n has byteCounts[n] bytes.
    std::size_t offset = byteCounts[0];
    std::size_t block = 1;
    for (std::size_t entry = 4; entry + 8 <= byteCounts[0]; entry += 8) {
        const std::uint32_t kind = reader.Number(entry, 4);
        const std::uint32_t count = reader.Number(entry + 4, 4);
        for (std::uint32_t n = 0; n < count; ++n, ++block) {
            if (block >= byteCounts.size() || byteCounts[block] > blocks.size() - offset) return contents;
            const std::size_t bytes = byteCounts[block];
            if (kind == kInfoBlock) contents.info = reader.Text(offset, bytes);
            if (kind == kLabels) contents.labels.push_back(reader.Text(offset, bytes));
            if (kind == kLookups && bytes == kLookupBytes) {
                const auto table = blocks.subspan(offset, bytes);
                contents.lookups.emplace_back(table.begin(), table.end());
            }
            offset += bytes;
        }
    }
    return contents;
}

ImageJBlocks WriteImageJBlocks(const StackHeader& header) {
    BlockWriter writer;
    const std::string info = InfoWithOptics(header);
    if (!info.empty()) writer.Text(kInfoBlock, info);
    AddLabels(writer, header);
    AddLookups(writer, header);
    return writer.Finish();
}

}  // namespace rydecon
