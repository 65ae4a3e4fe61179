// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include <cmath>

#include "cores/landweber_step.h"
#include "cores/momentum.h"
#include "cores/psf_sum.h"
#include "cores/shrinkage.h"
#include "entries/band_coupling.h"
#include "entries/scratch_volumes.h"
#include "entries/wavelet_set_shape.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

using Low = CRy3DDeconvolutionLow;
using Divisors = double[8][5];

/// Wavelet transform of padded volumes, through a packed one.
class Wavelets {
  public:
    Wavelets(const DFT3D& s, const PyramidShape& shape, float* packed)
        : s_(s), shape_(shape), packed_(packed) {}

    /// set := W(volume); a success code.
    bool Decompose(const float* volume, SWaveletSet& set) const {
        PackColumns(s_, packed_, volume);
        return DecomposeVolume(shape_, filters_, packed_, set.apfBands) == gnr::kSuccess;
    }
    /// Image columns of the volume := W^T(set).
    bool Reconstruct(SWaveletSet& set, float* volume) const {
        if (ReconstructVolume(shape_, filters_, set.apfBands, packed_) != gnr::kSuccess) return false;
        UnpackColumns(s_, volume, packed_);
        return true;
    }

  private:
    const DFT3D& s_;
    PyramidShape shape_;
    float* packed_;
    WaveletFilters filters_;
};

bool FindStepDivisors(const Wavelets& wavelets, const PyramidShape& shape, const float* psf,
                      float* const (&room)[2], Divisors& T) {
    OwnedWaveletSet bands(shape);
    if (bands.code != gnr::kSuccess || !wavelets.Decompose(psf, bands)) return false;
    StepDivisors(bands, room, T);
    return true;
}

/// x := W^T(w), times c, negatives cut. The padding is scaled and cut too.
bool Rebuild(const DFT3D& s, const Wavelets& wavelets, SWaveletSet& w, float c, float* x) {
    if (!wavelets.Reconstruct(w, x)) return false;
    Low::SSE_MulFloatC3DXX(&s, x, c);
    Low::ClipSmallerThanZero(&s, x);
    return true;
}

/// Soft threshold of each band by its share 1 / T of theta.
void Shrink(SWaveletSet& w, const Divisors& T, float theta) {
    ForEachBand(ShapeOf(w), [&](unsigned b, unsigned l, std::int64_t floats) {
        SoftThreshold(w.apfBands[b][l], floats, static_cast<float>(1.0 / T[b][l]) * theta);
    });
}

}  // namespace

// x  estimate, in the host's image     g  observed image     H  transform of the PSF
// w  coefficients; before: of the iteration before; gradient: of H^T (g - H x)
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
    float* const H = volumes[1];
    float* const B = volumes[2];
    float* const D = volumes[3];
    float* const x = pfImage;

    CopyVolume(s, g, x);
    CopyVolume(s, H, pfKernel);
    Low::DFT3D_Transform(&s, H);
    const double P = std::pow(2.0 * uiRegularization, 1.4);
    const auto theta = static_cast<float>(P * 0.04 * dStrength);
    rect = {0, ImageColumns(s), 0, s.rows, 0, s.planes};

    const Wavelets wavelets(s, shape, B);
    Divisors T = {};
    if (!FindStepDivisors(wavelets, shape, pfKernel, {B, D}, T)) return gnr::kNotReady;
    OwnedWaveletSet w(shape);
    OwnedWaveletSet before(shape);
    OwnedWaveletSet gradient(shape);
    for (const OwnedWaveletSet* set : {&w, &before, &gradient}) {
        if (set->code != gnr::kSuccess) return set->code;
    }
    if (!wavelets.Decompose(x, w)) return gnr::kNotReady;

    const Progress progress(kLegacyDeconvolution3D, callback, pUser);
    Momentum momentum;
    bool stopped = false;
    for (int k = 0; k < iIterations; ++k) {
        // deliberate: the first iteration reports nothing and works on the image as it came
        const bool first = k == 0;
        if ((stopped = !first && progress.StopAtBegin())) break;
        if (!first && !Rebuild(s, wavelets, w, c, x)) return gnr::kNotReady;
        LandweberGradient(s, D, g, x, H);
        if (!wavelets.Decompose(D, gradient)) return gnr::kNotReady;
        before.Copy(w);
        w.AddScaled(gradient, T);
        Shrink(w, T, theta);
        w.Extrapolate(before, momentum.NextFactor());
        if ((stopped = !first && progress.StopAtEnd())) break;
    }

    if (!Rebuild(s, wavelets, w, c, x)) return gnr::kNotReady;
    *pfResult = 0.0f;
    return stopped ? gnr::kStopped : gnr::kSuccessOfEntry;
}
