// SPDX-License-Identifier: MIT
#include "restoration/blocks/piece_file.h"

#include <zlib.h>

#include <array>
#include <system_error>
#include <vector>

#include "io/file_error.h"
#include "io/temporary_file.h"

namespace rydecon {

namespace {

constexpr std::array<char, 8> kMagic = {'R', 'Y', 'D', 'P', 'I', 'E', 'C', 'E'};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kByteOrder = 0x01020304;
constexpr std::uint32_t kLongestIdentity = 4096;

struct FixedHead {
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t byteOrder;
    std::uint32_t volume;
    std::uint32_t block;
    std::array<std::uint32_t, 3> counts;
    std::array<std::uint32_t, 3> size;
    std::uint32_t identity;
};
static_assert(sizeof(FixedHead) == 52, "the format has no gaps");

struct Trailer {
    std::array<std::uint32_t, 2> end;  // iterations and reason
    std::uint32_t checksum;
};
static_assert(sizeof(Trailer) == 12, "the format has no gaps");

std::uint32_t Extend(std::uint32_t checksum, const void* bytes, std::size_t count) {
    return static_cast<std::uint32_t>(crc32_z(checksum, static_cast<const Bytef*>(bytes), count));
}

std::array<std::uint32_t, 3> Numbers(const Extent& e) {
    return {static_cast<std::uint32_t>(e.x), static_cast<std::uint32_t>(e.y),
            static_cast<std::uint32_t>(e.z)};
}

Extent ExtentOf(const std::array<std::uint32_t, 3>& n) {
    return {static_cast<int>(n[0]), static_cast<int>(n[1]), static_cast<int>(n[2])};
}

std::size_t PlaneBytes(const Extent& size) {
    return sizeof(float) * static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y);
}

std::uint64_t SampleBytes(const Extent& size) {
    return std::uint64_t{PlaneBytes(size)} * static_cast<std::uint64_t>(size.z);
}

/// The head as the file has it, with its checksum.
std::string Packed(const PieceHead& head) {
    FixedHead fixed{};
    fixed.magic = kMagic;
    fixed.version = kVersion;
    fixed.byteOrder = kByteOrder;
    fixed.volume = head.volume;
    fixed.block = head.block;
    fixed.counts = Numbers(head.counts);
    fixed.size = Numbers(head.size);
    fixed.identity = static_cast<std::uint32_t>(head.identity.size());
    std::string bytes(reinterpret_cast<const char*>(&fixed), sizeof fixed);
    bytes += head.identity;
    const std::uint32_t checksum = Extend(0, bytes.data(), bytes.size());
    bytes.append(reinterpret_cast<const char*>(&checksum), sizeof checksum);
    return bytes;
}

/// Reads a head; empty where it is not one of this version and machine, or damaged.
std::optional<PieceHead> ReadHead(std::ifstream& file) {
    FixedHead fixed{};
    file.read(reinterpret_cast<char*>(&fixed), sizeof fixed);
    if (!file || fixed.magic != kMagic || fixed.version != kVersion || fixed.byteOrder != kByteOrder ||
        fixed.identity > kLongestIdentity) {
        return std::nullopt;
    }
    PieceHead head{fixed.volume, fixed.block, ExtentOf(fixed.counts), ExtentOf(fixed.size),
                   std::string(fixed.identity, '\0')};
    std::uint32_t checksum = 0;
    file.read(head.identity.data(), static_cast<std::streamsize>(head.identity.size()));
    file.read(reinterpret_cast<char*>(&checksum), sizeof checksum);
    std::uint32_t actual = Extend(0, &fixed, sizeof fixed);
    actual = Extend(actual, head.identity.data(), head.identity.size());
    if (!file || actual != checksum) return std::nullopt;
    return head;
}

}  // namespace

PieceWriter::PieceWriter(const std::filesystem::path& path, const PieceHead& head)
    : size_(head.size), file_(std::make_unique<TemporaryFile>(path, true)) {
    const std::string bytes = Packed(head);
    file_->Reserve(bytes.size() + SampleBytes(size_) + sizeof(Trailer));
    file_->Write(bytes.data(), bytes.size());
}

PieceWriter::~PieceWriter() = default;

void PieceWriter::WritePlane(int /*k*/, const float* rows, std::ptrdiff_t rowStride) {
    const auto width = static_cast<std::size_t>(size_.x);
    std::vector<float> plane(width * static_cast<std::size_t>(size_.y));
    for (int j = 0; j < size_.y; ++j) {
        const float* const row = rows + j * rowStride;
        std::copy(row, row + size_.x, plane.data() + static_cast<std::size_t>(j) * width);
    }
    checksum_ = Extend(checksum_, plane.data(), PlaneBytes(size_));
    file_->Write(plane.data(), PlaneBytes(size_));
}

void PieceWriter::Commit(const PieceEnd& end) {
    Trailer trailer{{end.iterations, static_cast<std::uint32_t>(end.end)}, 0};
    trailer.checksum = Extend(checksum_, &trailer.end, sizeof trailer.end);
    file_->Write(&trailer, sizeof trailer);
    file_->Commit();
}

std::optional<PieceReader> PieceReader::Open(const std::filesystem::path& path) {
    PieceReader reader;
    reader.path_ = path;
    reader.file_.open(path, std::ios::binary);
    auto head = ReadHead(reader.file_);
    if (!head) return std::nullopt;
    reader.head_ = std::move(*head);

    const auto samples = reader.file_.tellg();
    const std::uint64_t before = static_cast<std::uint64_t>(samples) + SampleBytes(reader.head_.size);
    std::error_code failure;
    if (std::filesystem::file_size(path, failure) != before + sizeof(Trailer)) return std::nullopt;
    Trailer trailer{};
    reader.file_.seekg(static_cast<std::streamoff>(before));
    reader.file_.read(reinterpret_cast<char*>(&trailer), sizeof trailer);
    if (!reader.file_ || trailer.end[1] > static_cast<std::uint32_t>(EndOfRun::Copied)) return std::nullopt;
    reader.end_ = {trailer.end[0], static_cast<EndOfRun>(trailer.end[1])};
    reader.stated_ = trailer.checksum;
    reader.file_.seekg(samples);
    return reader;
}

/// Reads the next plane. False where the file breaks off or, with the last plane, does not fit its checksum.
bool PieceReader::Continue(float* samples) {
    const std::size_t bytes = PlaneBytes(head_.size);
    file_.read(reinterpret_cast<char*>(samples), static_cast<std::streamsize>(bytes));
    if (!file_) return false;
    running_ = Extend(running_, samples, bytes);
    if (++plane_ < head_.size.z) return true;
    const std::array<std::uint32_t, 2> end = {end_.iterations, static_cast<std::uint32_t>(end_.end)};
    return Extend(running_, &end, sizeof end) == stated_;
}

void PieceReader::ReadPlane(float* samples) {
    if (!Continue(samples)) {
        throw ReadError(path_, "the piece was damaged while the program ran; --resume makes it anew");
    }
}

bool PieceReader::IsSound() {
    std::vector<float> plane(PlaneBytes(head_.size) / sizeof(float));
    for (int k = 0; k < head_.size.z; ++k) {
        if (!Continue(plane.data())) return false;
    }
    return true;
}

}  // namespace rydecon
