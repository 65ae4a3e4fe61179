// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/psf_access.h"

namespace {

using namespace gnr::test;

TEST(PsfGauss, WidthGrowsPlaneByPlaneAndTheRestIsCleared) {
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(10, 9, 4), 0);
    std::fill_n(psf.pfPSF, psf.sizes.total, kSentinel);
    psf.KERNEL3D_Gauss(&psf.sizes, psf.pfPSF, 2, 77, 0.75);
    const double sigmas[] = {0.5, 1.25};
    for (int z = 0; z < 2; ++z) {
        const double s2 = sigmas[z] * sigmas[z];
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 2; ++x) {
                const double expected = std::exp(-(x * x + y * y) / s2) / (s2 * 3.1415926535898);
                if (expected < 1e-10) continue;
                EXPECT_NEAR(psf.at(x, y, z), expected, 1e-6 * expected) << x << " " << y << " " << z;
            }
        }
    }
    // What the cut-off skips is not written.
    EXPECT_EQ(psf.at(9, 0, 0), kSentinel);
    for (int z = 2; z < 4; ++z) {
        for (int y = 0; y < 9; ++y) {
            for (int x = 0; x < 12; ++x) ASSERT_EQ(psf.at(x, y, z), 0.0f);
        }
    }
}

TEST(PsfGauss, NoPlaneClearsTheVolume) {
    OpenPsf psf;
    ASSERT_EQ(psf.AllocatePSF(4, 4, 2), 0);
    std::fill_n(psf.pfPSF, psf.sizes.total, kSentinel);
    psf.KERNEL3D_Gauss(&psf.sizes, psf.pfPSF, 0, 0, 1.0);
    for (std::int64_t n = 0; n < psf.sizes.total; ++n) ASSERT_EQ(psf.pfPSF[n], 0.0f);
}

}  // namespace
