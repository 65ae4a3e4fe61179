// SPDX-License-Identifier: MIT
#pragma once

// The transform of a volume in one sweep: rows are filtered along z into rings of a few rows, from there
// along y and x while they are in the cache. Each sample goes to and from memory once.

#include <array>
#include <cstddef>

#include "filter_pair.h"
#include "parallel.h"
#include "row_pair.h"
#include "sample_loops.h"
#include "volume_geometry.h"

namespace gnr::detail {

/// Bands of a volume, by number: bit 0, 1, 2 set where low-pass along x, y, z.
inline constexpr std::size_t kVolumeBands = 8;

/// Scratch of all tasks: two blocks of Tasks() rings and one of Tasks() work areas.
template <class T>
struct VolumeScratch {
    T* ring0;
    T* ring1;
    T* work;
};

template <class T>
class VolumeAnalysis {
  public:
    VolumeAnalysis(const VolumeGeometry& geometry, const FilterPair<T>& analysis, const T* volume,
                   const std::array<T*, kVolumeBands>& bands)
        : geometry_(geometry), analysis_(analysis), volume_(volume), bands_(bands) {}

    void Run(const VolumeScratch<T>& scratch) const {
        ParallelRanges(geometry_.Tasks(), geometry_.WorthThreads(), [&](std::size_t first, std::size_t last) {
            const Rings rings = {scratch.ring1 + first * geometry_.RingSize(),
                                 scratch.ring0 + first * geometry_.RingSize()};
            T* const work = scratch.work + first * geometry_.WorkSize();
            for (std::size_t task = first; task < last; ++task) MakeStrip(task, rings, work);
        });
    }

  private:
    using Rings = std::array<T*, 2>;  ///< rows that are high-pass and low-pass along z

    void MakeStrip(std::size_t task, const Rings& rings, T* work) const {
        const VolumeGeometry& s = geometry_;
        const std::size_t first = s.FirstRow(task);
        const std::size_t last = s.LastRow(task);
        const std::size_t ahead = analysis_.taps / 2;
        // Where the ring holds the whole plane no row is made twice.
        const std::size_t end = s.ringRows == s.bandRows ? first + s.bandRows : last + ahead;
        std::size_t next = first;
        for (std::size_t row = first; row < last; ++row) {
            for (; next < std::min(row + ahead, end); ++next) FilterAlongZ(task, next, rings);
            MakeBandRows(task, row, rings, work);
        }
    }

    /// The two volume rows 2 * pair and 2 * pair + 1 (periodic) into their place in the rings.
    void FilterAlongZ(std::size_t task, std::size_t pair, const Rings& rings) const {
        const VolumeGeometry& s = geometry_;
        const std::size_t planes = 2 * s.bandPlanes;
        const T* const top = volume_ + pair % s.bandRows * 2 * s.RowLength();
        std::array<const T*, kMaxTaps> rows;
        for (std::size_t n = 0; n < analysis_.taps; ++n) {
            rows[n] = top + (2 * s.BandPlane(task) + n) % planes * s.PlaneSize();
        }
        const std::size_t place = pair % s.ringRows * 2 * s.RowLength();
        WeightedSums(rows.data(), analysis_, rings[1] + place, rings[0] + place, 2 * s.RowLength());
    }

    /// Row `row` of all eight bands from the rings.
    void MakeBandRows(std::size_t task, std::size_t row, const Rings& rings, T* work) const {
        const VolumeGeometry& s = geometry_;
        const std::size_t place = s.BandPlane(task) * s.BandPlaneSize() + row * s.half;
        for (std::size_t lowZ = 0; lowZ < 2; ++lowZ) {
            std::array<const T*, kMaxTaps> rows;
            for (std::size_t n = 0; n < analysis_.taps; ++n) {
                const std::size_t slot = 2 * ((row + n / 2) % s.ringRows) + n % 2;
                rows[n] = rings[lowZ] + slot * s.RowLength();
            }
            std::array<T*, kPlaneBands> bandRows;
            for (std::size_t b = 0; b < kPlaneBands; ++b)
                bandRows[b] = bands_[kPlaneBands * lowZ + b] + place;
            AnalyzeRowPair(rows.data(), s.half, analysis_, work, bandRows);
        }
    }

    const VolumeGeometry& geometry_;
    const FilterPair<T>& analysis_;
    const T* const volume_;
    const std::array<T*, kVolumeBands> bands_;
};

template <class T>
class VolumeSynthesis {
  public:
    VolumeSynthesis(const VolumeGeometry& geometry, const FilterPair<T>& synthesis,
                    const std::array<const T*, kVolumeBands>& bands, T* volume)
        : geometry_(geometry), synthesis_(synthesis), bands_(bands), volume_(volume) {}

    void Run(const VolumeScratch<T>& scratch) const {
        ParallelRanges(geometry_.Tasks(), geometry_.WorthThreads(), [&](std::size_t first, std::size_t last) {
            const Rings rings = {scratch.ring0 + first * geometry_.RingSize(),
                                 scratch.ring1 + first * geometry_.RingSize()};
            T* const work = scratch.work + first * geometry_.WorkSize();
            for (std::size_t task = first; task < last; ++task) MakeStrip(task, rings, work);
        });
    }

  private:
    using Rings = std::array<T*, 2>;  ///< rows of the even plane and of the odd one, plane band by plane band

    void MakeStrip(std::size_t task, const Rings& rings, T* work) const {
        const VolumeGeometry& s = geometry_;
        const std::size_t reach = synthesis_.taps / 2 - 1;
        // Row numbers run one period or more ahead, so that the rows above the strip have no negative number.
        const std::size_t ahead = (reach / s.bandRows + 1) * s.bandRows;
        const std::size_t first = s.FirstRow(task) + ahead;
        const std::size_t last = s.LastRow(task) + ahead;
        // Where the ring holds the whole plane no row is made twice.
        const std::size_t end = s.ringRows == s.bandRows ? first - reach + s.bandRows : last;
        std::size_t next = first - reach;
        for (std::size_t row = first; row < last; ++row) {
            for (; next < std::min(row + 1, end); ++next) FilterAlongZ(task, next, rings);
            for (std::size_t odd = 0; odd < 2; ++odd) MakeVolumeRows(task, odd, row, rings[odd], work);
        }
    }

    const T* RingRow(const T* ring, std::size_t band, std::size_t row) const {
        return ring + (band * geometry_.ringRows + row % geometry_.ringRows) * geometry_.half;
    }

    /// Row `row` (periodic) of the four plane bands of both planes into their place in the rings.
    void FilterAlongZ(std::size_t task, std::size_t row, const Rings& rings) const {
        const VolumeGeometry& s = geometry_;
        std::array<std::size_t, kMaxTaps / 2> places;
        const std::size_t reach = synthesis_.taps / 2 - 1;
        const std::size_t planes = (reach / s.bandPlanes + 1) * s.bandPlanes + s.BandPlane(task);
        for (std::size_t n = 0; n <= reach; ++n) {
            places[n] = (planes - n) % s.bandPlanes * s.BandPlaneSize() + row % s.bandRows * s.half;
        }
        for (std::size_t b = 0; b < kPlaneBands; ++b) {
            std::array<const T*, kMaxTaps> rows;
            for (std::size_t n = 0; n <= reach; ++n) {
                rows[2 * n] = bands_[kPlaneBands + b] + places[n];
                rows[2 * n + 1] = bands_[b] + places[n];
            }
            const std::size_t slot = (b * s.ringRows + row % s.ringRows) * s.half;
            WeightedSums(rows.data(), synthesis_, rings[0] + slot, rings[1] + slot, s.half);
        }
    }

    /// The rows 2 * row and 2 * row + 1 (periodic) of one plane of the volume from its ring.
    void MakeVolumeRows(std::size_t task, std::size_t odd, std::size_t row, const T* ring, T* work) const {
        const VolumeGeometry& s = geometry_;
        std::array<const T*, kMaxTaps> rowsHighX, rowsLowX;
        for (std::size_t n = 0; n < synthesis_.taps; ++n) {
            const std::size_t lowY = n % 2 == 0 ? 2 : 0;
            rowsHighX[n] = RingRow(ring, lowY, row - n / 2);
            rowsLowX[n] = RingRow(ring, lowY + 1, row - n / 2);
        }
        const std::size_t plane = 2 * s.BandPlane(task) + odd;
        T* const even = volume_ + plane * s.PlaneSize() + row % s.bandRows * 2 * s.RowLength();
        SynthesizeRowPair(rowsHighX.data(), rowsLowX.data(), s.half, synthesis_, work, even);
    }

    const VolumeGeometry& geometry_;
    const FilterPair<T>& synthesis_;
    const std::array<const T*, kVolumeBands> bands_;
    T* const volume_;
};

}  // namespace gnr::detail
