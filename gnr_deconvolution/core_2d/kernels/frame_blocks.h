// SPDX-License-Identifier: MIT
#pragma once

// Working frames of one call, freed on every way out.

#include <ry_system/alloc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

namespace gnr::detail {

/// What a fresh frame holds; the flags of CRyAlloc.
enum class Contents : unsigned { kUnknown = 0, kZero = CRyAlloc::kZeroed };

struct FreeFrame {
    void operator()(void* block) const { CRyAlloc::Free(block); }
};
template <class T>
using FrameBlock = std::unique_ptr<T[], FreeFrame>;

/// W by H samples, rows adjacent; null where they cannot be had.
template <class T>
FrameBlock<T> NewFrame(unsigned W, unsigned H, Contents contents) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(T);
    const std::uint64_t count = std::uint64_t{W} * H;
    if (count > kMost) return nullptr;
    const auto bytes = static_cast<std::size_t>(count * sizeof(T));
    return FrameBlock<T>(static_cast<T*>(CRyAlloc::Alloc(static_cast<unsigned>(contents), bytes)));
}

/// N frames of one size.
template <std::size_t N, class T = float>
class FrameBlocks {
  public:
    FrameBlocks(unsigned W, unsigned H, Contents contents) {
        for (FrameBlock<T>& frame : frames_) frame = NewFrame<T>(W, H, contents);
    }

    /// All were had.
    explicit operator bool() const {
        return std::all_of(frames_.begin(), frames_.end(), [](const auto& f) { return f != nullptr; });
    }
    T* operator[](std::size_t i) const { return frames_[i].get(); }

  private:
    std::array<FrameBlock<T>, N> frames_;
};

}  // namespace gnr::detail
