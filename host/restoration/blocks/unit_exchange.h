// SPDX-License-Identifier: MIT
#pragma once

// Units of work, blocks of a volume or volumes of a file, on their way from the image to the method and on to their
// pieces. Where memory allows, the next unit is read and the last one written on threads of their own, while the
// one between them is computed.

#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <vector>

#include "restoration/blocks/part_folder.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// Samples of a unit, for which its reader and its writer may have memory.
inline std::size_t RoomOf(const Extent& unit) {
    return static_cast<std::size_t>(unit.x) * static_cast<std::size_t>(unit.y) *
           static_cast<std::size_t>(unit.z);
}

/// Hands out one unit after the other, each as a volume whose planes may be read in any order and again.
class UnitReader final : public PlaneSource {
  public:
    /// from  must outlive the object
    explicit UnitReader(UnitSource& from) : from_(from) {}
    ~UnitReader() override;
    UnitReader(const UnitReader&) = delete;
    UnitReader& operator=(const UnitReader&) = delete;

    /// Takes the unit whose planes are asked for from now on. UserError where it was read ahead, and could not be.
    /// room  samples of the largest unit, of which one is held in memory; 0: none is, its planes come from the source
    void Take(int unit, std::size_t room);

    /// The caller has loaded the unit, and will compute. Where units are held, the next one, if there is one, is read
    /// into its place meanwhile. Planes of the unit that are asked for all the same come from the source, after that.
    void ReadAhead(std::optional<int> next);

    Extent shape() const override { return from_.ShapeOf(unit_); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override;

    /// Bytes of the unit that is held. Waits until it is read.
    std::uint64_t Held() const;

  private:
    void ReadIntoBuffer(int unit);

    UnitSource& from_;
    int unit_ = 0;
    std::vector<float> buffer_;
    std::optional<int> buffered_;  // unit that is, or is going to be, in the buffer
    std::future<void> reading_;    // fills the buffer
};

/// Receives restored units and makes them pieces.
class UnitWriter final : public PlaneSink {
  public:
    /// parts  must outlive the object
    explicit UnitWriter(PartFolder& parts) : parts_(parts) {}
    ~UnitWriter() override;
    UnitWriter(const UnitWriter&) = delete;
    UnitWriter& operator=(const UnitWriter&) = delete;

    /// The planes that come now, of head.size, are those of this piece.
    /// also  gets them as well, on the thread that writes them; null: nobody does
    /// room  samples of the largest unit, held in memory until it is written; 0: none is, planes are written at once
    void Begin(const PieceHead& head, std::shared_ptr<PlaneSink> also, std::size_t room);
    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override;
    void End(const PieceEnd& end);

    /// Until every piece is in its place. UserError where one cannot be written.
    void Wait();

    /// Likewise; then no memory is held.
    void Release();

    /// Bytes that are held.
    std::uint64_t Held() const { return sizeof(float) * buffer_.capacity(); }

  private:
    struct Unit {
        PieceHead head;
        std::shared_ptr<PlaneSink> also;
    };
    struct Pending {
        PieceHead head;
        PieceEnd end;
        std::future<void> done;
    };
    void WriteBuffer(const Unit& unit, const PieceEnd& end) const;

    PartFolder& parts_;
    Unit unit_;
    std::size_t room_ = 0;
    std::unique_ptr<PieceWriter> direct_;
    std::vector<float> buffer_;
    std::optional<Pending> pending_;
};

}  // namespace rydecon
