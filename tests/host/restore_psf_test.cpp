// SPDX-License-Identifier: MIT
// rydecon restore: every kind of PSF file that users have.

#include <gtest/gtest.h>

#include <limits>

#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::AllFinite;
using test::AllMethods;
using test::Blurred;
using test::GaussianPsf;
using test::MakeStack;
using test::Rmse;
using test::SmallObject;
using test::Stack;
using test::Words;

class RestorePsf : public test::RestoreTest {
  protected:
    RestorePsf() : object_(SmallObject()), image_(Blurred(object_, GaussianPsf())) {}

    Stack object_;
    Stack image_;
};

/// The PSF in a larger dark stack, its first sample at (x, y, z).
Stack Placed(const Stack& psf, int x, int y, int z, int width, int height, int planes) {
    return MakeStack(width, height, planes, [&](int i, int j, int k) {
        const int a = i - x;
        const int b = j - y;
        const int c = k - z;
        const bool inside = a >= 0 && a < psf.header.width && b >= 0 && b < psf.header.height && c >= 0 &&
                            c < psf.header.planes();
        return inside ? psf.At(a, b, c) : 0.0f;
    });
}

TEST_F(RestorePsf, PlaceInItsFileDoesNotMatter) {
    for (const std::string& method : AllMethods()) {
        const Stack plain = Restored(image_, GaussianPsf(), {"--method", method});
        for (const Stack& psf :
             {Placed(GaussianPsf(), 0, 0, 0, 14, 12, 13), Placed(GaussianPsf(), 3, 2, 0, 12, 11, 11),
              Placed(GaussianPsf(), 1, 0, 5, 10, 9, 16)}) {
            EXPECT_EQ(Restored(image_, psf, {"--method", method}).samples, plain.samples) << method;
        }
    }
}

TEST_F(RestorePsf, ScaleDoesNotMatter) {
    const Stack plain = Restored(image_, GaussianPsf());
    for (const float factor : {0x1p-100f, 0x1p-20f, 0x1p+50f}) {
        Stack psf = GaussianPsf();
        for (float& sample : psf.samples) sample *= factor;
        EXPECT_EQ(Restored(image_, psf).samples, plain.samples) << factor;
    }
}

TEST_F(RestorePsf, OneSampleGivesTheImageBack) {
    const Stack psf = MakeStack(1, 1, 1, [](int, int, int) { return 3; });
    for (const std::string& method : AllMethods()) {
        const Stack restored = Restored(image_, psf, {"--method", method});
        EXPECT_LT(Rmse(restored, image_), 0.01 * 1000) << method;
    }
}

TEST_F(RestorePsf, PeakInACornerDoesNotMoveTheImage) {
    // All light goes towards larger indices; the peak stays where the light came from.
    const Stack psf = MakeStack(3, 3, 3, [](int i, int j, int k) {
        return i + j + k == 0 ? 6 : i + j + k == 1 ? 1 : 0;
    });
    const Stack image = MakeStack(20, 18, 12, [](int i, int j, int k) {
        const int x = i - 9;
        const int y = j - 8;
        const int z = k - 6;
        if (x == 0 && y == 0 && z == 0) return 600;
        return (x == 1 && y == 0 && z == 0) || (x == 0 && y == 1 && z == 0) || (x == 0 && y == 0 && z == 1)
                   ? 100
                   : 0;
    });
    for (const std::string& method : AllMethods()) {
        const Stack restored = Restored(image, psf, {"--method", method});
        EXPECT_EQ(restored.At(9, 8, 6), *std::max_element(restored.samples.begin(), restored.samples.end()));
        EXPECT_GT(restored.At(9, 8, 6), 800.0f) << method;
        EXPECT_LT(restored.At(10, 8, 6), 50.0f) << method;
    }
}

TEST_F(RestorePsf, EvenSidesAreTaken) {
    // One row, column and plane of the tail are missing; the peak is the same sample.
    const Stack odd = GaussianPsf();
    const Stack even = MakeStack(8, 8, 10, [&](int i, int j, int k) { return odd.At(i, j, k); });
    for (const std::string& method : AllMethods()) {
        const Stack restored = Restored(image_, even, {"--method", method});
        EXPECT_LT(Rmse(restored, object_), 0.95 * Rmse(image_, object_)) << method;
    }
}

TEST_F(RestorePsf, LargerThanTheVolumeIsCroppedWithANote) {
    // A faint pedestal far out asks for no margin, so the frame stays smaller than the file.
    const Stack psf = MakeStack(61, 61, 61, [](int i, int j, int k) {
        const int r = (i - 30) * (i - 30) + (j - 30) * (j - 30) + (k - 30) * (k - 30);
        return std::exp(-r / 3.0) + 1e-6;
    });
    const Stack restored =
        Restored(MakeStack(9, 8, 7, [](int i, int j, int k) { return 10 + i + j * k; }), psf);
    EXPECT_TRUE(AllFinite(restored));
    EXPECT_NE(said_.err.find("rydecon: note: 'psf.tif': the PSF is larger than the volume of "),
              std::string::npos)
        << said_.err;
    EXPECT_NE(said_.err.find(" % of its sum is cut off\n"), std::string::npos) << said_.err;
    EXPECT_EQ(std::count(said_.err.begin(), said_.err.end(), '\n'), 1);
}

TEST_F(RestorePsf, BroadOneLargerThanTheImageFindsRoom) {
    const Stack psf = MakeStack(41, 39, 37, [](int, int, int) { return 1; });
    const Stack restored =
        Restored(MakeStack(9, 8, 7, [](int i, int j, int k) { return 10 + i + j * k; }), psf);
    EXPECT_TRUE(AllFinite(restored));
    EXPECT_EQ(said_.err, "");
}

TEST_F(RestorePsf, NegativeSamplesAreToldAndTakenAsZero) {
    Stack psf = GaussianPsf();
    Stack cut = psf;
    for (std::size_t n : {0U, 5U, 77U}) {
        psf.samples[n] = -1.0f;
        cut.samples[n] = 0.0f;
    }
    const Stack expected = Restored(image_, cut);
    EXPECT_EQ(Restored(image_, psf).samples, expected.samples);
    EXPECT_EQ(said_.err, "rydecon: note: 'psf.tif': 3 negative samples of the PSF are set to 0\n");
}

TEST_F(RestorePsf, UnusableOnesAreRefused) {
    const Words words = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"};
    Write("in.tif", image_);
    Stack psf = GaussianPsf();
    psf.samples[3] = std::numeric_limits<float>::quiet_NaN();
    psf.samples[9] = std::numeric_limits<float>::infinity();
    Write("psf.tif", psf);
    ExpectRefusal(words, 1, "cannot read 'psf.tif': 2 samples of the PSF are NaN or infinite");
    Write("psf.tif", MakeStack(3, 3, 3, [](int, int, int) { return 0; }));
    ExpectRefusal(words, 1, "cannot read 'psf.tif': the PSF has no sample above 0");
    Write("psf.tif", MakeStack(3, 3, 3, [](int, int, int) { return -1; }));
    ExpectRefusal(words, 1, "cannot read 'psf.tif': the PSF has no sample above 0");
}

TEST_F(RestorePsf, OtherVoxelSizeIsToldAndResampled) {
    Stack psf = GaussianPsf();
    psf.header.voxel = {0.1, 0.12, 0.15};
    Restored(image_, psf);
    EXPECT_EQ(
        said_.err,
        "rydecon: note: 'psf.tif': resampled from voxels of 0.1 x 0.12 x 0.15 um to those of the image, "
        "0.1 x 0.12 x 0.3 um (Lanczos)\n");
    psf.header.voxel = image_.header.voxel;
    Restored(image_, psf);
    EXPECT_EQ(said_.err, "");
}

}  // namespace
}  // namespace rydecon
