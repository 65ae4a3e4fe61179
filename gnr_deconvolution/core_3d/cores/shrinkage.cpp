// SPDX-License-Identifier: MIT
#include "cores/shrinkage.h"

#include <gnr_deconvolution/return_codes.h>

#include <cstdlib>

#include "detail/parallel.h"

namespace gnr::detail {

CyclicShift DrawShift(const PyramidShape& shape) {
    const auto draw = [](unsigned side) {
        return static_cast<std::int32_t>(static_cast<unsigned>(std::rand()) % side);
    };
    CyclicShift shift;
    shift.x = draw(shape.x);
    shift.y = draw(shape.y);
    shift.z = draw(shape.z);
    return shift;
}

int ShrinkByWavelets3D(const PyramidShape& shape, const WaveletFilters& filters, float* packed,
                       float threshold, WaveletBands& bands, WaveletWork& work) {
    if (const int code = DecomposeVolume(shape, filters, packed, bands, &work); code != kSuccess) return code;
    const Shrinkage shrink(threshold);
    ForEachShrunkBand(shape, [&](unsigned b, unsigned l, std::int64_t floats) {
        ParallelGroups(bands[b][l], floats, shrink);
    });
    return ReconstructVolume(shape, filters, bands, packed, &work);
}

}  // namespace gnr::detail
