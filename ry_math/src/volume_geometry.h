// SPDX-License-Identifier: MIT
#pragma once

// How a volume's transform is cut into tasks, and how much scratch a task needs. A task makes one strip of
// rows of one band plane, in all eight bands; tasks are numbered along z within a strip, so that the planes
// on which neighbouring tasks both draw are still in the cache.

#include <algorithm>
#include <cstddef>

namespace gnr::detail {

/// Sizes of a level by those of its bands.
struct VolumeGeometry {
    std::size_t half;        ///< samples of a band row; a row of the volume has twice as many
    std::size_t bandRows;    ///< rows of a band plane
    std::size_t bandPlanes;  ///< planes of a band
    std::size_t ringRows;    ///< band rows of which a ring holds the z-filtered form
    std::size_t stripRows;   ///< band rows of a strip, at least ringRows
    std::size_t strips;

    VolumeGeometry(std::size_t x, std::size_t y, std::size_t z, std::size_t taps, std::size_t sampleBytes)
        : half(x), bandRows(y), bandPlanes(z), ringRows(std::min(taps / 2, y)) {
        // The part of the planes under the filter that a strip draws on is to stay in the second-level cache.
        constexpr std::size_t kCacheBytes = std::size_t{512} * 1024;
        constexpr std::size_t kFewestRows = 8;
        const std::size_t rowsInCache = kCacheBytes / (taps * 4 * half * sampleBytes);
        const std::size_t fewest = std::max(kFewestRows, taps / 2);
        const std::size_t reach = taps / 2 - 1;
        const std::size_t wanted = std::max(fewest, rowsInCache > reach ? rowsInCache - reach : 0);
        strips = std::max<std::size_t>(1, bandRows / wanted);
        stripRows = (bandRows + strips - 1) / strips;
        strips = (bandRows + stripRows - 1) / stripRows;
    }

    std::size_t RowLength() const { return 2 * half; }
    std::size_t PlaneSize() const { return 4 * half * bandRows; }
    std::size_t BandPlaneSize() const { return half * bandRows; }
    std::size_t Samples() const { return 2 * PlaneSize() * bandPlanes; }

    std::size_t Tasks() const { return strips * bandPlanes; }
    std::size_t FirstRow(std::size_t task) const { return task / bandPlanes * stripRows; }
    std::size_t LastRow(std::size_t task) const { return std::min(bandRows, FirstRow(task) + stripRows); }
    std::size_t BandPlane(std::size_t task) const { return task % bandPlanes; }

    /// Scratch of a task: two rings and a work area. Over all tasks a ring takes no more than the volume has
    /// samples, and the work area no more than half of that, because no strip but the last is shorter than a
    /// ring.
    std::size_t RingSize() const { return 4 * ringRows * half; }
    std::size_t WorkSize() const { return 4 * half; }

    /// Below this many samples a fork costs as much as it saves.
    static constexpr std::size_t kForkSamples = 16384;
    bool WorthThreads() const { return Samples() >= kForkSamples; }
};

}  // namespace gnr::detail
