// SPDX-License-Identifier: MIT
#include "cleaning/thinned_planes.h"

#include <algorithm>
#include <cmath>

#include "random/random_numbers.h"

namespace rydecon {

namespace {

/// Far from the streams that made the noise of a simulation of the same seed.
constexpr std::uint64_t kFirstStream = std::uint64_t{1} << 40;

}  // namespace

double PhotonsOf(float sample, const PhotonScale& scale) {
    return std::max(0.0, std::round((double{sample} - scale.offset) / scale.gain));
}

void ThinnedPlanes::ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) {
    const Extent size = shape();
    RandomNumbers random(seed_, kFirstStream + static_cast<std::uint64_t>(k));
    from_.ReadPlane(k, rows, rowStride);
    for (int j = 0; j < size.y; ++j) {
        float* const row = rows + j * rowStride;
        for (int i = 0; i < size.x; ++i) {
            const double photons = PhotonsOf(row[i], scale_);
            const double heads = random.FairHeads(photons);
            const double own = half_ == Half::First ? heads : photons - heads;
            row[i] = static_cast<float>(scale_.offset + 2.0 * scale_.gain * own);
        }
    }
}

}  // namespace rydecon
