// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include <memory>

#include "kernels/richardson_lucy_update.h"

namespace {

using Low = CRy3DDeconvolutionLow;

struct DestroyAligned {
    void operator()(float* volume) const { Low::SSE_Destroy(volume); }
};
using AlignedVolume = std::unique_ptr<float, DestroyAligned>;

}  // namespace

int CRy3DDeconvolution::SIM_LucyRichardsonIBD(DFT3D* pSizes, float* pfPsf, float* pfImage, int iIterations,
                                              RyProgressCallback pfn, void* pProgressData, int /*iUnused1*/,
                                              int /*iUnused2*/, float fStopE8,
                                              IRyIterationDataCallback* pDataCallback) {
    const AlignedVolume observed(Low::SSE_Alloc(pSizes->total));
    const AlignedVolume otf(Low::SSE_Alloc(pSizes->total));
    const AlignedVolume scratch(Low::SSE_Alloc(pSizes->total));
    if (!observed || !otf || !scratch) return gnr::kNotReady;

    int status = gnr::kSuccessOfEntry;
    const auto sweep = [&](float* updated, float* fixed, bool isOfImage) {
        Low::SIM_AccIBDProcessInner3D(updated, fixed, pSizes, 1, isOfImage, fStopE8, nullptr, observed.get(),
                                      otf.get(), nullptr, nullptr, scratch.get(), nullptr, nullptr, pfn,
                                      pProgressData, status, false, false);
    };

    gnr::detail::CopyVolume(*pSizes, observed.get(), pfImage);
    // deliberate: a stop shows in the result alone; the host is called for every iteration
    for (int j = 0; j < iIterations; ++j) {
        if (pDataCallback != nullptr) {
            pDataCallback->OnBeforePsfPass(j, pSizes->rows, pSizes->planes, pfPsf, pfImage);
        }
        sweep(pfPsf, pfImage, false);
        if (pDataCallback != nullptr) {
            pDataCallback->OnBeforeImagePass(j, pSizes->rows, pSizes->planes, pfPsf, pfImage);
        }
        sweep(pfImage, pfPsf, true);
    }
    return status;
}
