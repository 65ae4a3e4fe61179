// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>

#include <cmath>
#include <cstdint>

namespace {

constexpr double kHalfPi = 1.5707963267948966;

/// Second difference along both axes: the 3 x 3 mask 1 -2 1 / -2 4 -2 / 1 -2 1, blind to any image that is
/// linear in x or in y. up, middle and down point at the mask's left column.
double MaskResponse(const float* up, const float* middle, const float* down) {
    const double corners = ((static_cast<double>(up[2]) + up[0]) + down[0]) + down[2];
    const double edges = ((static_cast<double>(middle[0]) + up[1]) + middle[2]) + down[1];
    return (corners - edges * 2) + static_cast<double>(middle[1]) * 4;
}

/// Columns that the sums leave out: two padding columns of a volume row and two of the mask.
constexpr std::int64_t kMargin = 4;

}  // namespace

double CRy3DDeconvolutionLow::GetMyImmerkaerNoiseEstimationFloat(float* p, int iWidth, int iHeight) {
    if (iHeight <= 2) return 0.0;

    double sum = 0.0;
    for (std::int64_t y = 0; y < std::int64_t{iHeight} - 2; ++y) {
        const float* const row = p + y * iWidth;
        for (std::int64_t x = 0; x < iWidth - kMargin; ++x) {
            sum += std::fabs(MaskResponse(row + x, row + iWidth + x, row + 2 * std::int64_t{iWidth} + x));
        }
    }
    // deliberate: iWidth - 4 where the published divisor has the width less 2
    const double positions = (static_cast<double>(iHeight) - 2) * 6 * (static_cast<double>(iWidth) - kMargin);
    const double deviation = sum * (std::sqrt(kHalfPi) / positions);
    return deviation * deviation;
}
