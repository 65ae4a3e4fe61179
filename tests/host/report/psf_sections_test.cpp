// SPDX-License-Identifier: MIT
// The sections of a PSF that a report shows.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "report/html/psf_sections.h"

namespace rydecon {
namespace {

constexpr double kWidthPerSigma = 2.3548200450309493;  // full width at half maximum of a Gaussian

/// A Gaussian about `peak`, across the borders of the volume; a little brighter to the right and below.
void FillGaussian(const PaddedVolume& psf, const Extent& peak, double sigmaX, double sigmaY, double sigmaZ) {
    const Extent side = psf.logical();
    const auto away = [](int at, int from, int period) {
        const int d = ((at - from) % period + period) % period;
        return d > period / 2 ? d - period : d;
    };
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) {
            for (int i = 0; i < side.x; ++i) {
                const double x = away(i, peak.x, side.x) / sigmaX;
                const double y = away(j, peak.y, side.y) / sigmaY;
                const double z = away(k, peak.z, side.z) / sigmaZ;
                psf.Row(j, k)[i] = static_cast<float>(std::exp(-0.5 * (x * x + y * y + z * z)));
            }
        }
    }
}

TEST(PsfSections, AreCentredOnThePeakWhereverItLies) {
    const PaddedVolume psf({64, 60, 50});
    for (const Extent& peak : {Extent{0, 0, 0}, Extent{32, 30, 25}, Extent{60, 3, 49}}) {
        FillGaussian(psf, peak, 2.0, 3.0, 4.0);
        const ReportPsf report = DescribeWrappedPsf(psf, {64, 60, 50}, {});
        ASSERT_EQ(report.xy.samples.size(), static_cast<std::size_t>(report.xy.width * report.xy.height));
        EXPECT_EQ(report.xy.samples[report.xy.samples.size() / 2], 1.0f);
        EXPECT_EQ(report.xz.samples[report.xz.samples.size() / 2], 1.0f);
        // A Gaussian exceeds a thousandth within 3.717 sigma: 7, 11 and 14 samples, 8 at the least.
        EXPECT_EQ(report.xy.width, 2 * 8 + 1);
        EXPECT_EQ(report.xy.height, 2 * 11 + 1);
        EXPECT_EQ(report.xz.width, 2 * 8 + 1);
        EXPECT_EQ(report.xz.height, 2 * 14 + 1);
        EXPECT_NEAR(*report.widthX, 2.0 * kWidthPerSigma, 1e-4);
        EXPECT_NEAR(*report.widthY, 3.0 * kWidthPerSigma, 1e-4);
        EXPECT_NEAR(*report.widthZ, 4.0 * kWidthPerSigma, 1e-4);
    }
}

TEST(PsfSections, KeepTheDirectionsOfTheAxes) {
    const PaddedVolume psf({32, 32, 32});
    psf.Row(5, 6)[7] = 1.0f;
    psf.Row(5, 6)[9] = 0.5f;   // two to the right
    psf.Row(8, 6)[7] = 0.25f;  // three below
    psf.Row(5, 2)[7] = 0.75f;  // four planes before
    const ReportPsf report = DescribeWrappedPsf(psf, {32, 32, 32}, {});
    const auto xy = [&](int x, int y) {
        return report.xy.samples[static_cast<std::size_t>((8 + y) * report.xy.width + 8 + x)];
    };
    EXPECT_EQ(xy(2, 0), 0.5f);
    EXPECT_EQ(xy(0, 3), 0.25f);
    EXPECT_EQ(report.xz.samples[static_cast<std::size_t>((8 - 4) * report.xz.width + 8)], 0.75f);
}

TEST(PsfSections, GoNoFartherThanItsSides) {
    const PaddedVolume psf({64, 64, 64});
    FillGaussian(psf, {0, 0, 0}, 9.0, 9.0, 9.0);
    const ReportPsf report = DescribeWrappedPsf(psf, {15, 10, 3}, {});
    EXPECT_EQ(report.xy.width, 15);
    EXPECT_EQ(report.xy.height, 9);
    EXPECT_EQ(report.xz.height, 3);
}

TEST(PsfSections, APlaneHasNoDepth) {
    const PaddedVolume psf({32, 32, 1});
    FillGaussian(psf, {0, 0, 0}, 2.0, 2.0, 1.0);
    const ReportPsf report = DescribeWrappedPsf(psf, {32, 32, 1}, {});
    EXPECT_TRUE(report.xz.empty());
    EXPECT_FALSE(report.widthZ.has_value());
    EXPECT_NEAR(*report.widthX, 2.0 * kWidthPerSigma, 1e-4);
}

TEST(PsfSections, SquarePsfOfOddSideIsTheSamePicture) {
    std::vector<float> samples;
    for (int n = 0; n < 21 * 21; ++n) {
        const int x = n % 21 - 10;
        const int y = n / 21 - 10;
        samples.push_back(static_cast<float>(std::exp(-0.5 * (x * x / 4.0 + y * y / 6.25))));
    }
    const ReportPsf report = DescribeSquarePsf(samples, 21, {0.1, 0.1, {}});
    EXPECT_NEAR(*report.widthX, 2.0 * kWidthPerSigma, 1e-4);
    EXPECT_NEAR(*report.widthY, 2.5 * kWidthPerSigma, 1e-4);
    EXPECT_EQ(report.xy.width, 17);
    EXPECT_EQ(report.xy.height, 19);
    EXPECT_EQ(report.xy.samples[static_cast<std::size_t>(9 * 17 + 8 + 2)], samples[10 * 21 + 12]);
}

TEST(PsfSections, WidthIsUndefinedWhereTheProfileDoesNotFall) {
    const PaddedVolume psf({32, 32, 8});
    FillGaussian(psf, {0, 0, 0}, 2.0, 2.0, 100.0);
    const ReportPsf report = DescribeWrappedPsf(psf, {32, 32, 8}, {});
    EXPECT_TRUE(report.widthX.has_value());
    EXPECT_FALSE(report.widthZ.has_value());
}

}  // namespace
}  // namespace rydecon
