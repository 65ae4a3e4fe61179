// SPDX-License-Identifier: MIT

// The radial Gaussian of a simple model PSF, one plane.

#include <gnr_deconvolution/kernels_3d.h>

#include <cmath>
#include <cstdint>

namespace {

constexpr double kPi = 3.1415926535898;
/// A row ends with its first value below this.
constexpr double kCutOff = 1e-10;

}  // namespace

void CRy3DDeconvolutionLow::INLINE_GaussSimpleHat(float* p, int iWidth, int iHeight, double dSigma) {
    const double a = 1 / (dSigma * dSigma);
    const double b = 1 / (dSigma * dSigma * kPi);
    for (std::int64_t y = 0; y < iHeight; ++y) {
        float* const row = p + y * iWidth;
        for (std::int64_t x = 0; x < iWidth; ++x) {
            const double squaredRadius = static_cast<double>(x * x + y * y);
            row[x] = static_cast<float>(std::exp(-squaredRadius * a) * b);
            if (static_cast<double>(row[x]) < kCutOff) break;
        }
    }
}

void CRy3DDeconvolutionLow::INLINE_GaussHat(float* p, int iWidth, int iHeight, int /*iDepth*/,
                                            double dSigma) {
    INLINE_GaussSimpleHat(p, iWidth, iHeight, dSigma);
}
