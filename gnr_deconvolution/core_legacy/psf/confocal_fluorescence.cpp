// SPDX-License-Identifier: MIT

// The confocal pattern of the layered model: what the light excites, times what the pinhole lets through.

#include <gnr_deconvolution/psf_3d.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "psf/psf_volume.h"

using namespace gnr::detail;

namespace {

using Low = CRy3DDeconvolutionLow;

struct DestroyVolume {
    void operator()(float* pf) const { Low::KERNEL3D_Destroy(pf); }
};
using OwnedVolume = std::unique_ptr<float, DestroyVolume>;

OwnedVolume CreateVolume(const DFT3D& s) {
    return OwnedVolume(Low::KERNEL3D_Create(&s));
}

/// Radius of the pinhole seen from the sample, in units of its size at the detector.
constexpr double kPinholeRadius = 0.525;

/// One plane with the padding that the transform needs, whether or not the volume has it.
DFT3D PaddedPlane(const DFT3D& s, bool padded) {
    DFT3D plane;
    FloatPSF3D::DFT3D_InitSizes(&plane, UsableWidth(s, padded), s.rows, 1);
    return plane;
}

/// 1 inside the pinhole around the origin, wrapped around; 0 elsewhere and in the padding.
void DrawPinhole(const DFT3D& plane, double radius, float* disc) {
    const int width = UsableWidth(plane, true);
    std::fill_n(disc, plane.total, 0.0f);
    for (int y = 0; y < plane.rows; ++y) {
        const double v = std::min(y, plane.rows - y);
        for (int x = 0; x < width; ++x) {
            const double u = std::min(x, width - x);
            if (u * u + v * v < radius * radius) disc[y * std::int64_t{plane.rowLength} + x] = 1.0f;
        }
    }
}

/// Blurs one padded plane by the disc whose spectrum is given.
void BlurPlane(const DFT3D& plane, float* samples, float* discSpectrum) {
    Low::DFT3D_Transform(&plane, samples);
    // deliberate: float by float, not a complex product. The disc is even about the origin, so its spectrum
    // is real; what the pattern's spectrum holds in its imaginary parts is lost
    Low::KERNEL3D_Multiply(&plane, samples, discSpectrum);
    Low::DFT3D_Inversion(&plane, samples);
}

/// Copies the rows of one plane into another of the same rows; count floats of each.
void CopyRows(const float* from, std::int64_t fromStride, float* to, std::int64_t toStride, int rows,
              int count) {
    for (int y = 0; y < rows; ++y) std::copy_n(from + y * fromStride, count, to + y * toStride);
}

/// Blurs each plane of the volume by the pinhole.
int BlurByPinhole(const DFT3D& s, float* volume, double radius, bool padded) {
    const DFT3D plane = PaddedPlane(s, padded);
    const OwnedVolume disc = CreateVolume(plane);
    const OwnedVolume work = padded ? nullptr : CreateVolume(plane);
    if (disc == nullptr || (!padded && work == nullptr)) return gnr::kOutOfMemory;

    DrawPinhole(plane, radius, disc.get());
    Low::DFT3D_Transform(&plane, disc.get());
    if (work != nullptr) std::fill_n(work.get(), plane.total, 0.0f);
    for (int z = 0; z < s.planes; ++z) {
        float* const samples = PlaneOf(s, volume, z);
        if (padded) {
            BlurPlane(plane, samples, disc.get());
        } else {
            CopyRows(samples, s.rowLength, work.get(), plane.rowLength, s.rows, s.rowLength);
            BlurPlane(plane, work.get(), disc.get());
            CopyRows(work.get(), plane.rowLength, samples, s.rowLength, s.rows, s.rowLength);
        }
    }
    return gnr::kSuccess;
}

}  // namespace

int FloatPSF3D::ConfocalFluorescence(const DFT3D* pSizes, float* pfOut, const SDiffractionParamsEx* pParams,
                                     bool bCentered, bool bPadded) {
    const OwnedVolume emission = CreateVolume(*pSizes);
    if (emission == nullptr) return gnr::kOutOfMemory;
    double focus = 0.0;
    int status = EpiFluorescence(pSizes, emission.get(), pParams, bCentered, bPadded, true, &focus);
    if (status != gnr::kSuccess) return status;

    SDiffractionParamsEx excitation = *pParams;
    excitation.dEmissionWavelength = pParams->dWavelength;
    status = EpiFluorescence(pSizes, pfOut, &excitation, bCentered, bPadded, false, &focus);
    if (status != gnr::kSuccess) return status;

    const double radius =
        ((pParams->dPinhole * kPinholeRadius) / pParams->dMagnification) / pParams->dXYPitch;
    status = BlurByPinhole(*pSizes, emission.get(), radius, bPadded);
    if (status != gnr::kSuccess) return status;
    ParallelGroups(pfOut, emission.get(), pSizes->total, [](Lanes4 a, Lanes4 b) { return a * b; });
    return gnr::kSuccess;
}
