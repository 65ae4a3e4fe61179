// SPDX-License-Identifier: MIT

// Diffraction pattern with defocus and a fourth-order spherical aberration.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "detail/parallel.h"
#include "psf/airy_integral.h"
#include "psf/airy_reach.h"
#include "psf/psf_progress.h"
#include "psf/psf_volume.h"
#include "psf/radial_table.h"
#include "psf/truncation.h"

using namespace gnr::detail;

namespace {

/// Planes about the focus that are computed; the band widens as the aperture falls.
struct Band {
    int first;
    int last;

    Band(double aperture, int planes) {
        const int focus = planes / 2;
        const int halfWidth = TruncateToInt32(std::max(1.5 - aperture, 0.0) * 10.0 + 2.0 + 0.5);
        first = std::max(focus - halfWidth, 0);
        last = static_cast<int>(std::min(std::int64_t{focus} + halfWidth, std::int64_t{planes}));
    }
    bool Holds(int z) const { return z >= first && z <= last; }
};

/// Entries that reach from the middle of a plane to its corner and one further.
std::size_t EntriesToCorner(int width, int rows) {
    const double halfWidth = width / 2;
    const double halfRows = rows / 2;
    return static_cast<std::size_t>(std::sqrt(halfRows * halfRows + halfWidth * halfWidth) + 2);
}

RadialLayout LayoutOf(int width, int rows, bool centered, std::size_t entries) {
    if (centered) return {GridAxis::Centered(width), GridAxis::Centered(rows), 1.0, entries};
    // deliberate: these bounds leave the middle column and row of even sizes unwritten
    return {GridAxis::Wrapped(width, (width + 1) / 2), GridAxis::Wrapped(rows, (rows + 1) / 2), 1.0, entries};
}

}  // namespace

int FloatPSF3D::KERNEL3D_Airy(DFT3D* pSizes, float* pfOut, const SDiffractionParams* pParams, bool bCentered,
                              RyProgressCallback callback, void* pUser, float fScale, bool bPadded) {
    const Progress progress(kPsfGeneration, callback, pUser);
    const SDiffractionParams& optics = *pParams;
    const int planes = pSizes->planes;
    const int focus = planes / 2;
    const int width = UsableWidth(*pSizes, bPadded);
    const Band band(optics.dNA, planes);
    const std::size_t entries = EntriesToCorner(width, pSizes->rows);
    const AiryIntegral integral(optics, fScale);
    const RadialLayout layout = LayoutOf(width, pSizes->rows, bCentered, entries);

    // Without aberration the planes before and behind the focus are alike to the last bit.
    const bool symmetric = optics.dSphericalAberration == 0.0;
    std::vector<RadialTable> tables(static_cast<std::size_t>(focus) + 1);  // by distance from the focus

    for (int z = 0; z < planes; ++z) {
        if (progress.StopAtPoll()) return kKernelStopped;
        if (!band.Holds(z)) continue;

        RadialTable& table = tables[static_cast<std::size_t>(std::abs(z - focus))];
        if (table.empty() || !symmetric) {
            table.resize(entries);
            integral.Tabulate(z - focus, AiryReach(optics, (z - focus) * optics.dZPitch, fScale), table);
        }
        const int target = bCentered ? z : ((planes - focus) + z) % planes;
        layout.Lay<AllThreads>(table, PlaneOf(*pSizes, pfOut, target), pSizes->rowLength);
    }
    return gnr::kSuccess;
}
