// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cores/landweber_step.h"
#include "cores/momentum.h"
#include "cores/psf_sum.h"
#include "cores/shrinkage.h"
#include "detail/fetch_ahead.h"
#include "entries/band_coupling.h"
#include "entries/scratch_volumes.h"
#include "entries/wavelet_set_shape.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

using Divisors = double[8][5];

/// Wavelet transform of packed volumes.
class Wavelets {
  public:
    Wavelets(const PyramidShape& shape, float* room) : packed(room), shape_(shape) {}

    /// set := W(packed); a success code.
    bool Decompose(SWaveletSet& set) const {
        return DecomposeVolume(shape_, filters_, packed, set.apfBands) == gnr::kSuccess;
    }
    /// packed := W^T(set)
    bool Reconstruct(SWaveletSet& set) const {
        return ReconstructVolume(shape_, filters_, set.apfBands, packed) == gnr::kSuccess;
    }

    float* const packed;

  private:
    PyramidShape shape_;
    WaveletFilters filters_;
};

bool FindStepDivisors(const DFT3D& s, const Wavelets& wavelets, const PyramidShape& shape, const float* psf,
                      float* room, Divisors& T) {
    OwnedWaveletSet bands(shape);
    if (bands.code != gnr::kSuccess) return false;
    PackColumns(s, wavelets.packed, psf);
    if (!wavelets.Decompose(bands)) return false;
    StepDivisors(bands, {wavelets.packed, room}, T);
    return true;
}

/// x := W^T(w), times c, negatives cut; r := x on its way to its transform, if there is an r. The padding is scaled
/// and cut too.
bool Rebuild(const Transfer& H, const DFT3D& s, const Wavelets& wavelets, SWaveletSet& w, float c, float* x,
             float* r) {
    if (!wavelets.Reconstruct(w)) return false;
    const std::int64_t columns = ImageColumns(s);
    const float* const packed = wavelets.packed;
    H.Sweep(nullptr, r, EachShare{}, [=, &H, &s](const RowChunk& rows, auto*) {
        rows.EachRow([=, &H, &s](std::int64_t row, float* samples) {
            FetchRowBehind(s, row, x);
            float* const estimate = x + row * s.rowLength;
            std::copy_n(packed + row * columns, columns, estimate);
            ScaleAndClipRow(s, estimate, c);
            if (r == nullptr) return;
            std::copy_n(estimate, s.rowLength, samples);
            H.Put(samples, r, row);
        });
    });
    return true;
}

/// set := W(r); takes the rows of r.
bool DecomposeGradient(const Transfer& H, const DFT3D& s, const Wavelets& wavelets, float* r,
                       SWaveletSet& set) {
    const std::int64_t columns = ImageColumns(s);
    float* const packed = wavelets.packed;
    H.Sweep(r, nullptr, EachShare{}, [=, &H](const RowChunk& rows, auto*) {
        rows.EachRow([=, &H](std::int64_t row, float* samples) {
            H.Take(r, row, samples);
            std::copy_n(samples, columns, packed + row * columns);
        });
    });
    return wavelets.Decompose(set);
}

/// w' := w + gradient / T, each band shrunk by its share 1 / T of theta
/// w  := w' + extrapolation (w' - w)
void StepCoefficients(SWaveletSet& w, const SWaveletSet& gradient, const Divisors& T, float theta,
                      float extrapolation) {
    const Lanes4 beyond(extrapolation);
    ForEachShrunkBand(ShapeOf(w), [&](unsigned b, unsigned l, std::int64_t floats) {
        const auto length = static_cast<float>(1.0 / T[b][l]);
        const Lanes4 step(length);
        const Shrinkage shrink(length * theta);
        ParallelGroups(w.apfBands[b][l], gradient.apfBands[b][l], floats, [=](Lanes4 before, Lanes4 g) {
            const Lanes4 shrunk = shrink(before + step * g);
            return (shrunk - before) * beyond + shrunk;
        });
    });
}

}  // namespace

// x  estimate, in the host's image     g  observed image     H  transfer function of the PSF
// w  coefficients                      r  volume of H^T (g - H x); gradient: its coefficients
// T  step divisors                     c  correction of the PSF's sum
int CRyLegacy3DDeconvolutionFamily::LandweberFW(DFT3D* sizes, float* pfKernel, float* pfImage,
                                                int iIterations, float* pfResult, RyProgressCallback callback,
                                                void* pUser, int /*iUnused1*/, int /*iUnused2*/,
                                                unsigned uiRegularization, SRyIRect3D& rect,
                                                double dStrength) {
    const DFT3D& s = *sizes;
    const PyramidShape shape = ShapeOf(s, WaveletLevels(s.planes));
    if (shape.levels == 0) return gnr::kNotReady;
    const float c = PsfSumCorrectionOfEntry(s, pfKernel);
    const ScratchVolumes<4> volumes(s);
    if (!volumes) return gnr::kNotReady;
    float* const g = volumes[0];
    float* const r = volumes[1];
    float* const x = pfImage;

    CopyVolume(s, g, x);
    Transfer H(s, volumes[2], {r});
    H.Make(pfKernel, r);
    const double P = std::pow(2.0 * uiRegularization, 1.4);
    const auto theta = static_cast<float>(P * 0.04 * dStrength);
    rect = {0, ImageColumns(s), 0, s.rows, 0, s.planes};

    const Wavelets wavelets(shape, volumes[3]);
    Divisors T = {};
    if (!FindStepDivisors(s, wavelets, shape, pfKernel, r, T)) return gnr::kNotReady;
    OwnedWaveletSet w(shape);
    OwnedWaveletSet gradient(shape);
    for (const OwnedWaveletSet* set : {&w, &gradient}) {
        if (set->code != gnr::kSuccess) return set->code;
    }
    PackColumns(s, wavelets.packed, x);
    if (!wavelets.Decompose(w)) return gnr::kNotReady;

    const Progress progress(kLegacyDeconvolution3D, callback, pUser);
    Momentum momentum;
    bool stopped = false;
    for (int k = 0; k < iIterations; ++k) {
        // deliberate: the first iteration reports nothing and works on the image as it came
        const bool first = k == 0;
        if ((stopped = !first && progress.StopAtBegin())) break;
        if (first) {
            H.Forward(r, x);
        } else if (!Rebuild(H, s, wavelets, w, c, x, r)) {
            return gnr::kNotReady;
        }
        LandweberGradient(H, s, r, g);
        if (!DecomposeGradient(H, s, wavelets, r, gradient)) return gnr::kNotReady;
        StepCoefficients(w, gradient, T, theta, momentum.NextFactor());
        if ((stopped = !first && progress.StopAtEnd())) break;
    }

    if (!Rebuild(H, s, wavelets, w, c, x, nullptr)) return gnr::kNotReady;
    *pfResult = 0.0f;
    return stopped ? gnr::kStopped : gnr::kSuccessOfEntry;
}
