// SPDX-License-Identifier: MIT
#pragma once

// One finished piece of a restoration on the disk, so that a later run need not compute it again.
//
//   offset  size      content                               numbers in the byte order of the machine
//   0       8         "RYDPIECE"
//   8       4         version of the format, 1
//   12      4         0x01020304, which tells the byte order
//   16      4, 4      number of the volume, number of the block
//   24      12        blocks along x, y, z
//   36      12        sides of the piece: x, y, z
//   48      4         bytes of the identity, n
//   52      n         what the piece belongs to: method, settings, image and PSF, as text
//   52+n    4         CRC-32 of the bytes before
//   56+n    4 x y z   samples, floats, x fastest
//   then    4, 4      iterations, reason for their end (0 direct, 1 limit, 2 stop test, 3 split, 4 copied)
//   then    4         CRC-32 of the samples and those two numbers

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "restoration/restoration_record.h"
#include "volume/plane_stream.h"

namespace rydecon {

class TemporaryFile;

/// Which piece, and of which run.
struct PieceHead {
    unsigned volume = 0;
    unsigned block = 0;
    Extent counts;  ///< blocks along the axes
    Extent size;
    std::string identity;  ///< equal for runs that give the same samples
    friend bool operator==(const PieceHead&, const PieceHead&) = default;
};

/// How the run of a piece ended.
struct PieceEnd {
    unsigned iterations = 0;
    EndOfRun end = EndOfRun::Direct;
};

/// Writes a piece; without Commit it leaves nothing. UserError where it cannot be written.
class PieceWriter final : public PlaneSink {
  public:
    PieceWriter(const std::filesystem::path& path, const PieceHead& head);
    ~PieceWriter() override;

    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override;
    void Commit(const PieceEnd& end);

  private:
    Extent size_;
    std::unique_ptr<TemporaryFile> file_;
    std::uint32_t checksum_ = 0;
};

/// Reads a piece, plane by plane from the first on.
class PieceReader {
  public:
    /// Empty where the file is no whole piece of this format and machine; its samples are not looked at.
    static std::optional<PieceReader> Open(const std::filesystem::path& path);

    const PieceHead& head() const { return head_; }
    const PieceEnd& end() const { return end_; }

    /// The next plane, without gaps; after the last one, UserError where the samples are not those that were
    /// written.
    void ReadPlane(float* samples);

    /// Reads all samples. Whether they are those that were written.
    bool IsSound();

  private:
    bool Continue(float* samples);

    std::filesystem::path path_;
    std::ifstream file_;
    PieceHead head_;
    PieceEnd end_;
    int plane_ = 0;
    std::uint32_t running_ = 0;
    std::uint32_t stated_ = 0;
};

}  // namespace rydecon
