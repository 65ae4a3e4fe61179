// SPDX-License-Identifier: MIT

// Scalar defocus integral over the normalised pupil radius, in two forms: KERNEL3D_GibsonLani and, at half
// the wave number, KERNEL3D_2Photon.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "detail/groups.h"
#include "detail/two_pi.h"
#include "psf/psf_progress.h"
#include "psf/psf_volume.h"
#include "psf/pupil_sum.h"
#include "psf/radial_table.h"
#include "psf/truncation.h"

using namespace gnr::detail;

namespace {

/// Lengths of the record come in micrometres and are carried in units of a tenth of a metre.
constexpr double kUnit = 1e-5;

/// What tells the two kernels apart.
struct Form {
    double doubling;  ///< factor of the wave number
    int roots;        ///< square roots taken of |S|^2
};
constexpr Form kGibsonLani = {2.0, 2};
constexpr Form kTwoPhoton = {1.0, 1};

/// Planes so far from the focus that a distance * pitch / 4 + 1 exceeds this stay 0.
constexpr double kFarthest = 10.0;

class DefocusIntegral {
  public:
    DefocusIntegral(const SDiffractionParams& optics, const Form& form)
        : form_(form),
          alpha_(std::asin(optics.dNA / optics.dRefractiveIndex)),
          K_(kTwoPi / (optics.dWavelength * kUnit)),
          pitch_(optics.dXYPitch * kUnit),
          planePitch_(optics.dZPitch) {}

    /// Entries worth computing at a distance of `planes` planes from the focus: the cone and ten half
    /// samples.
    int Entries(int planes) const {
        const double cone = std::tan(alpha_) * (planes * planePitch_ + 1.0);
        return TruncateToInt32((cone / (pitch_ * 1000000.0)) * 2.0 + 10.0);
    }

    /// Phasors of the plane that lies `planes` planes behind the focus.
    PupilPhasors Phasors(double planes) const {
        const double D = planes * planePitch_ * kUnit;
        const double sine = std::sin(alpha_ / 2);
        PupilPhasors e;
        for (int q = 0; q < kPupilNodes; ++q) {
            const double rho = PupilRadius(q);
            const double phase = K_ * 4.0 * (sine * sine) * D * form_.doubling * (-0.5) * (rho * rho) * 0.5;
            const auto node = static_cast<std::size_t>(q);
            e.re[node] = std::cos(phase);
            e.im[node] = std::sin(phase);
        }
        return e;
    }

    /// Fills the first entries of a table, radius in half samples; the rest stays.
    void Tabulate(const PupilPhasors& e, int entries, RadialTable& table) {
        std::vector<std::complex<double>> sums(BesselTile::kRadii);
        for (int first = 0; first < entries; first += BesselTile::kRadii) {
            const int count = std::min(BesselTile::kRadii, entries - first);
            TileOf(first, count).Sum(e, count, sums.data());
            std::transform(sums.begin(), sums.begin() + count, table.begin() + first,
                           [this](std::complex<double> sum) { return Rooted(std::norm(sum)); });
        }
    }

  private:
    double Rooted(double value) const {
        for (int root = 0; root < form_.roots; ++root) value = std::sqrt(value);
        return value;
    }

    /// Bessel factors are the same in every plane. As many are kept as 16 MiB hold; radii beyond, which only
    /// a very fine pitch reaches, are evaluated again for each plane.
    static constexpr std::size_t kTilesKept = 32;

    const BesselTile& TileOf(int first, int count) {
        const auto index = static_cast<std::size_t>(first / BesselTile::kRadii);
        if (index == kept_.size() && index < kTilesKept) kept_.emplace_back();
        BesselTile& tile = index < kept_.size() ? kept_[index] : scratch_;
        if (index >= kept_.size() || tile.Filled() < count) {
            tile.Fill<CallingThread>(first, count, [this](double rho, int j) {
                return std::sin(alpha_) * K_ * j * 0.5 * pitch_ * form_.doubling * rho * 0.5;
            });
        }
        return tile;
    }

    Form form_;
    double alpha_;  ///< half angle of the cone
    double K_;      ///< vacuum wave number
    double pitch_;
    double planePitch_;  ///< micrometres
    std::vector<BesselTile> kept_;
    BesselTile scratch_;
};

/// Entries of the whole table, in half samples.
std::size_t TableLength(const DFT3D& s) {
    const double u = s.rowLength - (s.rowLength - 1) * 0.5;
    const double v = s.rows - (s.rows - 1) * 0.5;
    return static_cast<std::size_t>(2 * std::floor(std::sqrt(u * u + v * v)) + 2);
}

RadialLayout LayoutOf(const DFT3D& s, bool centered, bool padded, std::size_t entries) {
    constexpr double stepsPerSample = 2.0;
    const int width = UsableWidth(s, padded);
    if (centered) return {GridAxis::Centered(width), GridAxis::Centered(s.rows), stepsPerSample, entries};
    // deliberate: the padding is taken off after the row length is halved
    const int columns = s.rowLength / 2 - (s.rowLength - width);
    return {GridAxis::Wrapped(width, columns), GridAxis::Wrapped(s.rows, s.rows / 2), stepsPerSample,
            entries};
}

int LayDefocusIntegral(const Form& form, const DFT3D& s, float* volume, const SDiffractionParams& optics,
                       bool centered, bool padded, const Progress& progress) {
    ClearVolume(s, volume);
    const std::size_t length = TableLength(s);
    const int middle = s.planes / 2;
    const int evenPlanes = s.planes - s.planes % 2;
    DefocusIntegral integral(optics, form);
    const RadialLayout layout = LayoutOf(s, centered, padded, length);

    for (int z = 0; z < s.planes; ++z) {
        if (progress.StopAtPoll()) return kKernelStopped;
        const int distance = std::abs(z - middle);
        if (distance * optics.dZPitch * 0.25 + 1.0 > kFarthest) continue;

        RadialTable table(length);
        const int entries = std::min(static_cast<int>(length), integral.Entries(distance));
        integral.Tabulate(integral.Phasors(z - evenPlanes * 0.5), entries, table);
        const int target = centered ? z : ((s.planes - middle) + z) % s.planes;
        layout.Lay<CallingThread>(table, PlaneOf(s, volume, target), s.rowLength);
    }
    return gnr::kSuccess;
}

}  // namespace

int FloatPSF3D::KERNEL3D_GibsonLani(DFT3D* pSizes, float* pfOut, const SDiffractionParams* pParams,
                                    bool bCentered, RyProgressCallback callback, void* pUser,
                                    float /*fScale*/, bool bPadded) {
    return LayDefocusIntegral(kGibsonLani, *pSizes, pfOut, *pParams, bCentered, bPadded,
                              Progress(kPsfGeneration, callback, pUser));
}

int FloatPSF3D::KERNEL3D_2Photon(DFT3D* pSizes, float* pfOut, const SDiffractionParams* pParams,
                                 bool bCentered, RyProgressCallback callback, void* pUser, float /*fScale*/,
                                 bool bPadded) {
    return LayDefocusIntegral(kTwoPhoton, *pSizes, pfOut, *pParams, bCentered, bPadded,
                              Progress(kPsfGeneration, callback, pUser));
}
