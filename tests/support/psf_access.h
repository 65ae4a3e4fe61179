// SPDX-License-Identifier: MIT
#pragma once

// What tests of the PSF share: access to protected kernels, usual optics, recorded progress.

#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "support/progress_log.h"
#include "support/volumes.h"

namespace gnr::test {

struct OpenPsf : FloatPSF3D {
    using FloatPSF3D::DFT3D_ZeroSizes;
    using FloatPSF3D::GenerateAiry1D;
    using FloatPSF3D::KERNEL3D_2Photon;
    using FloatPSF3D::KERNEL3D_Airy;
    using FloatPSF3D::KERNEL3D_Gauss;
    using FloatPSF3D::KERNEL3D_GibsonLani;
    using FloatPSF3D::KERNEL3D_Square;
    using FloatPSF3D::MovePSFToCorrect;

    float& at(int x, int y, int z) {
        return pfPSF[std::int64_t{z} * sizes.planeStride + std::int64_t{y} * sizes.rowLength + x];
    }
};

/// A PSF whose floats, padding included, are 1, 2, 3 and so on.
inline void Number(OpenPsf& psf, unsigned x, unsigned y, unsigned z) {
    ASSERT_EQ(psf.AllocatePSF(x, y, z), 0);
    for (std::int64_t n = 0; n < psf.sizes.total; ++n) psf.pfPSF[n] = static_cast<float>(n + 1);
}

inline std::vector<float> Floats(const FloatPSF3D& psf) {
    return {psf.pfPSF, psf.pfPSF + psf.sizes.total};
}

/// An oil objective of aperture 1.4 over a sample of the same index, at the nominal focus.
inline SDiffractionParamsEx OilOptics() {
    SDiffractionParamsEx p;
    p.dNA = 1.4;
    p.dRefractiveIndex = 1.515;
    p.dWavelength = 0.488;
    p.dXYPitch = 0.065;
    p.dZPitch = 0.2;
    p.dEmissionWavelength = 0.525;
    p.dSampleRefractiveIndex = 1.515;
    p.dPinhole = 30.0;
    p.dMagnification = 63.0;
    p.uiMaxZSamples = 1000;
    return p;
}

/// An aperture so low that the paraxial formulas hold.
inline SDiffractionParamsEx LowApertureOptics() {
    SDiffractionParamsEx p = OilOptics();
    p.dNA = 0.1;
    p.dRefractiveIndex = 1.0;
    p.dSampleRefractiveIndex = 1.0;
    p.dXYPitch = 0.5;
    p.dZPitch = 5.0;
    return p;
}

/// A record of `count` stop checks of a PSF kernel, all made on this thread.
inline void ExpectPolls(const ProgressLog& record, std::size_t count) {
    EXPECT_EQ(record.Calls().size(), count);
    for (const ProgressReport& call : record.Calls()) {
        EXPECT_EQ(call.text, L"Generating PSF...");
        EXPECT_EQ(call.phase, eProgressPoll);
        EXPECT_EQ(call.a + call.b + call.c + call.n, 0u);
        EXPECT_EQ(call.hostPointer, &record);
        EXPECT_EQ(call.thread, std::this_thread::get_id());
    }
}

}  // namespace gnr::test
