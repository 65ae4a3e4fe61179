// SPDX-License-Identifier: MIT
#include "restoration/blocks/block_exchange.h"

#include <algorithm>
#include <utility>

#include "report/stop_request.h"

namespace rydecon {

namespace {

std::ptrdiff_t PlaneSamples(const Extent& box) {
    return std::ptrdiff_t{box.x} * box.y;
}

std::size_t Samples(const Extent& box) {
    return static_cast<std::size_t>(PlaneSamples(box)) * static_cast<std::size_t>(box.z);
}

}  // namespace

BlockReader::BlockReader(PlaneSource& from, const BlockGrid& grid, const Preparation& preparation, bool ahead)
    : from_(from),
      grid_(grid),
      preparation_(preparation),
      ahead_(ahead),
      plane_(static_cast<std::size_t>(PlaneSamples(from.shape()))) {}

BlockReader::~BlockReader() {
    if (reading_.valid()) reading_.wait();
}

void BlockReader::Take(int block, std::optional<int> next) {
    block_ = block;
    next_ = next;
    if (!ahead_) return;
    if (reading_.valid()) reading_.get();
    if (buffered_ != block) ReadIntoBuffer(block);
    buffered_ = block;
}

void BlockReader::ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) {
    if (!ahead_) {
        ReadCropped(block_, k, rows, rowStride);
        return;
    }
    const Extent size = shape();
    const float* const plane = buffer_.data() + k * PlaneSamples(size);
    for (int j = 0; j < size.y; ++j)
        std::copy_n(plane + std::ptrdiff_t{j} * size.x, size.x, rows + j * rowStride);
    if (k + 1 < size.z || !next_) return;
    buffered_ = next_;
    reading_ = std::async(std::launch::async, [this, next = *next_] { ReadIntoBuffer(next); });
}

void BlockReader::ReadCropped(int block, int k, float* rows, std::ptrdiff_t rowStride) {
    const Box box = grid_.Read(block);
    const int width = from_.shape().x;
    from_.ReadPlane(box.z.begin + k, plane_.data(), width);
    for (int j = 0; j < box.y.length(); ++j) {
        const float* const row = plane_.data() + std::ptrdiff_t{box.y.begin + j} * width + box.x.begin;
        std::copy_n(row, box.x.length(), rows + j * rowStride);
        preparation_.Apply(rows + j * rowStride, box.x.length());
    }
}

void BlockReader::ReadIntoBuffer(int block) {
    const Extent size = grid_.Read(block).size();
    if (buffer_.empty()) buffer_.resize(Samples(grid_.LargestRead()));
    for (int k = 0; k < size.z; ++k) {
        LeaveIfStopRequested();
        ReadCropped(block, k, buffer_.data() + k * PlaneSamples(size), size.x);
    }
}

BlockWriter::~BlockWriter() {
    if (pending_) pending_->done.wait();
}

void BlockWriter::Begin(const PieceHead& head) {
    head_ = head;
    if (!ahead_) direct_ = parts_.Write(head);
}

void BlockWriter::WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) {
    const int block = static_cast<int>(head_.block);
    const Box read = grid_.Read(block);
    const Box used = grid_.Used(block);
    const int plane = k + read.z.begin - used.z.begin;
    if (plane < 0 || plane >= head_.size.z) return;
    const float* const first =
        rows + (used.y.begin - read.y.begin) * rowStride + (used.x.begin - read.x.begin);
    if (!ahead_) {
        direct_->WritePlane(plane, first, rowStride);
        return;
    }
    if (plane == 0) {
        Wait();  // for the buffer
        buffer_.resize(Samples(grid_.LargestRead()));
    }
    float* const to = buffer_.data() + plane * PlaneSamples(head_.size);
    for (int j = 0; j < head_.size.y; ++j) {
        std::copy_n(first + j * rowStride, head_.size.x, to + std::ptrdiff_t{j} * head_.size.x);
    }
}

void BlockWriter::End(const PieceEnd& end) {
    if (!ahead_) {
        direct_->Commit(end);
        direct_.reset();
        parts_.Add(head_, end);
        return;
    }
    pending_ =
        Pending{head_, end, std::async(std::launch::async, [this, head = head_, end] {
                    const std::unique_ptr<PieceWriter> piece = parts_.Write(head);
                    for (int k = 0; k < head.size.z; ++k) {
                        piece->WritePlane(k, buffer_.data() + k * PlaneSamples(head.size), head.size.x);
                    }
                    piece->Commit(end);
                })};
}

void BlockWriter::Wait() {
    if (!pending_) return;
    Pending pending = std::exchange(pending_, std::nullopt).value();
    pending.done.get();
    parts_.Add(pending.head, pending.end);
}

}  // namespace rydecon
