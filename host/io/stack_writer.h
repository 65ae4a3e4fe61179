// SPDX-License-Identifier: MIT
#pragma once

// Writes stacks as ImageJ TIFF or OME-TIFF under a temporary name; the target appears whole or not at all.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>

#include "io/sample_encoding.h"
#include "io/stack_header.h"

namespace rydecon {

struct WriteOptions {
    bool overwrite = false;
    SampleType sampleType = SampleType::Float32;  // or UInt16, UInt8
    /// Values that become 0 and the largest integer; empty: samples keep their values. Of no meaning for floats.
    std::optional<ValueRange> rescale;
    /// ImageJ or Ome; empty: Ome for a target "*.ome.tif" or "*.ome.tiff", else as the header's container.
    std::optional<Container> container;
    /// Bytes that a TIFF file of 32-bit offsets may have.
    std::uint64_t classicLimit = std::numeric_limits<std::uint32_t>::max();
};

/// One stack being written. Not committed, it leaves nothing behind. The bytes of the file do not depend on the order
/// in which its planes are written.
class StackWriter {
  public:
    /// Shape and metadata are the header's; its sample type is not looked at. Refuses (UserError) an existing target
    /// unless it may be overwritten, a folder that cannot be written, and a disk without room for the file.
    StackWriter(const std::filesystem::path& target, const StackHeader& header, const WriteOptions& options);
    /// Writes float32.
    StackWriter(const std::filesystem::path& target, const StackHeader& header, bool overwrite);
    ~StackWriter();
    StackWriter(const StackWriter&) = delete;
    StackWriter& operator=(const StackWriter&) = delete;

    /// Another WriteOptions::rescale, before the first plane is written.
    void Rescale(const ValueRange& range);

    /// Writes a plane, each once, in any order; row j is read from rows[j * rowStride] on, width floats of it.
    void WritePlane(const PlaneIndex& plane, const float* rows, std::ptrdiff_t rowStride);

    /// Writes the next plane as PlaneAt counts them.
    void WritePlane(const float* rows, std::ptrdiff_t rowStride);

    /// Samples so far that the integers of the file could not hold.
    const ClippedSamples& clipped() const;

    /// Closes the temporary file and renames it to the target. All planes must have been written.
    void Commit();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace rydecon
