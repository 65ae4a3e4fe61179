// SPDX-License-Identifier: MIT
#include "cores/wavelet_pyramid.h"

#include <gnr_deconvolution/return_codes.h>
#include <ry_math/ry_math.h>
#include <ry_system/alloc.h>

#include <algorithm>
#include <limits>

#include "detail/volume_geometry.h"

namespace gnr::detail {

namespace {

constexpr unsigned kMostLevels = 4;
/// Floats of each block of the workspace, in samples of the largest band.
constexpr unsigned kWorkOfBand[kWaveletBlocks] = {8, 8, 4, 4, 2, 2};

float* AllocateFloats(unsigned flags, std::uint64_t floats) {
    if (floats > std::numeric_limits<std::size_t>::max() / sizeof(float)) return nullptr;
    return static_cast<float*>(CRyAlloc::Alloc(flags, static_cast<std::size_t>(floats) * sizeof(float)));
}

std::uint64_t Product(std::uint64_t a, std::uint64_t b) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    return b != 0 && a > most / b ? most : a * b;
}

unsigned Side(std::int32_t side) {
    return static_cast<unsigned>(std::max(side, 0));
}

}  // namespace

unsigned WaveletLevels(std::int32_t planes) {
    return std::min((static_cast<std::uint32_t>(planes) >> 4) & 0xFFFu, kMostLevels);
}

PyramidShape ShapeOf(const DFT3D& s, unsigned levels) {
    return {Side(ImageColumns(s)), Side(s.rows), Side(s.planes), levels};
}

std::uint64_t BandFloats(const PyramidShape& shape, unsigned l) {
    return Product(Product(shape.x >> (l + 1), shape.y >> (l + 1)), shape.z >> (l + 1));
}

int AllocateBands(WaveletBands& bands, const PyramidShape& shape) {
    for (unsigned l = 0; l < shape.levels; ++l) {
        for (unsigned b = 0; b < kBands; ++b) {
            bands[b][l] = AllocateFloats(CRyAlloc::kZeroed, BandFloats(shape, l));
            if (bands[b][l] == nullptr) return kNotReady;
        }
    }
    return kSuccess;
}

void FreeBands(WaveletBands& bands) {
    for (auto& levels : bands) {
        for (float*& band : levels) {
            CRyAlloc::Free(band);
            band = nullptr;
        }
    }
}

int AllocateWork(WaveletWork& work, const PyramidShape& shape) {
    for (unsigned i = 0; i < kWaveletBlocks; ++i) {
        work[i] = AllocateFloats(0, Product(kWorkOfBand[i], BandFloats(shape, 0)));
        if (work[i] == nullptr) return kNotReady;
    }
    return kSuccess;
}

void FreeWork(WaveletWork& work) {
    for (float*& block : work) {
        CRyAlloc::Free(block);
        block = nullptr;
    }
}

int DecomposeVolume(const PyramidShape& shape, const WaveletFilters& filters, float* volume,
                    WaveletBands& bands, WaveletWork* work) {
    unsigned x = shape.x, y = shape.y, z = shape.z;
    float* input = volume;
    for (unsigned l = 0; l < shape.levels; ++l) {
        auto& b = bands;
        const int code =
            work != nullptr ? CRyWavelet3D::WaveletDecompositionImage8_Preallocated(
                                  b[0][l], b[1][l], b[2][l], b[3][l], b[4][l], b[5][l], b[6][l], b[7][l],
                                  (*work)[0], (*work)[1], (*work)[2], (*work)[3], (*work)[4], (*work)[5], x,
                                  y, z, input, x, y, z, filters.mother(), filters.father(), filters.length())
                            : CRyWavelet3D::WaveletDecompositionImage8(
                                  b[0][l], b[1][l], b[2][l], b[3][l], b[4][l], b[5][l], b[6][l], b[7][l], x,
                                  y, z, input, x, y, z, filters.mother(), filters.father(), filters.length());
        if (code != 0) return kNotReady;
        input = bands[kLowPassBand][l];
    }
    return kSuccess;
}

int ReconstructVolume(const PyramidShape& shape, const WaveletFilters& filters, WaveletBands& bands,
                      float* volume, WaveletWork* work) {
    unsigned x = shape.x >> shape.levels, y = shape.y >> shape.levels, z = shape.z >> shape.levels;
    for (unsigned l = shape.levels; l-- > 0;) {
        auto& b = bands;
        float* output = l == 0 ? volume : bands[kLowPassBand][l - 1];
        const int code =
            work != nullptr
                ? CRyWavelet3D::WaveletReconstructionImage8_Preallocated(
                      output, x, y, z, b[0][l], b[1][l], b[2][l], b[3][l], b[4][l], b[5][l], b[6][l], b[7][l],
                      (*work)[0], (*work)[1], (*work)[2], (*work)[3], (*work)[4], (*work)[5], x, y, z,
                      filters.mother(), filters.father(), filters.length())
                : CRyWavelet3D::WaveletReconstructionImage8(
                      output, x, y, z, b[0][l], b[1][l], b[2][l], b[3][l], b[4][l], b[5][l], b[6][l], b[7][l],
                      x, y, z, filters.mother(), filters.father(), filters.length());
        if (code != 0) return kNotReady;
    }
    return kSuccess;
}

}  // namespace gnr::detail
