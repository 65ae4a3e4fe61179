// SPDX-License-Identifier: MIT
#include "kernels/spectral_bound.h"

#include <gnr_deconvolution/psf_2d.h>

#include <array>
#include <cmath>
#include <cstdint>

#include "cores/coupling_table.h"
#include "detail/parallel.h"

namespace gnr::detail {

namespace {

constexpr unsigned kMostBands = kPictureBands * kPictureLevels;
using Couplings = CouplingTable<kMostBands>;

/// The bands of one level and of all deeper ones as half spectra of that level's size.
class SpectraOfLevel {
  public:
    SpectraOfLevel(const BandPyramid& psf, unsigned level)
        : psf_(psf), W_(psf.Width(level)), H_(psf.Height(level)) {}

    float* Of(unsigned band) const { return spectra_[band].get(); }
    std::size_t Frequencies() const { return (std::size_t{W_} / 2 + 1) * H_; }

    /// False without memory.
    bool Transform(unsigned band) {
        spectra_[band] = NewFrame<float>(W_ + 2, H_, Contents::kUnknown);
        if (spectra_[band] == nullptr) return false;
        Repeat(band);
        return FloatPSF2D::DFT2D_TransformInplace(Of(band), W_, H_) == 0;
    }

  private:
    /// The band, as often as it fits along both axes, in rows with two spare floats.
    void Repeat(unsigned band) const {
        const unsigned l = band / kPictureBands;
        const double* const samples = psf_.Band(band % kPictureBands, l);
        const std::size_t w = psf_.Width(l);
        const std::size_t h = psf_.Height(l);
        for (std::size_t y = 0; y < H_; ++y) {
            float* const row = Of(band) + y * (std::size_t{W_} + 2);
            const double* const from = samples + y % h * w;
            for (std::size_t x = 0; x < W_; ++x) row[x] = static_cast<float>(from[x % w]);
            row[W_] = row[W_ + 1] = 0.0f;
        }
    }

    const BandPyramid& psf_;
    unsigned W_;
    unsigned H_;
    std::array<FrameBlock<float>, kMostBands> spectra_;
};

/// Couplings of the bands of a level with those of this and all deeper levels, each transformed once.
bool CoupleLevel(const BandPyramid& psf, unsigned level, Couplings& couplings) {
    SpectraOfLevel spectra(psf, level);
    const unsigned first = level * kPictureBands;
    for (unsigned band = first; band < kMostBands; ++band) {
        if (!spectra.Transform(band)) return false;
    }
    for (unsigned a = first; a < first + kPictureBands; ++a) {
        ParallelFor(kMostBands - a, [&, a](std::int64_t n) {
            const unsigned b = a + static_cast<unsigned>(n);
            couplings.Set(a, b, SpectralBound(spectra.Of(a), spectra.Of(b), spectra.Frequencies()));
        });
    }
    return true;
}

}  // namespace

double SpectralBound(const float* a, const float* b, std::size_t frequencies) {
    float greatest = 0.0f;
    for (std::size_t n = 0; n < 2 * frequencies; n += 2) {
        const float re = a[n] * b[n] - a[n + 1] * b[n + 1];
        const float im = a[n] * b[n + 1] + a[n + 1] * b[n];
        const float square = re * re + im * im;
        greatest = square > greatest ? square : greatest;
    }
    return std::sqrt(double{greatest});
}

bool StepDivisors(const BandPyramid& psf, BandTable& alpha) {
    Couplings couplings;
    for (unsigned l = 0; l < kPictureLevels; ++l) {
        if (!CoupleLevel(psf, l, couplings)) return false;
    }
    ForEachPictureBand(
        [&](unsigned b, unsigned l) { alpha[b][l] = couplings.Divisor(l * kPictureBands + b); });
    return true;
}

}  // namespace gnr::detail
