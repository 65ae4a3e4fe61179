// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include "cores/unit_sum.h"
#include "entries/scratch_volumes.h"
#include "kernels/pointwise.h"
#include "kernels/richardson_lucy_update.h"
#include "kernels/wiener_noise.h"

using namespace gnr::detail;

namespace {

using Low = CRy3DDeconvolutionLow;

/// This entry alone reports a stop by -1, and missing memory by the value of a core's success.
constexpr int kStoppedHere = gnr::kTransformFailed;
constexpr int kNoMemoryHere = gnr::kSuccess;

}  // namespace

// H  transform of the PSF     K  noise power relative to the signal power
int CRy3DDeconvolution::Wiener(DFT3D* s, float* pfPsf, float* pfImage, RyProgressCallback pfn, void* pData,
                               unsigned uiSetting, int /*iUnused1*/, int /*iUnused2*/) {
    const Progress progress(kLegacyDeconvolution3D, pfn, pData);

    if (progress.StopAtBegin()) return kStoppedHere;
    ScratchVolume H(Low::KERNEL3D_Create(s));
    if (H == nullptr) return kNoMemoryHere;
    const double K = WienerNoise(uiSetting);
    CopyVolume(*s, H.get(), pfPsf);
    Low::DFT3D_Transform(s, H.get());
    // deliberate: the filter conjugates once more, so that H and not conj(H) becomes its numerator
    ConjugateParallel(*s, H.get());
    if (progress.StopAtEnd()) return kStoppedHere;

    if (progress.StopAtBegin()) return kStoppedHere;
    const float sum = ScaleToUnitSum(*s, pfImage);
    Low::DFT3D_Transform(s, pfImage);
    if (progress.StopAtEnd()) return kStoppedHere;

    if (progress.StopAtBegin()) return kStoppedHere;
    Low::ComputeWiener3D(s, pfImage, H.get(), K);
    if (progress.StopAtEnd()) return kStoppedHere;

    if (progress.StopAtBegin()) return kStoppedHere;
    H.reset();
    Low::DFT3D_Inversion(s, pfImage);
    RestoreSumAndCut(*s, pfImage, sum);
    if (progress.StopAtEnd()) return kStoppedHere;

    return gnr::kSuccessOfEntry;
}
