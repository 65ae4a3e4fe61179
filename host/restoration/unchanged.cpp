// SPDX-License-Identifier: MIT
#include "restoration/unchanged.h"

#include <zlib.h>

#include <algorithm>
#include <vector>

#include "report/stop_request.h"

namespace rydecon {

std::uint32_t ChecksumOfStack(const PaddedVolume& volume, const Extent& shape) {
    uLong checksum = crc32_z(0, nullptr, 0);
    const std::size_t bytes = sizeof(float) * static_cast<std::size_t>(shape.x);
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) {
            checksum = crc32_z(checksum, reinterpret_cast<const Bytef*>(volume.Row(j, k)), bytes);
        }
    }
    return static_cast<std::uint32_t>(checksum);
}

bool EqualsPlanes(const PaddedVolume& volume, PlaneSource& planes, bool cut) {
    const Extent shape = planes.shape();
    std::vector<float> plane(static_cast<std::size_t>(shape.x) * static_cast<std::size_t>(shape.y));
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        planes.ReadPlane(k, plane.data(), shape.x);
        for (int j = 0; j < shape.y; ++j) {
            const float* const row = plane.data() + std::ptrdiff_t{j} * shape.x;
            const bool equal = std::equal(
                row, row + shape.x, volume.Row(j, k),
                [cut](float given, float found) { return (cut ? std::max(given, 0.0f) : given) == found; });
            if (!equal) return false;
        }
    }
    return true;
}

}  // namespace rydecon
