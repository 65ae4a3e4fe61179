// SPDX-License-Identifier: MIT
#include "kernels/band_pyramid.h"

#include <ry_math/wavelet_2d.h>

#include <algorithm>

namespace gnr::detail {

BandPyramid::BandPyramid(unsigned W, unsigned H) : W_(W), H_(H) {
    ForEachPictureBand([this](unsigned b, unsigned l) {
        bands_[l][b] = NewFrame<double>(Width(l), Height(l), Contents::kUnknown);
    });
}

BandPyramid::operator bool() const {
    return std::all_of(bands_.begin(), bands_.end(), [](const auto& level) {
        return std::all_of(level.begin(), level.end(), [](const auto& band) { return band != nullptr; });
    });
}

bool BandPyramid::Decompose(const PictureFilters& filters, double* picture) const {
    double* input = picture;
    for (unsigned l = 0; l < kPictureLevels; ++l) {
        double* bands[kPictureBands] = {Band(0, l), Band(1, l), Band(2, l), Band(3, l)};
        unsigned width = 0;
        unsigned height = 0;
        if (CRyWavelet2D::WaveletDecompositionImage(bands[0], bands[1], bands[2], bands[3], width, height,
                                                    input, W_ >> l, H_ >> l, filters.mother(),
                                                    filters.father(), filters.length()) != 0) {
            return false;
        }
        input = Band(kApproximation, l);
    }
    return true;
}

bool BandPyramid::Reconstruct(const PictureFilters& filters, double* picture) const {
    for (unsigned l = kPictureLevels; l-- > 0;) {
        double* output = l == 0 ? picture : Band(kApproximation, l - 1);
        unsigned width = 0;
        unsigned height = 0;
        if (CRyWavelet2D::WaveletReconstructionImage(
                output, width, height, Band(0, l), Band(1, l), Band(2, l), Band(3, l), Width(l), Height(l),
                filters.mother(), filters.father(), filters.length()) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace gnr::detail
