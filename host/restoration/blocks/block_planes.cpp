// SPDX-License-Identifier: MIT
#include "restoration/blocks/block_planes.h"

#include <algorithm>

namespace rydecon {

BlockPlanes::BlockPlanes(PlaneSource& from, const BlockGrid& grid, const Preparation& preparation)
    : from_(from),
      grid_(grid),
      preparation_(preparation),
      plane_(RoomOf({from.shape().x, from.shape().y, 1})) {}

void BlockPlanes::ReadPlane(int block, int k, float* rows, std::ptrdiff_t rowStride) {
    const Box box = grid_.Read(block);
    const int width = from_.shape().x;
    from_.ReadPlane(box.z.begin + k, plane_.data(), width);
    for (int j = 0; j < box.y.length(); ++j) {
        const float* const row = plane_.data() + std::ptrdiff_t{box.y.begin + j} * width + box.x.begin;
        std::copy_n(row, box.x.length(), rows + j * rowStride);
        preparation_.Apply(rows + j * rowStride, box.x.length());
    }
}

void UsedPlanes::WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) {
    const Box read = grid_.Read(block_);
    const Box used = grid_.Used(block_);
    const int plane = k + read.z.begin - used.z.begin;
    if (plane < 0 || plane >= used.z.length()) return;
    to_.WritePlane(plane, rows + (used.y.begin - read.y.begin) * rowStride + (used.x.begin - read.x.begin),
                   rowStride);
}

}  // namespace rydecon
