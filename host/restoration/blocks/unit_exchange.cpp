// SPDX-License-Identifier: MIT
#include "restoration/blocks/unit_exchange.h"

#include <algorithm>
#include <utility>

#include "report/stop_request.h"

namespace rydecon {

namespace {

std::ptrdiff_t PlaneSamples(const Extent& box) {
    return std::ptrdiff_t{box.x} * box.y;
}

/// Never has both the old and the new samples in memory.
void MakeRoom(std::vector<float>& buffer, std::size_t room) {
    if (buffer.size() == room) return;
    std::vector<float>().swap(buffer);
    buffer.resize(room);
}

}  // namespace

UnitReader::~UnitReader() {
    if (reading_.valid()) reading_.wait();
}

void UnitReader::Take(int unit, std::size_t room) {
    unit_ = unit;
    if (reading_.valid()) {
        reading_.wait();
        std::future<void> read = std::move(reading_);
        const std::optional<int> there = std::exchange(buffered_, std::nullopt);
        if (there == unit) read.get();
        buffered_ = there;
    }
    if (room > 0 && buffered_ == unit) return;
    buffered_.reset();
    MakeRoom(buffer_, room);
    if (room == 0) return;
    ReadIntoBuffer(unit);
    buffered_ = unit;
}

void UnitReader::ReadAhead(std::optional<int> next) {
    if (buffer_.empty() || reading_.valid()) return;
    buffered_ = next;
    if (!next) {
        MakeRoom(buffer_, 0);
        return;
    }
    reading_ = std::async(std::launch::async, [this, unit = *next] { ReadIntoBuffer(unit); });
}

void UnitReader::ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) {
    if (reading_.valid()) reading_.wait();
    if (buffered_ != unit_) {
        from_.ReadPlane(unit_, k, rows, rowStride);
        return;
    }
    const Extent size = shape();
    const float* const plane = buffer_.data() + k * PlaneSamples(size);
    for (int j = 0; j < size.y; ++j)
        std::copy_n(plane + std::ptrdiff_t{j} * size.x, size.x, rows + j * rowStride);
}

std::uint64_t UnitReader::Held() const {
    if (reading_.valid()) reading_.wait();
    return sizeof(float) * buffer_.capacity();
}

void UnitReader::ReadIntoBuffer(int unit) {
    const Extent size = from_.ShapeOf(unit);
    for (int k = 0; k < size.z; ++k) {
        LeaveIfStopRequested();
        from_.ReadPlane(unit, k, buffer_.data() + k * PlaneSamples(size), size.x);
    }
}

UnitWriter::~UnitWriter() {
    if (pending_) pending_->done.wait();
}

void UnitWriter::Begin(const PieceHead& head, std::shared_ptr<PlaneSink> also, std::size_t room) {
    if (room == 0) Release();
    unit_ = {head, std::move(also)};
    room_ = room;
    if (room == 0) direct_ = parts_.Write(head);
}

void UnitWriter::WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) {
    if (room_ == 0) {
        direct_->WritePlane(k, rows, rowStride);
        if (unit_.also) unit_.also->WritePlane(k, rows, rowStride);
        return;
    }
    if (k == 0) {
        Wait();  // for the buffer
        MakeRoom(buffer_, room_);
    }
    const Extent& size = unit_.head.size;
    float* const to = buffer_.data() + k * PlaneSamples(size);
    for (int j = 0; j < size.y; ++j)
        std::copy_n(rows + j * rowStride, size.x, to + std::ptrdiff_t{j} * size.x);
}

void UnitWriter::End(const PieceEnd& end) {
    Unit unit = std::exchange(unit_, {});
    if (room_ == 0) {
        direct_->Commit(end);
        direct_.reset();
        parts_.Add(unit.head, end);
        return;
    }
    const PieceHead head = unit.head;
    pending_ = Pending{head, end, std::async(std::launch::async, [this, unit = std::move(unit), end] {
                           WriteBuffer(unit, end);
                       })};
}

void UnitWriter::WriteBuffer(const Unit& unit, const PieceEnd& end) const {
    const Extent& size = unit.head.size;
    const std::unique_ptr<PieceWriter> piece = parts_.Write(unit.head);
    for (int k = 0; k < size.z; ++k) {
        const float* const plane = buffer_.data() + k * PlaneSamples(size);
        piece->WritePlane(k, plane, size.x);
        if (unit.also) unit.also->WritePlane(k, plane, size.x);
    }
    piece->Commit(end);
}

void UnitWriter::Wait() {
    if (!pending_) return;
    Pending pending = std::exchange(pending_, std::nullopt).value();
    pending.done.get();
    parts_.Add(pending.head, pending.end);
}

void UnitWriter::Release() {
    Wait();
    MakeRoom(buffer_, 0);
}

}  // namespace rydecon
