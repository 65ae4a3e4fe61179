// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cores/blind_pass.h"
#include "cores/core_buffers.h"
#include "frame/progress.h"
#include "frame/proposed_dimensions.h"
#include "kernels/richardson_lucy_update.h"

using namespace gnr::detail;

namespace {

using Low = CRy3DDeconvolutionLow;

/// First row and first column of the box whose sum scales iterates for the comparison with the reference.
constexpr int kMarginOfQuality = 30;
/// Sums not above this are not compared with the reference's.
constexpr double kLeastSumOfQuality = 1e-10;

/// Decides after each image pass whether the data may follow the estimate: as long as the estimate's peak stays
/// near that of the first.
class PeakGuard {
  public:
    explicit PeakGuard(std::int32_t setting) : tolerance_(setting == 0 || setting == 7 ? 0.8f : 0.3f) {}

    /// A peak of 0 or below has no decades and lets nothing follow.
    bool LetsDataFollow(const DFT3D& s, float* image) {
        const float decades = std::log10(Low::GetMaxOfImageXX(&s, image));
        if (first_) firstDecades_ = decades;
        first_ = false;
        return std::fabs(decades - firstDecades_) < tolerance_;
    }

  private:
    float tolerance_;
    float firstDecades_ = 0.0f;
    bool first_ = true;
};

/// What makes the iterate comparable with a reference of sum fReferenceSum.
float ScaleOfQuality(const CRy3DDeconvRunParameters& params) {
    const SRyIRect3D& rc = params.rcImage;
    const int depth = rc.iMaxZ - rc.iMinZ;
    // deliberate: the box begins at column 30 and row 30 wherever the image lies
    const float sum =
        Low::GetSumOfImageInteg(&params.sizes, params.pfImage, (params.sizes.planes - depth) / 2, depth,
                                kMarginOfQuality, rc.iMaxX - rc.iMinX, rc.iMaxY - rc.iMinY);
    return static_cast<double>(sum) > kLeastSumOfQuality ? params.fReferenceSum / sum : 1.0f;
}

}  // namespace

CRy3DBlindDeconvolutionCore::~CRy3DBlindDeconvolutionCore() {
    CRy3DBlindDeconvolutionCore::Free();
}

unsigned long long CRy3DBlindDeconvolutionCore::GetRequiredMemorySize(
    CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    const auto bytes = [](std::int64_t floats) {
        return sizeof(float) * static_cast<unsigned long long>(floats);
    };
    return Volumes().size() * bytes(params->sizes.total) + kScratchPlanes * bytes(params->sizes.planeStride);
}

int CRy3DBlindDeconvolutionCore::ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z,
                                                          unsigned uiDivisorX, unsigned uiDivisorY,
                                                          unsigned uiDivisorZ) {
    return RoundUpDimensions(x, y, z, uiDivisorX, uiDivisorY, uiDivisorZ);
}

int CRy3DBlindDeconvolutionCore::Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) {
    if (const int code = Free(); code != gnr::kSuccess) return code;
    float** const planes[] = {&pfPlanes};
    const int ofPlanes = AllocateBuffers(planes, std::int64_t{kScratchPlanes} * params->sizes.planeStride);
    const int ofVolumes = AllocateBuffers(Volumes(), params->sizes.total);
    return ofPlanes != gnr::kSuccess ? ofPlanes : ofVolumes;
}

int CRy3DBlindDeconvolutionCore::Free() {
    float** const planes[] = {&pfPlanes};
    DestroyBuffers(planes);
    DestroyBuffers(Volumes());
    return gnr::kSuccess;
}

bool CRy3DBlindDeconvolutionCore::IsPrepared() {
    return pfPlanes != nullptr && AllPresent(Volumes());
}

// Units of work are those of the image pass, n1, at every report of a cycle.
int CRy3DBlindDeconvolutionCore::Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) {
    // deliberate: -4 where the other cores have -9
    if (!IsPrepared()) return gnr::kWrongParameters;
    const CRyRefCountPtr<CRy3DBlindDeconvRunParameters> blind(
        dynamic_cast<CRy3DBlindDeconvRunParameters*>(params.get()));
    if (!blind) return gnr::kWrongParameters;

    const Progress progress(kDeconvolution3D, *params);
    const DFT3D& sizes = params->sizes;
    float* const image = params->pfImage;
    float* const psf = params->pfPsf;
    const unsigned sweeps = SweepsPerPass(blind->iBlindInnerSetting);
    const std::uint64_t limit = params->uiIterations;
    int status = gnr::kSuccess;  // -1 once a pass was stopped within
    const auto pass = [&](float* updated, float* fixed, bool isOfImage) {
        return Low::SSE_AccIBDProcessInner3D(updated, fixed, &sizes, sweeps, isOfImage, blind->fBlindValue,
                                             pfPlanes, pfObserved, pfOtf, pfV, pfPrevious, pfScratch,
                                             pfGradient1, pfGradient2, params->pfnProgress,
                                             params->pProgressData, status, false);
    };

    CopyVolume(sizes, pfObserved, image);
    PeakGuard guard(blind->iBlindGuardSetting);
    std::vector<std::pair<unsigned, double>> quality;
    std::uint64_t done = 0;
    bool stopped = false;

    for (std::uint32_t j = 0; j < params->uiIterations; ++j) {
        if ((stopped = progress.StopAtBegin())) break;
        std::uint64_t n1 = pass(image, psf, true);
        n1 = std::min(n1, limit - done);
        const auto units = static_cast<unsigned>(n1);
        if ((stopped = progress.StopAtEnd(units))) break;
        if (!blind->bNoPsfGuard && guard.LetsDataFollow(sizes, image)) CopyVolume(sizes, pfObserved, image);
        if (done + n1 >= limit) {
            stopped = progress.StopAtBegin() || progress.StopAtEnd(units);
            break;
        }
        if ((stopped = progress.StopAtBegin())) break;
        const unsigned n2 = pass(psf, image, false);
        // deliberate: the units of the image pass once more
        if ((stopped = progress.StopAtEnd(units))) break;
        done += n1 + n2;
        if (done >= limit) {
            stopped = progress.StopAtBegin() || progress.StopAtEnd(units);
            break;
        }
        if (params->pfReference != nullptr) {
            ComputeRMSE(quality, static_cast<unsigned>(done), params->rcImage, &sizes,
                        ScaleOfQuality(*params), image, params->pfReference);
        }
    }

    if (params->pfReference != nullptr) LogQualityVect(quality, params->uiIterations);
    return stopped ? gnr::kStopped : status;
}
