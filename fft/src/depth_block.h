// SPDX-License-Identifier: MIT
#pragma once

// A block of columns of a half spectrum, taken to a small array to be transformed along z there.

#include <fft/transfer_use.h>
#include <fft/volume_passes.h>
#include <fftw3.h>

#include <cstddef>

#include "planner.h"

namespace gnr::fft {

/// How the array holds a block: plane by plane, or turned, column by column. Powers of two are transformed as well between
/// planes as within columns; for other lengths FFTW's estimates go wrong where numbers lie apart.
class DepthLayout {
  public:
    /// Columns of a block: eight lines of the cache from each plane.
    static constexpr std::ptrdiff_t kColumns = 64;
    /// Columns that are transformed in one call.
    static constexpr std::ptrdiff_t kTogether = 16;

    explicit DepthLayout(std::ptrdiff_t planes)
        : turned_(planes > kLongestBetweenPlanes || (planes & (planes - 1)) != 0),
          stride_((turned_ ? planes + planes % 2 : kColumns) + kGap),
          lines_(turned_ ? kColumns : planes) {}

    bool turned() const { return turned_; }
    /// Complex numbers from one line, a plane or a column, to the next.
    std::ptrdiff_t stride() const { return stride_; }
    std::ptrdiff_t PlaneStep() const { return turned_ ? 1 : stride_; }
    std::ptrdiff_t ColumnStep() const { return turned_ ? stride_ : 1; }
    /// Of the array.
    std::ptrdiff_t Numbers() const { return lines_ * stride_; }

  private:
    static constexpr std::ptrdiff_t kLongestBetweenPlanes = 128;
    /// Numbers between lines, so that they do not meet in the same places of the cache.
    static constexpr std::ptrdiff_t kGap = 8;

    bool turned_;
    std::ptrdiff_t stride_;
    std::ptrdiff_t lines_;
};

class DepthBlock {
  public:
    /// Block n of a volume of this shape.
    DepthBlock(const VolumeShape& shape, const DepthLayout& layout, std::ptrdiff_t n, fftwf_complex* array);

    static std::ptrdiff_t CountOf(const VolumeShape& shape) {
        return (ColumnsOfPlane(shape) + DepthLayout::kColumns - 1) / DepthLayout::kColumns;
    }

    /// From a volume and back.
    void Gather(const float* volume) const;
    void Scatter(float* volume) const;

    void Transform(const Plan& plan) const;
    /// A real volume's spectrum is real where a frequency is its own conjugate; FFTW's algorithms for prime lengths leave
    /// rounding there.
    void ClearImaginaryOfSelfConjugates() const;

    // A transfer volume holds a block after the other, each line by line.
    void CopyToTransfer(float* transfer) const;
    void MultiplyBy(const float* transfer, TransferUse use) const;

  private:
    static std::ptrdiff_t ColumnsOfPlane(const VolumeShape& shape) {
        return shape.rows * shape.ComplexColumns();
    }
    /// visit(numbers of the array, where they lie in a transfer volume, how many) along the lines.
    template <class Visit>
    void EachLine(Visit visit) const;

    VolumeShape shape_;
    DepthLayout layout_;
    std::ptrdiff_t first_;  ///< column
    std::ptrdiff_t count_;
    fftwf_complex* array_;
};

}  // namespace gnr::fft
