// SPDX-License-Identifier: MIT

// The wide-field pattern of the layered model.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "detail/parallel.h"
#include "psf/focus_search.h"
#include "psf/layered_pupil.h"
#include "psf/psf_volume.h"
#include "psf/pupil_sum.h"
#include "psf/radial_table.h"

using namespace gnr::detail;

namespace {

/// What of the volume is computed: the recommended sizes, no more than there is and than the host allows.
struct Support {
    std::int64_t planes;   ///< about the middle plane, half of them on each side
    std::int64_t entries;  ///< of the radial table

    Support(const SDiffractionParamsEx& params, int width, int rows) {
        const bool wide = params.iModality == 0 || params.iModality == 7;
        const double wavelengthNm = params.dEmissionWavelength / 0.001;
        const auto across = static_cast<std::int64_t>(
            FloatPSF3D::GetRecommendedXYSize(wavelengthNm, params.dNA, params.dXYPitch, wide));
        const auto deep = static_cast<std::int64_t>(FloatPSF3D::GetRecommendedZSize(
            wavelengthNm, params.dRefractiveIndex, params.dNA, params.dZPitch, wide));
        const double diagonal = std::sqrt(double{1} * rows * rows + double{1} * width * width);
        planes = std::min<std::int64_t>(deep, params.uiMaxZSamples);
        entries = std::min(static_cast<std::int64_t>(std::ceil(diagonal * 0.5 + 1.0)),
                           std::min<std::int64_t>(across, rows) / 2);
    }
};

/// One computed plane: its index in the centred order, the pupil at its stage position, its radial table.
struct LayeredPlane {
    int index;
    PupilPhasors pupil;
    RadialTable table;
};

/// The planes within the support. A plane whose table cannot be had is left out and noted.
class LayeredPlanes {
  public:
    /// Throws std::bad_alloc where not even the list can be had.
    LayeredPlanes(int planes, const Support& support) {
        const int middle = planes / 2;
        const int reach = static_cast<int>(std::min<std::int64_t>(support.planes / 2, planes));
        const int first = std::max(middle - reach, 0);
        const int last = std::min(middle + reach, planes - 1);
        planes_.reserve(static_cast<std::size_t>(std::max(last - first + 1, 0)));
        for (int p = first; p <= last; ++p) Add(p, static_cast<std::size_t>(support.entries));
    }
    bool Complete() const { return complete_; }
    LayeredPlane& operator[](std::int64_t n) { return planes_[static_cast<std::size_t>(n)]; }
    std::int64_t Count() const { return static_cast<std::int64_t>(planes_.size()); }

  private:
    void Add(int index, std::size_t entries) {
        try {
            RadialTable table(entries);
            LayeredPlane& plane = planes_.emplace_back();
            plane.index = index;
            plane.table = std::move(table);
        } catch (const std::bad_alloc&) {
            complete_ = false;
        }
    }

    bool complete_ = true;
    std::vector<LayeredPlane> planes_;
};

/// The pupil of each plane, at its stage position.
void EvaluatePupils(const LayeredOptics& optics, int middle, double focus, LayeredPlanes& planes) {
    const LayeredPupil pupil(optics, kPupilNodes);
    ParallelFor(planes.Count(), [&](std::int64_t n) {
        LayeredPlane& plane = planes[n];
        const double z = optics.Stage(plane.index - middle, focus);
        for (int q = 0; q < kPupilNodes; ++q) {
            const std::complex<double> e = pupil.Phasor(q, z);
            plane.pupil.re[static_cast<std::size_t>(q)] = e.real();
            plane.pupil.im[static_cast<std::size_t>(q)] = e.imag();
        }
    });
}

/// The radial table of each plane, a run of radii at a time so that the Bessel factors stay in the cache.
void Tabulate(const LayeredOptics& optics, int entries, LayeredPlanes& planes) {
    BesselTile tile;
    for (int first = 0; first < entries; first += BesselTile::kRadii) {
        const int count = std::min(BesselTile::kRadii, entries - first);
        tile.Fill<AllThreads>(first, count, [&optics](double rho, int i) {
            return (optics.alpha * optics.k * rho * i * optics.pitch) / optics.g;
        });
        ParallelFor(planes.Count(), [&](std::int64_t n) {
            std::array<std::complex<double>, BesselTile::kRadii> sums;
            tile.Sum(planes[n].pupil, count, sums.data());
            std::transform(sums.begin(), sums.begin() + count, planes[n].table.begin() + first,
                           [g = optics.g](std::complex<double> sum) {
                               return std::norm(sum / double{kPupilNodes} * 1.0 / g);
                           });
        });
    }
}

RadialLayout LayoutOf(int width, int rows, bool centered, std::int64_t entries) {
    const auto axis = [=](int length) {
        GridAxis side = centered ? GridAxis::Centered(length) : GridAxis::Wrapped(length, length / 2 + 1);
        side.offsets = static_cast<int>(std::min<std::int64_t>(side.offsets, entries - 1));
        return side;
    };
    return {axis(width), axis(rows), 1.0, static_cast<std::size_t>(entries)};
}

/// Computes the planes of a cleared volume.
int LayPlanes(const LayeredOptics& optics, const Support& support, double focus, const DFT3D& s,
              float* volume, bool centered, bool padded) {
    if (support.entries < 2) return gnr::kSuccess;
    const int middle = s.planes / 2;
    LayeredPlanes planes(s.planes, support);
    EvaluatePupils(optics, middle, focus, planes);
    Tabulate(optics, static_cast<int>(support.entries), planes);
    const RadialLayout layout = LayoutOf(UsableWidth(s, padded), s.rows, centered, support.entries);
    ParallelFor(planes.Count(), [&](std::int64_t n) {
        const LayeredPlane& plane = planes[n];
        // deliberate: the origin of this wrap is planes / 2, not planes - planes / 2 as in the fast model
        const std::int64_t target = centered ? plane.index : (std::int64_t{middle} + plane.index) % s.planes;
        layout.Lay<CallingThread>(plane.table, PlaneOf(s, volume, target), s.rowLength);
    });
    return planes.Complete() ? gnr::kSuccess : gnr::kOutOfMemory;
}

}  // namespace

int FloatPSF3D::EpiFluorescence(const DFT3D* pSizes, float* pfOut, const SDiffractionParamsEx* pParams,
                                bool bCentered, bool bPadded, bool bFindFocus, double* pdFocus) {
    if (pdFocus == nullptr) return gnr::kWrongParameters;
    ClearVolume(*pSizes, pfOut);
    try {
        const LayeredOptics optics(*pParams);
        const Support support(*pParams, UsableWidth(*pSizes, bPadded), pSizes->rows);
        if (bFindFocus) *pdFocus = FindFocus(optics, support.planes);
        return LayPlanes(optics, support, *pdFocus, *pSizes, pfOut, bCentered, bPadded);
    } catch (const std::bad_alloc&) {
        return gnr::kOutOfMemory;
    }
}
