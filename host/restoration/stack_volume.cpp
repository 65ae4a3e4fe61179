// SPDX-License-Identifier: MIT
#include "restoration/stack_volume.h"

#include <cmath>

#include "io/file_error.h"

namespace rydecon {

void LoadStack(StackReader& reader, const std::filesystem::path& path, const PaddedVolume& volume) {
    const Extent shape = ShapeOf(reader.header());
    long long nonFinite = 0;
    for (int k = 0; k < shape.z; ++k) {
        reader.ReadPlane(k, volume.Plane(k), volume.sizes().rowLength);
        for (int j = 0; j < shape.y; ++j) {
            const float* const row = volume.Row(j, k);
            for (int i = 0; i < shape.x; ++i) nonFinite += std::isfinite(row[i]) ? 0 : 1;
        }
    }
    if (nonFinite > 0) {
        throw ReadError(
            path, std::to_string(nonFinite) + " samples are NaN or infinite; all must be finite numbers");
    }
}

}  // namespace rydecon
