// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>

#include "cores/wavelet_pyramid.h"
#include "detail/parallel.h"
#include "entries/wavelet_set_shape.h"

using namespace gnr::detail;

void SWaveletSet::Clear() {
    for (auto& levels : apfBands) std::fill(std::begin(levels), std::end(levels), nullptr);
}

int SWaveletSet::Allocate(unsigned x, unsigned y, unsigned z, unsigned levels) {
    uiX = x;
    uiY = y;
    uiZ = z;
    uiLevels = levels;
    if (levels > kLevelSlots) return gnr::kNotReady;
    const int code = AllocateBands(apfBands, ShapeOf(*this));
    if (code != gnr::kSuccess) Free();
    return code;
}

void SWaveletSet::Free() {
    FreeBands(apfBands);
}

void SWaveletSet::Copy(const SWaveletSet& from) {
    ForEachBand(ShapeOf(*this), [&](unsigned b, unsigned l, std::int64_t floats) {
        ParallelGroups(apfBands[b][l], from.apfBands[b][l], floats, [](Lanes4, Lanes4 v) { return v; });
    });
}

void SWaveletSet::AddScaled(const SWaveletSet& from, const double (&aDivisors)[8][5]) {
    ForEachBand(ShapeOf(*this), [&](unsigned b, unsigned l, std::int64_t floats) {
        const Lanes4 step(static_cast<float>(1.0 / aDivisors[b][l]));
        ParallelGroups(apfBands[b][l], from.apfBands[b][l], floats,
                       [step](Lanes4 w, Lanes4 g) { return w + step * g; });
    });
}

void SWaveletSet::Extrapolate(const SWaveletSet& before, float fFactor) {
    const Lanes4 factor(fFactor);
    ForEachBand(ShapeOf(*this), [&](unsigned b, unsigned l, std::int64_t floats) {
        ParallelGroups(apfBands[b][l], before.apfBands[b][l], floats,
                       [factor](Lanes4 w, Lanes4 previous) { return (w - previous) * factor + w; });
    });
}
