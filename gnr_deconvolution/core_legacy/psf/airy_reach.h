// SPDX-License-Identifier: MIT
#pragma once

// Where the pattern of KERNEL3D_Airy ends, shared by the kernel and by the guess of its extent.

#include <gnr_deconvolution/psf_3d.h>

#include <cmath>

namespace gnr::detail {

/// Tangent of the half angle of the cone of light. An aperture at or above the refractive index counts as a
/// right angle.
inline double HalfAngleTangent(const SDiffractionParams& optics) {
    const double sine = optics.dNA / optics.dRefractiveIndex;
    return std::tan(std::asin(sine < 1 ? sine : 1.0));
}

/// Radius in samples beyond which the pattern counts as 0 at a defocus (micrometres): the geometrical cone
/// and twenty Rayleigh radii, at least 2.
inline double AiryReach(const SDiffractionParams& optics, double defocus, float scale) {
    const double cone = std::abs(defocus) * HalfAngleTangent(optics) / optics.dXYPitch;
    const double rayleigh = (optics.dWavelength * 0.61) / (scale * optics.dXYPitch * optics.dNA);
    const double reach = cone + rayleigh * 20.0;
    return reach < 2.0 ? 2.0 : reach;
}

}  // namespace gnr::detail
