// SPDX-License-Identifier: MIT
#pragma once

// What the Landweber tests share: how far rounding may carry a run, progress of the one-call entries, and
// sample-wise twins for a PSF that is one sample of some height.

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "support/progress_log.h"
#include "support/ref/from_volume.h"
#include "support/ref/landweber_step.h"
#include "support/restoration_job.h"

namespace gnr::test {

inline double LargestDifference(const ref::PaddedVolume& a, const ref::PaddedVolume& b) {
    double largest = 0;
    ForImageColumns(a, [&](int i, int j, int k) {
        largest = std::max(largest, std::abs(a.at(i, j, k) - b.at(i, j, k)));
    });
    return largest;
}

/// A pair of transforms in single precision errs by a few last digits of the largest sample; so much is put
/// onto every stage of a disturbed twin.
inline ref::Disturbance SinglePrecision(const ref::PaddedVolume& v, unsigned seed) {
    const double samples = static_cast<double>(v.nx) * v.ny * v.nz;
    return {0.25 * std::numeric_limits<float>::epsilon() * (std::log2(samples) + 1.0), seed};
}

/// How far single precision may carry a run from its exact twin: four times what disturbances of its size do
/// in three disturbed runs, and a few last digits of the largest sample for the constants rounded beforehand.
/// `twin` runs the twin with a disturbance and gives its image.
template <class Twin>
double RoundingTolerance(const ref::PaddedVolume& exact, Twin twin) {
    double moved = 0;
    for (unsigned seed = 1; seed <= 3; ++seed) {
        moved = std::max(moved, LargestDifference(exact, twin(SinglePrecision(exact, seed))));
    }
    double largest = 0;
    ForImageColumns(exact,
                    [&](int i, int j, int k) { largest = std::max(largest, std::abs(exact.at(i, j, k))); });
    return 4 * moved + 8 * std::numeric_limits<float>::epsilon() * largest;
}

/// Progress of an entry that takes its callback as an argument.
struct EntryLog {
    explicit EntryLog(int stopAt = -1, int answer = 1) : log(stopAt, answer) {}

    static RyProgressCallback callback() { return &ProgressLog::Record; }
    void* pointer() { return &log; }

    ProgressLog log;
};

inline std::vector<ProgressReport> ReportsOf(const std::vector<ERyProgressPhase>& phases) {
    std::vector<ProgressReport> calls;
    for (const ERyProgressPhase phase : phases) calls.push_back(ReportOf(phase));
    return calls;
}

/// One sample of the given height at the origin: the blur is a multiplication, every sample goes its own way.
inline Volume HighImpulse(int x, int y, int z, float height) {
    Volume psf = ImpulsePsf(x, y, z);
    psf.at(0, 0, 0) = height;
    return psf;
}

/// A narrow peak and a ripple of one period along x and one, running backwards, along z: on the grid of a
/// band its half spectrum lies in the last plane.
inline Volume RipplePsf(int x, int y, int z) {
    Volume psf = AsymmetricPsf(x, y, z, 0.5, 0.4);
    const double height = 1.6 / (x * y * z);
    return psf.Fill([&](int i, int j, int k) {
        const double turns = static_cast<double>(i) / x - static_cast<double>(k) / z;
        return psf.at(i, j, k) + height * std::cos(2 * std::numbers::pi * turns);
    });
}

/// Bound of sample-wise twins: a few last digits for each iteration, times how far its extrapolation reaches.
inline double SampleTolerance(double steps, double largest) {
    return 16 * (1 + steps) * std::numeric_limits<float>::epsilon() * largest;
}

}  // namespace gnr::test
