// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>
#include <cstdint>

#include "cores/blind_pass.h"
#include "detail/volume_geometry.h"
#include "entries/scratch_volumes.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

using Low = CRy3DDeconvolutionLow;

/// Switches the stop test off and the reports of single sweeps on.
constexpr float kNoStopTest = -1.0f;

/// Null too where the record cannot hold the count: wrapped, it would be that of a buffer too small.
ScratchVolume CreatePlanes(const DFT3D& s) {
    FDCT2D planes = {WrappedProduct(kScratchPlanes, s.planeStride)};
    const bool wraps = planes.iCount != std::int64_t{kScratchPlanes} * s.planeStride;
    return ScratchVolume(wraps ? nullptr : Low::KERNEL2D_Create(&planes));
}

}  // namespace

int CRy3DDeconvolution::LucyRichardsonIBD(DFT3D* pSizes, float* pfPsf, float* pfImage, int iIterations,
                                          RyProgressCallback pfn, void* pProgressData, int /*iUnused1*/,
                                          int /*iUnused2*/, float fStopE8, unsigned uiInnerSetting) {
    const unsigned limit = static_cast<unsigned>(std::max(iIterations, 0));
    const unsigned sweeps = SweepsPerPass(uiInnerSetting);
    const ScratchVolume planes = CreatePlanes(*pSizes);
    const ScratchVolumes<7> volumes(*pSizes);
    if (!volumes) return gnr::kNotReady;
    // Plain passes do without the planes.
    const bool accelerates = AcceleratesBySweeps(limit) || (limit > 0 && AcceleratesBySweeps(sweeps));
    if (accelerates && planes == nullptr) return gnr::kNotReady;

    float* const observed = volumes[0];
    int status = gnr::kSuccessOfEntry;  // -1 once a pass was stopped within
    const auto pass = [&](float* updated, float* fixed, unsigned count, bool isOfImage, float stopE8,
                          bool reports) {
        return Low::AccIBDProcessInner3D(updated, fixed, pSizes, count, isOfImage, stopE8, planes.get(),
                                         observed, volumes[1], volumes[2], volumes[3], volumes[4], volumes[5],
                                         volumes[6], pfn, pProgressData, status, reports);
    };

    const Progress progress(kLegacyDeconvolution3D, pfn, pProgressData);
    CopyVolume(*pSizes, observed, pfImage);
    unsigned done = 0;
    for (unsigned j = 0; j < limit; ++j) {
        if (progress.StopAtBegin()) return gnr::kStopped;
        const unsigned units = std::min(pass(pfImage, pfPsf, sweeps, true, fStopE8, false), limit - done);
        if (progress.StopAtEnd(units)) return gnr::kStopped;
        // deliberate: from the first pass on the data are the image itself
        CopyVolume(*pSizes, observed, pfImage);
        done += units;
        if (done >= limit) {
            if (progress.StopAtBegin() || progress.StopAtEnd(units)) return gnr::kStopped;
            break;
        }
        if (progress.StopAtBegin()) return gnr::kStopped;
        pass(pfPsf, pfImage, sweeps, false, fStopE8, false);
        if (progress.StopAtEnd(units)) return gnr::kStopped;
        CopyVolume(*pSizes, observed, pfImage);
    }
    pass(pfImage, pfPsf, limit, true, kNoStopTest, true);
    return status;
}
