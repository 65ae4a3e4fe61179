// SPDX-License-Identifier: MIT

// How large a volume a pattern needs, from the optics alone.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <cmath>

#include "psf/airy_reach.h"
#include "psf/truncation.h"

using gnr::detail::TruncateToInt32;
using gnr::detail::TruncateToUInt32;

namespace {

constexpr double kMetresPerNanometre = 1e-9;
constexpr double kMetresPerMicrometre = 1e-6;

/// Diameter of the third dark ring in units of lambda / NA, where most of the in-focus energy ends.
constexpr double kLateralExtent = 3.66;
/// Depth of field kept, in units of lambda n / NA^2.
constexpr double kAxialExtent = 7.2;

}  // namespace

unsigned long long FloatPSF3D::GetRecommendedXYSize(double dWavelengthNm, double dNA, double dXYPitchUm,
                                                    bool bWidefield) {
    const double d =
        (dWavelengthNm * kMetresPerNanometre * kLateralExtent / dNA) / (dXYPitchUm * kMetresPerMicrometre);
    return bWidefield ? std::max(TruncateToUInt32(3 * std::ceil(d)), 50u)
                      : std::max(TruncateToUInt32(std::ceil(d)), 5u);
}

unsigned long long FloatPSF3D::GetRecommendedZSize(double dWavelengthNm, double dRefractiveIndex, double dNA,
                                                   double dZPitchUm, bool bWidefield) {
    const double d =
        std::ceil(((dWavelengthNm * kMetresPerNanometre * kAxialExtent * dRefractiveIndex) / (dNA * dNA)) /
                  (dZPitchUm * kMetresPerMicrometre));
    return bWidefield ? std::max(TruncateToUInt32(d * 4.5), 8u) : std::max(TruncateToUInt32(d), 3u);
}

int FloatPSF3D::GuessPsfExtent(const SDiffractionParams* pParams, int iZ, float fScale) {
    return KERNEL3D_GuessAiryExtent(pParams, iZ, fScale);
}

int FloatPSF3D::KERNEL3D_GuessAiryExtent(const SDiffractionParams* pParams, int iZ, float fScale) {
    const int farthest = iZ / 2 + 1;
    const double reach = gnr::detail::AiryReach(*pParams, farthest * pParams->dZPitch, fScale);
    return TruncateToInt32((reach + 2.0) * 2.0);
}

int FloatPSF3D::FDCT_NtoM(int n) {
    const int m = TruncateToInt32(std::log(n) / std::log(2.0));
    return n <= std::ldexp(1.0, m) + 1 ? m : m + 1;
}
