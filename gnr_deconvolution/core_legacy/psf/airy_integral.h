// SPDX-License-Identifier: MIT
#pragma once

// The pupil integral of KERNEL3D_Airy, tabulated over the radius by Simpson's rule.
//
// The Bessel factor of a node depends on the radius and not on the plane, the phasor on the plane and not on
// the radius. Planes and radii that share their number of intervals share their nodes, so all planes are
// tabulated together and both factors evaluated once.

#include <gnr_deconvolution/psf_3d.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "psf/radial_table.h"

namespace gnr::detail {

/// A plane to tabulate.
struct AiryPlane {
    int offset;    ///< planes behind the focus
    double reach;  ///< radii beyond, in samples, are 0
    RadialTable table;
};

/// Optics of one call.
class AiryIntegral {
  public:
    AiryIntegral(const SDiffractionParams& optics, float scale);

    /// Fills the tables of all planes, `entries` entries each. Parallel over runs of radii. Throws
    /// std::bad_alloc.
    void Tabulate(std::vector<AiryPlane>& planes, std::size_t entries) const;

  private:
    /// Consecutive radii that one thread integrates.
    struct RadiusRun {
        int first;
        int count;
    };
    struct NodeBlock;
    using Sums = std::vector<std::complex<double>>;

    double LateralArgument(int radius) const;
    int Intervals(int offset, int radius) const;
    std::int64_t NextIntervals(const std::vector<AiryPlane>& planes, const RadiusRun& run,
                               std::int64_t after) const;
    bool Shares(const AiryPlane& plane, int radius, std::int64_t intervals) const;
    void IntegrateRun(const std::vector<AiryPlane>& planes, const RadiusRun& run,
                      std::vector<Sums>& sums) const;
    void AddNodes(const std::vector<AiryPlane>& planes, const RadiusRun& run, NodeBlock& block,
                  std::vector<Sums>& sums) const;
    void EvaluatePhasors(int offset, NodeBlock& block) const;

    double T_;           ///< tangent of the half angle
    double k_;           ///< wave number in the immersion medium, 1 / micrometres
    double aberration_;  ///< micrometres
    double pitch_;       ///< micrometres a sample
    double planePitch_;  ///< micrometres a plane
    double scale_;
};

}  // namespace gnr::detail
