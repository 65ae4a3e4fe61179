// SPDX-License-Identifier: MIT
#include "cores/shrinkage.h"

#include <gnr_deconvolution/return_codes.h>

#include <cstdlib>

#include "detail/parallel.h"

namespace gnr::detail {

void SoftThreshold(float* p, std::int64_t n, float threshold) {
    const Lanes4 t(threshold);
    ParallelGroups(p, n, [t](Lanes4 v) { return Select(v > t, v - t, SelectOrZero(v < -t, v + t)); });
}

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
    // deliberate: the approximation, band 7 of the deepest level, is shrunk like any other band. Above it
    // band 7 is rebuilt from below, so there is nothing to shrink.
    ForEachBand(shape, [&](unsigned b, unsigned l, std::int64_t floats) {
        if (b == kLowPassBand && l + 1 < shape.levels) return;
        SoftThreshold(bands[b][l], floats, threshold);
    });
    return ReconstructVolume(shape, filters, bands, packed, &work);
}

}  // namespace gnr::detail
