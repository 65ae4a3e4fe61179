// SPDX-License-Identifier: MIT

// The two ways of asking for a theoretical PSF.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "detail/parallel.h"

using namespace gnr::detail;

namespace {

/// Modalities with a generator of their own; every other value takes the driver's last row.
enum Modality : std::int32_t {
    kWidefield = 0,
    kTwoPhotonA = 5,
    kTwoPhotonB = 6,
    kWidefieldCoarse = 7,
    kSmallPinhole = 8,
};

bool IsTwoPhoton(std::int32_t modality) {
    return modality == kTwoPhotonA || modality == kTwoPhotonB;
}

/// A copy of the record with both pitches scaled.
template <class Record>
Record WithPitches(const Record& record, double lateral, double axial) {
    Record scaled = record;
    scaled.dXYPitch = record.dXYPitch * lateral;
    scaled.dZPitch = record.dZPitch * axial;
    return scaled;
}

/// Samples below this become 0.
constexpr double kFloor = 1e-10;

/// Exponent of the empirical shaping: 1.8 at an aperture of 0.6 and below, 1.2 at 1.4 and above.
float ShapingPower(double aperture) {
    const double clamped = std::clamp(aperture, 0.6, 1.4);
    return static_cast<float>(1.8 - ((clamped - 0.6) / 0.8) * 0.6);
}

void ShapeByPower(const DFT3D& s, float* volume, float power) {
    ParallelRows(s, volume, [power, rowLength = s.rowLength](float* row, std::int64_t) {
        for (std::int32_t x = 0; x < rowLength; ++x)
            row[x] = row[x] < kFloor ? 0.0f : std::pow(row[x], power);
    });
}

}  // namespace

int FloatPSF3D::GeneratePSF(DFT3D* pSizes, const SDiffractionParams* pParams, RyProgressCallback callback,
                            void* pUser, float fScale, bool bCentered, bool bPadded) {
    if (const int status = AllocatePSF(pSizes); status != gnr::kSuccess) return status;
    params = *pParams;

    if (IsTwoPhoton(pParams->iModality)) {
        const int status =
            KERNEL3D_2Photon(pSizes, pfPSF, pParams, bCentered, callback, pUser, fScale, bPadded);
        if (status != gnr::kSuccess) return gnr::kStopped;
        SquarePSF();
    } else {
        // deliberate: a quarter of the axial pitch here, four times it in GeneratePSFEx
        const SDiffractionParams optics =
            pParams->iModality == kWidefieldCoarse ? WithPitches(*pParams, 4.0, 0.25) : *pParams;
        const int status = KERNEL3D_Airy(pSizes, pfPSF, &optics, bCentered, callback, pUser, fScale, bPadded);
        if (status != gnr::kSuccess) return gnr::kStopped;
        ShapeByPower(sizes, pfPSF, ShapingPower(pParams->dNA));
    }
    Normalize(NormalizeToSum, 1.0, bPadded);
    return gnr::kSuccess;
}

int FloatPSF3D::GeneratePSFEx(DFT3D* pSizes, const SDiffractionParamsEx* pParams,
                              RyProgressCallback /*callback*/, void* /*pUser*/, bool bCentered,
                              bool bPadded) {
    if (const int status = AllocatePSF(pSizes); status != gnr::kSuccess) return status;
    params = *pParams;

    SDiffractionParamsEx optics = *pParams;
    double focus = 0.0;
    int status = gnr::kSuccess;
    switch (pParams->iModality) {
        case kWidefieldCoarse:
            optics = WithPitches(*pParams, 4.0, 4.0);
            [[fallthrough]];
        case kWidefield:
            status = EpiFluorescence(pSizes, pfPSF, &optics, bCentered, bPadded, true, &focus);
            break;
        case kTwoPhotonA:
        case kTwoPhotonB:
            status = TwoPhotonFluorescence(pSizes, pfPSF, &optics, bCentered, bPadded);
            break;
        case kSmallPinhole:
            optics.dPinhole = 1.0;
            [[fallthrough]];
        default:
            status = ConfocalFluorescence(pSizes, pfPSF, &optics, bCentered, bPadded);
    }
    if (status != gnr::kSuccess) return gnr::kStopped;
    Normalize(NormalizeToSum, 1.0, bPadded);
    return gnr::kSuccess;
}
