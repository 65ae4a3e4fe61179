// SPDX-License-Identifier: MIT
#pragma once

// The pupil integral of KERNEL3D_Airy, tabulated over the radius by Simpson's rule.

#include <gnr_deconvolution/psf_3d.h>

#include "psf/radial_table.h"

namespace gnr::detail {

/// Optics of one call.
class AiryIntegral {
  public:
    AiryIntegral(const SDiffractionParams& optics, float scale);

    /// Fills all entries of the plane that lies `planes` planes behind the focus; radii beyond reach become
    /// 0. Parallel over runs of radii.
    void Tabulate(int planes, double reach, RadialTable& table) const;

  private:
    /// Consecutive radii of one plane that share their number of Simpson intervals, hence their nodes.
    struct RadiusRun {
        int first;
        int count;
        int intervals;
    };
    /// The part of the integrand at a node t that no radius changes.
    struct Node {
        double t;
        double c;   ///< sqrt(1 + t^2)
        double re;  ///< Simpson weight times t / 2 times the phasor
        double im;
    };

    double LateralArgument(int radius) const;
    int Intervals(int planes, int radius) const;
    Node WeightedNode(double t, double weight, double defocus) const;
    void TabulateRun(const RadiusRun& run, double defocus, double* entries) const;

    double T_;           ///< tangent of the half angle
    double k_;           ///< wave number in the immersion medium, 1 / micrometres
    double aberration_;  ///< micrometres
    double pitch_;       ///< micrometres a sample
    double planePitch_;  ///< micrometres a plane
    double scale_;
};

}  // namespace gnr::detail
