// SPDX-License-Identifier: MIT
#pragma once

// The pupil of the layered model: the optical path through the sample down to the focal plane, less the path
// through the immersion medium over the stage displacement.
//
//   e(rho, z) = exp(i k (d sqrt(A) - z sqrt(B))),  A = nS^2 - (NA rho)^2,  B = nI^2 - (NA rho)^2
//
// Where A or B is negative the roots are imaginary: that part of the pupil is evanescent, damped or grown
// and not turned.

#include <gnr_deconvolution/psf_3d.h>

#include <complex>
#include <vector>

namespace gnr::detail {

/// Optics of one call, in metres.
struct LayeredOptics {
    double aperture;        ///< NA
    double immersionIndex;  ///< nI
    double sampleIndex;     ///< nS
    double k;               ///< vacuum wave number
    double depth;           ///< d
    double alpha;           ///< half angle of the cone
    double g;               ///< alpha / NA
    double pitch;           ///< of samples in x and y
    double planePitch;
    bool inverted;  ///< the stage moves the other way

    explicit LayeredOptics(const SDiffractionParamsEx& params);

    /// Stage displacement of the plane that lies `planes` planes behind the one at `middle`.
    double Stage(double planes, double middle) const {
        return (inverted ? -planes : planes) * planePitch + middle;
    }
};

/// e(rho, z) at fixed nodes rho = q / nodes, q = 0 .. nodes - 1.
class LayeredPupil {
  public:
    /// Throws std::bad_alloc.
    LayeredPupil(const LayeredOptics& optics, int nodes);

    int Nodes() const { return static_cast<int>(nodes_.size()); }
    double Rho(int q) const { return q * (1.0 / Nodes()); }
    std::complex<double> Phasor(int q, double z) const;

    /// (1 / nodes) sum e(rho, z) rho / g: the amplitude on the axis.
    std::complex<double> OnAxis(double z) const;

  private:
    struct Node {
        bool propagating;                ///< neither root is imaginary
        std::complex<double> sample;     ///< sqrt(A)
        std::complex<double> immersion;  ///< sqrt(B)
    };

    double k_;
    double depth_;
    double g_;
    std::vector<Node> nodes_;
};

}  // namespace gnr::detail
