// SPDX-License-Identifier: MIT
#pragma once

// A radially symmetric plane, tabulated over the radius and laid on the grid by linear interpolation.

#include <gnr_deconvolution/kernels_3d.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace gnr::detail {

/// Values of one plane; index = radius in steps of the table.
using RadialTable = std::vector<double>;

/// One side of a plane seen from the peak: offset m >= 0 stands at ahead + m and, mirrored, at behind - m.
/// Places outside [0, length) do not exist.
struct GridAxis {
    std::int32_t length;
    std::int32_t ahead;
    std::int32_t behind;
    std::int32_t offsets;  ///< offsets 0 to offsets - 1 are laid

    /// The peak in the middle, every place of the side laid.
    static GridAxis Centered(std::int32_t length);
    /// The peak at 0, negative offsets wrapped around to the end.
    static GridAxis Wrapped(std::int32_t length, std::int32_t offsets);

    std::int32_t PlacesAhead() const;
    std::int32_t PlacesBehind() const;
};

/// Lays tables of one length on planes of one geometry. The four quadrants of a plane are mirror images, and
/// the radii are the same in every plane: radii are found once per object, samples once per quadrant. Planes
/// may be laid side by side from several threads.
class RadialLayout {
  public:
    /// stepsPerSample: table entries for one sample of radius. A radius at or beyond entry entries - 1 gives
    /// 0. Throws std::bad_alloc.
    RadialLayout(const GridAxis& columns, const GridAxis& rows, double stepsPerSample, std::size_t entries);

    /// Writes the offsets of both axes into a plane whose rows are rowLength floats apart; other places stay.
    /// Each sample is (1 - f) table[i] + f table[i + 1] in double, rounded to float.
    /// Where: AllThreads or CallingThread, who lays the rows.
    template <class Where>
    void Lay(const RadialTable& table, float* plane, std::int64_t rowLength) const {
        Where::For(rows_.offsets, [=, this, &table](std::int64_t v) { LayRows(table, v, plane, rowLength); });
    }

  private:
    void LayRows(const RadialTable& table, std::int64_t v, float* plane, std::int64_t rowLength) const;
    void Interpolate(const RadialTable& table, std::int64_t v, float* row) const;
    void CopySamples(const float* from, float* to) const;

    GridAxis columns_;
    GridAxis rows_;
    // The quadrant, row by row:
    std::vector<std::int32_t> entry_;    // table entry below the radius
    std::vector<double> fraction_;       // way from there to the next entry
    std::vector<std::int32_t> covered_;  // offsets of a row that lie inside the table
};

}  // namespace gnr::detail
