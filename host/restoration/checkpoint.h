// SPDX-License-Identifier: MIT
#pragma once

// The file in which a long run parks its estimate, so that a later run goes on from there.
//
//   offset  size       content                          numbers in the byte order of the machine
//   0       8          "RYDCKPT\n"
//   8       4          version of the format, 1
//   12      4          iterations done
//   16      12         sides of the padded volume: x, y, z
//   28      4          CRC-32 of the padded image
//   32      4          CRC-32 of the padded PSF
//   36      4          regularization
//   40      4          iterations of a stage, or 0 where stages leave no trace
//   44      16         name of the method, the rest zeros
//   60      4          CRC-32 of the estimate
//   64      4          CRC-32 of the bytes before
//   68      4 x y z    estimate, floats, x fastest
//
// A CRC-32 finds every change of a single sample for certain. No figure of a file decides over memory: the
// estimate is read into a volume that the job has already, and only where both have the same sides.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "volume/padded_volume.h"

namespace rydecon {

/// What an estimate belongs to. Runs that agree in all of it pass through the same estimates.
struct RunIdentity {
    std::string method;  ///< at most 16 characters
    unsigned regularization = 0;
    unsigned stage = 0;  ///< 0 where the length of stages changes nothing
    Extent frame;
    std::uint32_t image = 0;  ///< Checksum of the padded image
    std::uint32_t psf = 0;    ///< Checksum of the padded PSF
};

/// CRC-32 of the image columns of a volume.
std::uint32_t Checksum(const PaddedVolume& volume);

/// Writes an estimate; the file of this name is replaced at once or stays as it was. UserError where it cannot
/// be written.
void WriteCheckpoint(const std::filesystem::path& path, const RunIdentity& identity, unsigned iterations,
                     const PaddedVolume& estimate);

/// A checkpoint to go on from. Each failure is a UserError with one line that names the file.
class Checkpoint {
  public:
    /// Reads what stands before the estimate. UserError where the file is no checkpoint, is damaged, or is of
    /// another version.
    explicit Checkpoint(const std::filesystem::path& path);

    /// Whether a file begins like a checkpoint, of whatever version.
    static bool IsOne(const std::filesystem::path& path);

    const std::filesystem::path& path() const { return path_; }
    unsigned iterations() const { return iterations_; }

    /// UserError that names what differs where the estimate belongs to another run.
    void RequireFit(const RunIdentity& identity) const;

    /// UserError where it has more than `limit` iterations behind it.
    void RequireWithin(unsigned limit) const;

    /// Reads the estimate into a volume of the frame that RequireFit was given. UserError where the file is not
    /// whole; the volume is then spoilt.
    void Load(const PaddedVolume& estimate);

  private:
    std::filesystem::path path_;
    std::ifstream file_;
    unsigned iterations_ = 0;
    RunIdentity identity_;
    std::uint32_t estimate_ = 0;
};

}  // namespace rydecon
