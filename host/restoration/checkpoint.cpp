// SPDX-License-Identifier: MIT
#include "restoration/checkpoint.h"

#include <zlib.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <vector>

#include "io/file_error.h"
#include "io/temporary_file.h"
#include "report/counted.h"

namespace rydecon {

namespace {

constexpr std::array<char, 8> kMagic = {'R', 'Y', 'D', 'C', 'K', 'P', 'T', '\n'};
constexpr std::uint32_t kVersion = 1;

struct FileHead {
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t iterations;
    std::array<std::uint32_t, 3> frame;
    std::uint32_t image;
    std::uint32_t psf;
    std::uint32_t regularization;
    std::uint32_t stage;
    std::array<char, 16> method;
    std::uint32_t estimate;
    std::uint32_t head;  // of the bytes before
};
static_assert(sizeof(FileHead) == 68 && offsetof(FileHead, head) == 64, "the format has no gaps");

std::uint32_t Continue(std::uint32_t checksum, const void* bytes, std::size_t count) {
    return static_cast<std::uint32_t>(crc32_z(checksum, static_cast<const Bytef*>(bytes), count));
}

std::uint32_t ChecksumOfHead(const FileHead& head) {
    return Continue(0, &head, offsetof(FileHead, head));
}

std::size_t RowBytes(const PaddedVolume& volume) {
    return sizeof(float) * static_cast<std::size_t>(volume.logical().x);
}

FileHead HeadOf(const RunIdentity& identity, unsigned iterations, std::uint32_t estimate) {
    FileHead head{};
    head.magic = kMagic;
    head.version = kVersion;
    head.iterations = iterations;
    head.frame = {static_cast<std::uint32_t>(identity.frame.x), static_cast<std::uint32_t>(identity.frame.y),
                  static_cast<std::uint32_t>(identity.frame.z)};
    head.image = identity.image;
    head.psf = identity.psf;
    head.regularization = identity.regularization;
    head.stage = identity.stage;
    identity.method.copy(head.method.data(), head.method.size());
    head.estimate = estimate;
    head.head = ChecksumOfHead(head);
    return head;
}

RunIdentity IdentityOf(const FileHead& head) {
    const auto side = [&head](std::size_t axis) { return static_cast<int>(head.frame[axis]); };
    const std::string method(head.method.data(), head.method.size());
    return {method.substr(0, method.find('\0')), head.regularization, head.stage,
            {side(0), side(1), side(2)},         head.image,          head.psf};
}

constexpr const char* kDamaged = "the checkpoint is damaged; run without --resume";

}  // namespace

std::uint32_t Checksum(const PaddedVolume& volume) {
    std::uint32_t checksum = 0;
    const Extent sides = volume.logical();
    for (int k = 0; k < sides.z; ++k) {
        for (int j = 0; j < sides.y; ++j) checksum = Continue(checksum, volume.Row(j, k), RowBytes(volume));
    }
    return checksum;
}

void WriteCheckpoint(const std::filesystem::path& path, const RunIdentity& identity, unsigned iterations,
                     const PaddedVolume& estimate) {
    const Extent sides = estimate.logical();
    const FileHead head = HeadOf(identity, iterations, Checksum(estimate));
    const auto rows = static_cast<std::size_t>(sides.y);
    std::vector<std::byte> plane(rows * RowBytes(estimate));

    TemporaryFile file(path, true);
    file.Reserve(sizeof head + std::uint64_t{plane.size()} * static_cast<std::uint64_t>(sides.z));
    file.Write(&head, sizeof head);
    for (int k = 0; k < sides.z; ++k) {
        for (int j = 0; j < sides.y; ++j) {
            std::memcpy(plane.data() + static_cast<std::size_t>(j) * RowBytes(estimate), estimate.Row(j, k),
                        RowBytes(estimate));
        }
        file.Write(plane.data(), plane.size());
    }
    file.Commit();
}

Checkpoint::Checkpoint(const std::filesystem::path& path) : path_(path) {
    RequireRegularFile(path);
    errno = 0;
    file_.open(path, std::ios::binary);
    if (!file_) throw ReadFailure(path, errno);

    FileHead head{};
    file_.read(reinterpret_cast<char*>(&head), sizeof head);
    if (!file_ || head.magic != kMagic)
        throw ReadError(path, "it is no checkpoint of rydecon; give the file that --checkpoint has written");
    if (head.version != kVersion) {
        throw ReadError(
            path,
            "the checkpoint is of another version of rydecon, or of another kind of machine; begin "
            "the run anew");
    }
    if (head.head != ChecksumOfHead(head)) throw ReadError(path, kDamaged);
    iterations_ = head.iterations;
    identity_ = IdentityOf(head);
    estimate_ = head.estimate;
}

bool Checkpoint::IsOne(const std::filesystem::path& path) {
    std::error_code failure;
    if (!std::filesystem::is_regular_file(path, failure)) return false;
    std::ifstream file(path, std::ios::binary);
    std::array<char, 8> magic{};
    file.read(magic.data(), magic.size());
    return file && magic == kMagic;
}

void Checkpoint::RequireFit(const RunIdentity& identity) const {
    const auto refuse = [this](const std::string& difference) {
        throw ReadError(path_, "the checkpoint belongs to " + difference);
    };
    if (identity_.method != identity.method) refuse("--method " + OneLine(identity_.method));
    if (identity_.regularization != identity.regularization) {
        refuse("--regularization " + std::to_string(identity_.regularization));
    }
    if (identity_.stage != identity.stage) {
        refuse("--checkpoint-every " + std::to_string(identity_.stage));
    }
    if (identity_.frame != identity.frame) {
        refuse("a padded volume of " + ToString(identity_.frame) + " samples, this run to one of " +
               ToString(identity.frame));
    }
    if (identity_.image != identity.image) refuse("another image");
    if (identity_.psf != identity.psf) refuse("another PSF");
}

void Checkpoint::RequireWithin(unsigned limit) const {
    if (iterations_ <= limit) return;
    throw ReadError(path_, "the checkpoint has " + Counted(iterations_, "iteration") +
                               " behind it; --iterations " + std::to_string(limit) +
                               " is fewer: give as many or more");
}

void Checkpoint::Load(const PaddedVolume& estimate) {
    const Extent sides = estimate.logical();
    for (int k = 0; k < sides.z; ++k) {
        for (int j = 0; j < sides.y; ++j) {
            file_.read(reinterpret_cast<char*>(estimate.Row(j, k)),
                       static_cast<std::streamsize>(RowBytes(estimate)));
        }
    }
    const bool whole = file_.good() && file_.peek() == std::ifstream::traits_type::eof();
    if (!whole || Checksum(estimate) != estimate_) throw ReadError(path_, kDamaged);
}

}  // namespace rydecon
