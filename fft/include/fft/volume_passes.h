// SPDX-License-Identifier: MIT
#pragma once

// The transform of a real volume in passes that loops over rows can join: along x row by row through a small array
// of samples, along y a plane at a time, along z in blocks of columns. Work on rows then finds them in the nearest
// cache, and a product with a transfer function takes no way through memory of its own. Passes that make up a
// transform give the bits of DftiComputeForward and DftiComputeBackward on as many threads.

#include <fft/transfer_use.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace gnr::fft {

/// Rows follow each other without gaps, each with room behind its samples for its half spectrum.
struct VolumeShape {
    std::ptrdiff_t planes;
    std::ptrdiff_t rows;
    std::ptrdiff_t columns;  ///< samples a row, an even number

    std::ptrdiff_t ComplexColumns() const { return columns / 2 + 1; }
    std::ptrdiff_t RowFloats() const { return 2 * ComplexColumns(); }
    std::ptrdiff_t PlaneFloats() const { return rows * RowFloats(); }
};

/// Passes that are to be made.
enum class Directions { kForward, kInverse, kBoth };

/// Neighbouring rows of one plane, counted through all planes, and where the samples of each are worked on: whole
/// rows, with zeros behind the samples. They may share one place, and then follow one another there.
struct RowChunk {
    std::ptrdiff_t first;
    std::ptrdiff_t count;
    float* samples;         ///< of the first row
    std::ptrdiff_t stride;  ///< floats from row to row

    float* Samples(std::ptrdiff_t row) const { return samples + (row - first) * stride; }

    /// visit(row, its samples)
    template <class Visit>
    void EachRow(Visit visit) const {
        for (std::ptrdiff_t row = first; row < first + count; ++row) visit(row, Samples(row));
    }
};

/// Loops come from the caller:
///
///   loop.For(n, body)     body(i) for i < n, on all threads
///   loop.Reduce(n, body)  body(i, result) with a pointer to the thread's own result, and what they make together
class VolumePasses {
  public:
    /// Plans, and room for the work on so many threads. `scale` goes to what an inverse gives.
    VolumePasses(const VolumeShape& shape, Directions directions, float scale, std::ptrdiff_t threads);
    VolumePasses(const VolumePasses&) = delete;
    VolumePasses& operator=(const VolumePasses&) = delete;
    ~VolumePasses();

    /// The shape fits, and plans and room were had. Nothing else may be called without.
    explicit operator bool() const { return state_ != nullptr; }

    /// Passes can be had of this shape, whose floats can be counted.
    static bool Fit(const VolumeShape& shape);
    /// Passes can work here.
    static bool Fit(const float* volume) { return reinterpret_cast<std::uintptr_t>(volume) % 16 == 0; }

    const VolumeShape& shape() const { return shape_; }

    /// Along x: a row's samples to its half spectrum and back. What is read is lost.
    void ForwardRow(float* samples, float* row) const;
    void InverseRow(float* row, float* samples) const;

    /// Along y and x: work(chunk, result) on all chunks of rows. Where there is a volume `inverse`, its columns come
    /// back along y first, for the work to take its rows by InverseRow; where there is a volume `forward`, the work
    /// writes its rows by ForwardRow, and its columns go there along y. Both may be the same.
    template <class Loop, class Work>
    auto Sweep(float* inverse, float* forward, const Loop& loop, Work work) const {
        if (PlaneByPlane()) {
            return loop.Reduce(shares_, [=, this](std::ptrdiff_t share, auto* result) {
                for (std::ptrdiff_t k = First(share, shape_.planes); k < First(share + 1, shape_.planes);
                     ++k) {
                    if (inverse != nullptr) InverseColumns(inverse, k);
                    for (std::ptrdiff_t c = 0; c < ChunksOfPlane(); ++c) work(Chunk(share, k, c), result);
                    if (forward != nullptr) ForwardColumns(forward, k);
                }
            });
        }
        if (inverse != nullptr) {
            EachShare(loop, GroupsOfColumns(),
                      [=, this](std::ptrdiff_t, std::ptrdiff_t group) { InverseColumns(inverse, group); });
        }
        const std::ptrdiff_t chunks = ChunksOfPlane();
        const auto results = loop.Reduce(shares_, [=, this](std::ptrdiff_t share, auto* result) {
            const std::ptrdiff_t all = shape_.planes * chunks;
            for (std::ptrdiff_t i = First(share, all); i < First(share + 1, all); ++i) {
                work(Chunk(share, i / chunks, i % chunks), result);
            }
        });
        if (forward != nullptr) {
            EachShare(loop, GroupsOfColumns(),
                      [=, this](std::ptrdiff_t, std::ptrdiff_t group) { ForwardColumns(forward, group); });
        }
        return results;
    }

    /// Along z.
    template <class Loop>
    void ForwardDepth(float* volume, const Loop& loop) const {
        EachShare(loop, Blocks(), [=, this](std::ptrdiff_t share, std::ptrdiff_t block) {
            ForwardBlock(volume, share, block);
        });
    }
    template <class Loop>
    void InverseDepth(float* volume, const Loop& loop) const {
        EachShare(loop, Blocks(), [=, this](std::ptrdiff_t share, std::ptrdiff_t block) {
            InverseBlock(volume, share, block);
        });
    }
    /// ForwardDepth of `volume`, which stays as it is, to a volume that only MultiplyDepth reads.
    template <class Loop>
    void MakeTransfer(float* transfer, const float* volume, const Loop& loop) const {
        EachShare(loop, Blocks(), [=, this](std::ptrdiff_t share, std::ptrdiff_t block) {
            TransferBlock(transfer, volume, share, block);
        });
    }
    /// There and back, times transfer in between.
    template <class Loop>
    void MultiplyDepth(float* volume, const float* transfer, TransferUse use, const Loop& loop) const {
        EachShare(loop, Blocks(), [=, this](std::ptrdiff_t share, std::ptrdiff_t block) {
            MultiplyBlock(volume, transfer, use, share, block);
        });
    }

  private:
    struct State;

    /// Rows of a chunk.
    static constexpr std::ptrdiff_t kRowsTogether = 8;

    std::ptrdiff_t First(std::ptrdiff_t share, std::ptrdiff_t count) const { return count * share / shares_; }
    /// body(share, i) for i < count, the shares at once.
    template <class Loop, class Body>
    void EachShare(const Loop& loop, std::ptrdiff_t count, Body body) const {
        loop.For(shares_, [=, this](std::ptrdiff_t share) {
            for (std::ptrdiff_t i = First(share, count); i < First(share + 1, count); ++i) body(share, i);
        });
    }

    /// Planes are enough for the shares to be alike. Then a plane's columns are transformed along y in one group.
    bool PlaneByPlane() const { return shares_ == 1 || shape_.planes >= 4 * shares_; }
    /// Groups of all planes, and what they do.
    std::ptrdiff_t GroupsOfColumns() const;
    void ForwardColumns(float* volume, std::ptrdiff_t group) const;
    void InverseColumns(float* volume, std::ptrdiff_t group) const;

    std::ptrdiff_t ChunksOfPlane() const { return (shape_.rows + kRowsTogether - 1) / kRowsTogether; }
    RowChunk Chunk(std::ptrdiff_t share, std::ptrdiff_t plane, std::ptrdiff_t chunk) const {
        const std::ptrdiff_t first = chunk * kRowsTogether;
        const std::ptrdiff_t left = shape_.rows - first;
        return {plane * shape_.rows + first, left < kRowsTogether ? left : kRowsTogether, Samples(share), 0};
    }
    float* Samples(std::ptrdiff_t share) const;

    std::ptrdiff_t Blocks() const;
    void ForwardBlock(float* volume, std::ptrdiff_t share, std::ptrdiff_t block) const;
    void InverseBlock(float* volume, std::ptrdiff_t share, std::ptrdiff_t block) const;
    void TransferBlock(float* transfer, const float* volume, std::ptrdiff_t share,
                       std::ptrdiff_t block) const;
    void MultiplyBlock(float* volume, const float* transfer, TransferUse use, std::ptrdiff_t share,
                       std::ptrdiff_t block) const;

    VolumeShape shape_;
    std::ptrdiff_t shares_;
    std::unique_ptr<State> state_;
};

#if defined(GNR_FFT_DFTI)

// The package has no passes to give out.

struct VolumePasses::State {};
inline VolumePasses::VolumePasses(const VolumeShape& shape, Directions, float, std::ptrdiff_t shares)
    : shape_(shape), shares_(shares) {}
inline VolumePasses::~VolumePasses() = default;
inline bool VolumePasses::Fit(const VolumeShape&) {
    return false;
}
inline void VolumePasses::ForwardRow(float*, float*) const {}
inline void VolumePasses::InverseRow(float*, float*) const {}
inline std::ptrdiff_t VolumePasses::GroupsOfColumns() const {
    return 0;
}
inline void VolumePasses::ForwardColumns(float*, std::ptrdiff_t) const {}
inline void VolumePasses::InverseColumns(float*, std::ptrdiff_t) const {}
inline float* VolumePasses::Samples(std::ptrdiff_t) const {
    return nullptr;
}
inline std::ptrdiff_t VolumePasses::Blocks() const {
    return 0;
}
inline void VolumePasses::ForwardBlock(float*, std::ptrdiff_t, std::ptrdiff_t) const {}
inline void VolumePasses::InverseBlock(float*, std::ptrdiff_t, std::ptrdiff_t) const {}
inline void VolumePasses::TransferBlock(float*, const float*, std::ptrdiff_t, std::ptrdiff_t) const {}
inline void VolumePasses::MultiplyBlock(float*, const float*, TransferUse, std::ptrdiff_t,
                                        std::ptrdiff_t) const {}

#endif

}  // namespace gnr::fft
