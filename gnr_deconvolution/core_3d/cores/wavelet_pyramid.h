// SPDX-License-Identifier: MIT
#pragma once

// Wavelet pyramids of packed volumes: eight bands a level, band 7 of a level being the input of the next.

#include <gnr_deconvolution/kernels_3d.h>

#include <cstdint>

#include "cores/wavelet_filters.h"

namespace gnr::detail {

inline constexpr unsigned kBands = 8;
inline constexpr unsigned kLowPassBand = 7;
inline constexpr unsigned kLevelSlots = 5;
inline constexpr unsigned kWaveletBlocks = 6;

/// Bands by number and level; slots that are not in use are null.
using WaveletBands = float* [kBands][kLevelSlots];
/// Scratch of one transform of the whole volume; sizes as CRyWavelet3D states them.
using WaveletWork = float* [kWaveletBlocks];

/// Sides of the packed volume, and how often it is halved.
struct PyramidShape {
    unsigned x = 0;
    unsigned y = 0;
    unsigned z = 0;
    unsigned levels = 0;

    bool DivisibleByLevels() const {
        const unsigned block = 1u << levels;
        return x % block == 0 && y % block == 0 && z % block == 0;
    }
};

/// One level for every whole 16 planes, at most 4; of the planes only the lowest 16 bits count.
unsigned WaveletLevels(std::int32_t planes);

/// The image columns of a padded volume; sides below 0 count as 0.
PyramidShape ShapeOf(const DFT3D& s, unsigned levels);

/// Floats of one band of level l; the greatest number where that does not fit 64 bits.
std::uint64_t BandFloats(const PyramidShape& shape, unsigned l);

/// Zeroed bands for all levels; kNotReady at once where one cannot be had, the others staying until
/// FreeBands.
int AllocateBands(WaveletBands& bands, const PyramidShape& shape);
/// Frees what is there and nulls every slot.
void FreeBands(WaveletBands& bands);

/// Likewise for the workspace of transforms of this shape.
int AllocateWork(WaveletWork& work, const PyramidShape& shape);
void FreeWork(WaveletWork& work);

/// f(b, l, floats) for each band of each level, level by level.
template <class F>
void ForEachBand(const PyramidShape& shape, F f) {
    for (unsigned l = 0; l < shape.levels; ++l) {
        const auto floats = static_cast<std::int64_t>(BandFloats(shape, l));
        for (unsigned b = 0; b < kBands; ++b) f(b, l, floats);
    }
}

/// Fills the bands from the packed volume. kSuccess, or kNotReady where a transform refused. Without `work`
/// each transform allocates its own.
int DecomposeVolume(const PyramidShape& shape, const WaveletFilters& filters, float* volume,
                    WaveletBands& bands, WaveletWork* work = nullptr);

/// The inverse, from the deepest level upwards; overwrites band 7 of every level but the deepest. Without
/// levels the volume stays.
int ReconstructVolume(const PyramidShape& shape, const WaveletFilters& filters, WaveletBands& bands,
                      float* volume, WaveletWork* work = nullptr);

}  // namespace gnr::detail
