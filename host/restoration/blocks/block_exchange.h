// SPDX-License-Identifier: MIT
#pragma once

// Blocks on their way from the image to the method and on to their pieces. Where memory allows, the next block
// is read and the last one written on threads of their own, while the one between them is computed.

#include <future>
#include <memory>
#include <optional>
#include <vector>

#include "restoration/blocks/block_grid.h"
#include "restoration/blocks/image_scan.h"
#include "restoration/blocks/part_folder.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// Hands out one block after the other. Each plane of a block is to be read once, the last one last.
class BlockReader final : public PlaneSource {
  public:
    /// ahead  reads the next block while its user computes on the one before
    BlockReader(PlaneSource& from, const BlockGrid& grid, const Preparation& preparation, bool ahead);
    ~BlockReader() override;
    BlockReader(const BlockReader&) = delete;
    BlockReader& operator=(const BlockReader&) = delete;

    /// Takes a block for the volume that is read; next is the one after it, if there is one.
    void Take(int block, std::optional<int> next);

    Extent shape() const override { return grid_.Read(block_).size(); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override;

  private:
    void ReadCropped(int block, int k, float* rows, std::ptrdiff_t rowStride);
    void ReadIntoBuffer(int block);

    PlaneSource& from_;
    const BlockGrid& grid_;
    Preparation preparation_;
    bool ahead_;
    int block_ = 0;
    std::optional<int> next_;
    std::vector<float> plane_;   // of the whole image
    std::vector<float> buffer_;  // the block, where it is read ahead
    std::optional<int> buffered_;
    std::future<void> reading_;  // fills the buffer with block `buffered_`
};

/// Receives restored blocks and makes them pieces.
class BlockWriter final : public PlaneSink {
  public:
    BlockWriter(PartFolder& parts, const BlockGrid& grid, bool ahead)
        : parts_(parts), grid_(grid), ahead_(ahead) {}
    ~BlockWriter() override;
    BlockWriter(const BlockWriter&) = delete;
    BlockWriter& operator=(const BlockWriter&) = delete;

    /// The planes that come now are those of this block.
    void Begin(const PieceHead& head);
    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override;
    void End(const PieceEnd& end);

    /// Until every piece is in its place. UserError where one cannot be written.
    void Wait();

  private:
    PartFolder& parts_;
    const BlockGrid& grid_;
    bool ahead_;
    PieceHead head_;
    std::unique_ptr<PieceWriter> direct_;
    std::vector<float> buffer_;
    struct Pending {
        PieceHead head;
        PieceEnd end;
        std::future<void> done;
    };
    std::optional<Pending> pending_;
};

}  // namespace rydecon
