// SPDX-License-Identifier: MIT
#include "cleaning/hot_pixels.h"

#include <algorithm>
#include <cstddef>

#include "cleaning/plane_filters.h"

namespace rydecon {

namespace {

/// Up to three planes of one size around a sample.
struct Surroundings {
    std::array<const float*, 3> planes{};
    std::size_t count = 0;
    int width = 0;
    int height = 0;
};

/// The neighbours of one sample.
struct Ring {
    std::array<float, 24> samples;
    std::size_t count = 0;

    Ring(const Surroundings& around, int i, int j) {
        for (std::size_t p = 0; p < around.count; ++p) {
            for (int b = std::max(j - 1, 0); b <= std::min(j + 1, around.height - 1); ++b) {
                for (int a = std::max(i - 1, 0); a <= std::min(i + 1, around.width - 1); ++a) {
                    if (a == i && b == j) continue;
                    samples[count++] = around.planes[p][std::ptrdiff_t{b} * around.width + a];
                }
            }
        }
        std::sort(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
    }

    float Largest() const { return samples[count - 1]; }
    float Median() const {
        const float upper = samples[count / 2];
        return count % 2 == 1 ? upper : 0.5f * (samples[count / 2 - 1] + upper);
    }
};

/// False where the samples beside it show that it is not hot. With both of them within 7/8 of `least` below it,
/// an excess of kHotTimesNeighbours times theirs would be less than `least`.
bool MayBeHot(const float* row, int i, int width, float least) {
    const float floor = row[i] - least * (1.0f - 1.0f / kHotTimesNeighbours);
    const bool left = i > 0;
    const bool right = i + 1 < width;
    if ((left && row[i - 1] >= row[i]) || (right && row[i + 1] >= row[i])) return false;
    return !left || !right || row[i - 1] < floor || row[i + 1] < floor;
}

}  // namespace

RepairedPlanes::RepairedPlanes(PlaneSource& from, double least, bool alone)
    : from_(from), least_(static_cast<float>(least)), alone_(alone) {}

const std::vector<float>& RepairedPlanes::Raw(int k) {
    const Extent shape = from_.shape();
    Held& held = held_[static_cast<std::size_t>(k % 3)];
    if (held.plane != k) {
        held.samples.resize(static_cast<std::size_t>(shape.x) * static_cast<std::size_t>(shape.y));
        from_.ReadPlane(k, held.samples.data(), shape.x);
        held.plane = k;
    }
    return held.samples;
}

void RepairedPlanes::ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) {
    const Extent shape = from_.shape();
    const float* const own = Raw(k).data();
    Surroundings around{{own}, 1, shape.x, shape.y};
    if (!alone_ && k > 0) around.planes[around.count++] = Raw(k - 1).data();
    if (!alone_ && k + 1 < shape.z) around.planes[around.count++] = Raw(k + 1).data();
    replaced_ = 0;
    for (int j = 0; j < shape.y; ++j) {
        const float* const from = own + std::ptrdiff_t{j} * shape.x;
        float* const to = rows + j * rowStride;
        std::copy_n(from, shape.x, to);
        for (int i = 0; i < shape.x; ++i) {
            if (!MayBeHot(from, i, shape.x, least_)) continue;
            const Ring ring(around, i, j);
            if (ring.count == 0) continue;
            const float median = ring.Median();
            const float excess = from[i] - median;
            if (!(excess > least_ && excess > kHotTimesNeighbours * (ring.Largest() - median))) continue;
            to[i] = median;
            ++replaced_;
        }
    }
}

double NoiseLevel(PlaneSource& from) {
    const Extent shape = from.shape();
    TrimmedSquares squares;
    ForEachPlane(from, [&](const float* plane, int) {
        for (int j = 1; j + 1 < shape.y; ++j) {
            for (int i = 1; i + 1 < shape.x; ++i) squares.Add(HighPass(plane, shape.x, i, j, 1));
        }
    });
    return squares.Rms();
}

}  // namespace rydecon
