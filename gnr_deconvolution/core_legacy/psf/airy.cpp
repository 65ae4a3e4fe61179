// SPDX-License-Identifier: MIT

// Diffraction pattern with defocus and a fourth-order spherical aberration.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
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
    std::int64_t first;
    std::int64_t last;  ///< of the planes that there are

    Band(double aperture, std::int64_t planes) {
        const std::int64_t focus = planes / 2;
        const std::int64_t halfWidth = TruncateToInt32(std::max(1.5 - aperture, 0.0) * 10.0 + 2.0 + 0.5);
        first = std::max<std::int64_t>(focus - halfWidth, 0);
        last = std::min(focus + halfWidth, planes - 1);
    }
    bool Holds(std::int64_t z) const { return z >= first && z <= last; }
};

/// Entries that reach from the middle of a plane to its corner and one further.
std::size_t EntriesToCorner(int width, int rows) {
    const std::int64_t halfWidth = width / 2;
    const std::int64_t halfRows = rows / 2;
    const auto squaredReach = static_cast<double>(halfRows * halfRows + halfWidth * halfWidth);
    return static_cast<std::size_t>(std::sqrt(squaredReach) + 2);
}

RadialLayout LayoutOf(int width, int rows, bool centered, std::size_t entries) {
    if (centered) return {GridAxis::Centered(width), GridAxis::Centered(rows), 1.0, entries};
    // deliberate: these bounds leave the middle column and row of even sizes unwritten
    return {GridAxis::Wrapped(width, (width + 1) / 2), GridAxis::Wrapped(rows, (rows + 1) / 2), 1.0, entries};
}

/// Tables of the band in ascending order. Without aberration the planes before and behind the focus are alike
/// to the last bit, and those up to the focus are enough.
std::vector<AiryPlane> TabulateBand(const AiryIntegral& integral, const SDiffractionParams& optics,
                                    const Band& band, int focus, std::size_t entries, float scale) {
    const std::int64_t last = optics.dSphericalAberration == 0.0 ? focus : band.last;
    std::vector<AiryPlane> tables;
    for (std::int64_t z = band.first; z <= last; ++z) {
        const int offset = static_cast<int>(z - focus);
        tables.push_back({offset, AiryReach(optics, offset * optics.dZPitch, scale), {}});
    }
    integral.Tabulate(tables, entries);
    return tables;
}

const RadialTable& TableOf(const std::vector<AiryPlane>& tables, int offset) {
    const int direct = offset - tables.front().offset;
    const int mirrored = -offset - tables.front().offset;
    const int place = direct < static_cast<int>(tables.size()) ? direct : mirrored;
    return tables[static_cast<std::size_t>(place)].table;
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

    std::vector<AiryPlane> tables;

    for (int z = 0; z < planes; ++z) {
        if (progress.StopAtPoll()) return kKernelStopped;
        if (!band.Holds(z)) continue;
        if (tables.empty()) tables = TabulateBand(integral, optics, band, focus, entries, fScale);
        const int target = bCentered ? z : ((planes - focus) + z) % planes;
        layout.Lay<AllThreads>(TableOf(tables, z - focus), PlaneOf(*pSizes, pfOut, target),
                               pSizes->rowLength);
    }
    return gnr::kSuccess;
}
