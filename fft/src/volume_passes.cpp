// SPDX-License-Identifier: MIT
#include <fft/volume_passes.h>
#include <fftw3.h>
#include <processor/fetch.h>

#include <algorithm>
#include <limits>
#include <new>

#include "depth_block.h"
#include "volume_plans.h"

namespace gnr::fft {

namespace {

/// Volumes of fewer samples cost less than the threads that would share them.
constexpr std::ptrdiff_t kWorthThreads = std::ptrdiff_t{1} << 15;
/// Fewer columns are not worth a call of their own along y.
constexpr std::ptrdiff_t kLeastOfGroup = 16;
/// Planes of more floats would drive each other out of the cache.
constexpr std::ptrdiff_t kWorthAhead = std::ptrdiff_t{1} << 17;
/// Floats in a line of the cache.
constexpr std::ptrdiff_t kLine = 16;

struct FreeFloats {
    void operator()(float* p) const { fftwf_free(p); }
};

fftwf_complex* Numbers(float* floats) {
    return reinterpret_cast<fftwf_complex*>(floats);
}

}  // namespace

/// Plans, and for each share an array for the samples of a row and one for a block of columns.
struct VolumePasses::State {
    State(const VolumeShape& s, Directions directions, float scaleOfInverse, std::ptrdiff_t shares,
          std::ptrdiff_t groups)
        : shape(s),
          scale(scaleOfInverse),
          groupsOfPlane(groups),
          fetchesNextPlane(groups == 1 && s.PlaneFloats() <= kWorthAhead) {
        complete = (directions == Directions::kInverse || there.Make(shape, layout, groups, true)) &&
                   (directions == Directions::kForward || back.Make(shape, layout, groups, false)) &&
                   MakeRoom(shares);
    }

    bool MakeRoom(std::ptrdiff_t shares) {
        const std::size_t floats = static_cast<std::size_t>(shares * FloatsOfShare());
        room.reset(static_cast<float*>(fftwf_malloc(floats * sizeof(float))));
        // What lies behind samples and behind a narrow block is transformed too, and should hold numbers.
        if (room != nullptr) std::fill_n(room.get(), floats, 0.0f);
        return room != nullptr;
    }
    std::ptrdiff_t FloatsOfRow() const { return (shape.RowFloats() + kLine - 1) / kLine * kLine; }
    std::ptrdiff_t FloatsOfShare() const { return FloatsOfRow() + 2 * layout.Numbers(); }
    float* Samples(std::ptrdiff_t share) const { return room.get() + share * FloatsOfShare(); }
    DepthBlock Block(std::ptrdiff_t n, std::ptrdiff_t share) const {
        return {shape, layout, n, Numbers(Samples(share) + FloatsOfRow())};
    }
    /// A block with its transform.
    DepthBlock Take(const float* volume, std::ptrdiff_t n, std::ptrdiff_t share) const {
        const DepthBlock block = Block(n, share);
        block.Gather(volume);
        block.Transform(there.depth());
        block.ClearImaginaryOfSelfConjugates();
        return block;
    }
    void Put(const DepthBlock& block, float* volume) const {
        block.Transform(back.depth());
        block.Scatter(volume);
    }

    VolumeShape shape;
    DepthLayout layout{shape.planes};
    float scale;
    std::ptrdiff_t groupsOfPlane;
    bool fetchesNextPlane;
    VolumePlans there;
    VolumePlans back;
    std::unique_ptr<float, FreeFloats> room;
    bool complete = false;
};

VolumePasses::VolumePasses(const VolumeShape& shape, Directions directions, float scale,
                           std::ptrdiff_t threads)
    : shape_(shape), shares_(threads) {
    if (!Fit(shape)) return;
    if (shape.planes * shape.PlaneFloats() < kWorthThreads) shares_ = 1;
    const std::ptrdiff_t wanted = (4 * shares_ + shape.planes - 1) / shape.planes;
    const std::ptrdiff_t most = std::max(shape.ComplexColumns() / kLeastOfGroup, std::ptrdiff_t{1});
    const std::ptrdiff_t groups = PlaneByPlane() ? 1 : std::min(wanted, most);
    state_.reset(new (std::nothrow) State(shape, directions, scale, shares_, groups));
    if (state_ != nullptr && !state_->complete) state_.reset();
}

VolumePasses::~VolumePasses() = default;

bool VolumePasses::Fit(const VolumeShape& shape) {
    constexpr std::ptrdiff_t longest = std::numeric_limits<int>::max();
    const auto isLength = [](std::ptrdiff_t n) { return n > 0 && n <= longest; };
    return isLength(shape.planes) && isLength(shape.rows) && isLength(shape.columns) &&
           shape.columns % 2 == 0 &&
           shape.planes <= std::numeric_limits<std::ptrdiff_t>::max() / shape.PlaneFloats();
}

void VolumePasses::ForwardRow(float* samples, float* row) const {
    state_->there.ForwardRow(samples, Numbers(row));
}
void VolumePasses::InverseRow(float* row, float* samples) const {
    // The same row of the next plane, before its columns are met.
    if (state_->fetchesNextPlane) Fetch(row, shape_.PlaneFloats(), shape_.RowFloats());
    state_->back.InverseRow(Numbers(row), samples);
    const float scale = state_->scale;
    for (std::ptrdiff_t i = 0; i < shape_.columns; ++i) samples[i] *= scale;
    for (std::ptrdiff_t i = shape_.columns; i < shape_.RowFloats(); ++i) samples[i] = 0.0f;
}

std::ptrdiff_t VolumePasses::GroupsOfColumns() const {
    return shape_.planes * state_->groupsOfPlane;
}
void VolumePasses::ForwardColumns(float* volume, std::ptrdiff_t group) const {
    const std::ptrdiff_t ofPlane = state_->groupsOfPlane;
    state_->there.TransformColumns(Numbers(volume + group / ofPlane * shape_.PlaneFloats()), group % ofPlane);
}
void VolumePasses::InverseColumns(float* volume, std::ptrdiff_t group) const {
    const std::ptrdiff_t ofPlane = state_->groupsOfPlane;
    // Each column goes through all rows, so that all of the plane is met at once.
    if (group % ofPlane == 0) Fetch(volume, group / ofPlane * shape_.PlaneFloats(), shape_.PlaneFloats());
    state_->back.TransformColumns(Numbers(volume + group / ofPlane * shape_.PlaneFloats()), group % ofPlane);
}

float* VolumePasses::Samples(std::ptrdiff_t share) const {
    return state_->Samples(share);
}

std::ptrdiff_t VolumePasses::Blocks() const {
    return DepthBlock::CountOf(shape_);
}
void VolumePasses::ForwardBlock(float* volume, std::ptrdiff_t share, std::ptrdiff_t block) const {
    state_->Take(volume, block, share).Scatter(volume);
}
void VolumePasses::InverseBlock(float* volume, std::ptrdiff_t share, std::ptrdiff_t block) const {
    const DepthBlock columns = state_->Block(block, share);
    columns.Gather(volume);
    state_->Put(columns, volume);
}
void VolumePasses::TransferBlock(float* transfer, const float* volume, std::ptrdiff_t share,
                                 std::ptrdiff_t block) const {
    state_->Take(volume, block, share).CopyToTransfer(transfer);
}
void VolumePasses::MultiplyBlock(float* volume, const float* transfer, TransferUse use, std::ptrdiff_t share,
                                 std::ptrdiff_t block) const {
    const DepthBlock columns = state_->Take(volume, block, share);
    columns.MultiplyBy(transfer, use);
    state_->Put(columns, volume);
}

}  // namespace gnr::fft
