// SPDX-License-Identifier: MIT
#pragma once

// Where the samples and the frequencies of one transform lie.

#include <array>
#include <cstddef>

namespace gnr::fft {

/// One to three dimensions, brought to three by leading axes of length 1. Slowest axis first.
struct Geometry {
    std::array<std::ptrdiff_t, 3> lengths;         ///< logical lengths: planes, rows, columns
    std::ptrdiff_t realOffset;                     ///< floats
    std::array<std::ptrdiff_t, 3> realStrides;     ///< floats
    std::ptrdiff_t complexOffset;                  ///< complex numbers
    std::array<std::ptrdiff_t, 3> complexStrides;  ///< complex numbers

    std::ptrdiff_t ComplexColumns() const { return lengths[2] / 2 + 1; }

    /// Each spectral row lies exactly over its real row, so that no row overwrites another in place.
    bool SharesRows() const {
        const auto same = [this](std::size_t axis) {
            return lengths[axis] == 1 || realStrides[axis] == 2 * complexStrides[axis];
        };
        return realOffset == 2 * complexOffset && realStrides[2] == 1 && complexStrides[2] == 1 && same(0) &&
               same(1) && (lengths[1] == 1 || realStrides[1] >= 2 * ComplexColumns());
    }
};

}  // namespace gnr::fft
