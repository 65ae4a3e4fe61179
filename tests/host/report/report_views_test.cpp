// SPDX-License-Identifier: MIT
// What a report gathers plane by plane, against the whole volume at once.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "report/html/report_views.h"
#include "report_scene.h"

namespace rydecon {
namespace {

using test::HeaderOfShape;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kPoison = 1e30f;  // in what pads the rows

struct Box {
    int x;
    int y;
    int z;
    std::vector<float> samples;

    float At(int i, int j, int k) const { return samples[static_cast<std::size_t>((k * y + j) * x + i)]; }
};

Box Pattern(int x, int y, int z, int seed) {
    Box box{x, y, z, {}};
    for (int n = 0; n < x * y * z; ++n)
        box.samples.push_back(static_cast<float>((n * (37 + seed)) % 101) - 20.0f);
    return box;
}

template <class Add>
void Feed(const Box& box, Add add) {
    const int rowLength = box.x + 3;
    for (int k = 0; k < box.z; ++k) {
        std::vector<float> plane(static_cast<std::size_t>(rowLength * box.y), kPoison);
        for (int j = 0; j < box.y; ++j) {
            for (int i = 0; i < box.x; ++i)
                plane[static_cast<std::size_t>(j * rowLength + i)] = box.At(i, j, k);
        }
        add(plane.data(), rowLength);
    }
}

VolumeViews ViewsOf(const Box& before, const Box& after, const VoxelSize& voxel = {}) {
    ReportViews views(HeaderOfShape(before.x, before.y, before.z, voxel));
    // A restoration that writes while it reads may mix both.
    Feed(after, [&](const float* plane, int rowLength) { views.AddAfter(plane, rowLength); });
    Feed(before, [&](const float* plane, int rowLength) { views.AddBefore(plane, rowLength); });
    return views.Finish();
}

float LargestIn(const Box& box, int fromX, int toX, int fromY, int toY, int fromZ, int toZ) {
    float largest = -std::numeric_limits<float>::infinity();
    for (int k = fromZ; k < std::min(toZ, box.z); ++k) {
        for (int j = fromY; j < std::min(toY, box.y); ++j) {
            for (int i = fromX; i < std::min(toX, box.x); ++i) largest = std::max(largest, box.At(i, j, k));
        }
    }
    return largest;
}

/// Every pixel is the largest sample of r samples along the picture's axes and of all along the third.
void ExpectProjections(const OrthogonalViews& views, const Box& box, int r) {
    ASSERT_EQ(views.xy.samples.size(), static_cast<std::size_t>(views.xy.width * views.xy.height));
    for (int j = 0; j < views.xy.height; ++j) {
        for (int i = 0; i < views.xy.width; ++i) {
            EXPECT_EQ(views.xy.samples[static_cast<std::size_t>(j * views.xy.width + i)],
                      LargestIn(box, i * r, (i + 1) * r, j * r, (j + 1) * r, 0, box.z));
        }
    }
    for (int k = 0; k < views.xz.height; ++k) {
        for (int i = 0; i < views.xz.width; ++i) {
            EXPECT_EQ(views.xz.samples[static_cast<std::size_t>(k * views.xz.width + i)],
                      LargestIn(box, i * r, (i + 1) * r, 0, box.y, k * r, (k + 1) * r));
        }
        for (int j = 0; j < views.yz.height; ++j) {
            EXPECT_EQ(views.yz.samples[static_cast<std::size_t>(j * views.yz.width + k)],
                      LargestIn(box, 0, box.x, j * r, (j + 1) * r, k * r, (k + 1) * r));
        }
    }
}

TEST(ReportViews, ProjectionsAreMaximaOfTheVolume) {
    const Box before = Pattern(7, 5, 4, 0);
    const Box after = Pattern(7, 5, 4, 6);
    const VolumeViews views = ViewsOf(before, after);
    EXPECT_EQ(views.reduction, 1);
    EXPECT_EQ(views.before.xz.width, 7);
    EXPECT_EQ(views.before.xz.height, 4);
    EXPECT_EQ(views.before.yz.width, 4);
    EXPECT_EQ(views.before.yz.height, 5);
    ExpectProjections(views.before, before, 1);
    ExpectProjections(views.after, after, 1);
}

TEST(ReportViews, LargePicturesShowTheLargestOfNeighbours) {
    const Box box = Pattern(2050, 4, 3, 0);
    const VolumeViews views = ViewsOf(box, box);
    EXPECT_EQ(views.reduction, 3);
    EXPECT_EQ(views.before.xy.width, 684);
    EXPECT_EQ(views.before.xy.height, 2);
    EXPECT_EQ(views.before.xz.height, 1);
    ExpectProjections(views.before, box, 3);
    EXPECT_EQ(
        ViewsOf(Pattern(kLongestReportPicture, 1, 1, 0), Pattern(kLongestReportPicture, 1, 1, 0)).reduction,
        1);
}

TEST(ReportViews, APictureHasOneProjectionOnly) {
    const Box box = Pattern(9, 6, 1, 0);
    const VolumeViews views = ViewsOf(box, box);
    EXPECT_EQ(views.before.xy.samples, box.samples);
    EXPECT_TRUE(views.before.xz.empty());
    EXPECT_TRUE(views.before.yz.empty());
}

TEST(ReportViews, AxesOfOneSample) {
    for (const Box& box :
         {Pattern(1, 6, 5, 0), Pattern(6, 1, 5, 0), Pattern(1, 1, 5, 0), Pattern(1, 1, 1, 0)}) {
        const VolumeViews views = ViewsOf(box, box, {0.1, 0.1, 0.2});
        ExpectProjections(views.before, box, 1);
        EXPECT_EQ(views.spectrum.before.empty(), box.x * box.y == 1);
    }
}

TEST(ReportViews, NumbersAreThoseOfTheSamples) {
    Box before = Pattern(7, 5, 4, 0);
    before.samples[3] = kNan;
    before.samples[70] = std::numeric_limits<float>::infinity();
    const Box after = Pattern(7, 5, 4, 6);
    const VolumeViews views = ViewsOf(before, after);
    double sum = 0.0;
    float least = kPoison;
    float largest = -kPoison;
    for (const float sample : before.samples) {
        if (!std::isfinite(sample)) continue;
        sum += sample;
        least = std::min(least, sample);
        largest = std::max(largest, sample);
    }
    EXPECT_DOUBLE_EQ(views.numbersBefore.sum, sum);
    EXPECT_EQ(views.numbersBefore.least, least);
    EXPECT_EQ(views.numbersBefore.largest, largest);
    EXPECT_EQ(views.numbersBefore.finite, 138u);
    EXPECT_EQ(views.numbersBefore.nonFinite, 2u);
    EXPECT_EQ(views.numbersAfter.finite, 140u);
    std::uint64_t counted = 0;
    for (const auto count : views.histogram.before) counted += count;
    EXPECT_EQ(counted, 138u);
    EXPECT_LE(static_cast<int>(views.histogram.before.size()), kMostHistogramBins);
}

TEST(ReportViews, APixelWithoutAnyFiniteSampleHasNone) {
    Box box = Pattern(4, 3, 2, 0);
    box.samples[5] = kNan;
    box.samples[12 + 5] = kNan;
    const VolumeViews views = ViewsOf(box, box);
    EXPECT_TRUE(std::isnan(views.before.xy.samples[5]));
    EXPECT_FALSE(std::isnan(views.before.xy.samples[4]));
}

TEST(ReportViews, SpectraAreOfTheMeanAlongZOverTheSquaredMeanBefore) {
    const VoxelSize voxel = {0.1, 0.1, 0.3};
    const Box before = Pattern(12, 10, 3, 0);
    Box after = before;
    for (float& sample : after.samples) sample *= 3.0f;
    const VolumeViews views = ViewsOf(before, after, voxel);
    std::vector<double> mean(120);
    double total = 0.0;
    for (std::size_t n = 0; n < before.samples.size(); ++n) {
        mean[n % 120] += before.samples[n] / 3.0;
        total += before.samples[n] / 360.0;
    }
    const StackHeader header = HeaderOfShape(12, 10, 3, voxel);
    const std::vector<double> power = RadialPower(mean, header, RingsOf(header));
    ASSERT_EQ(views.spectrum.before.size(), power.size());
    for (std::size_t n = 1; n < power.size(); ++n) {
        EXPECT_NEAR(views.spectrum.before[n], power[n] / (total * total), 1e-6 * power[n]);
        EXPECT_NEAR(views.spectrum.after[n], 9.0 * power[n] / (total * total), 1e-5 * power[n]);
    }
}

TEST(ReportViews, ABlackVolumeAndOneWithoutFiniteSamplesAreFine) {
    Box black{6, 4, 2, std::vector<float>(48, 0.0f)};
    EXPECT_EQ(ViewsOf(black, black).histogram.before.size(), 1u);
    const Box nothing{6, 4, 2, std::vector<float>(48, kNan)};
    const VolumeViews views = ViewsOf(nothing, nothing);
    EXPECT_TRUE(views.histogram.before.empty());
    EXPECT_EQ(views.numbersBefore.finite, 0u);
}

TEST(ReportViews, TakeAsManyBytesAsForetold) {
    for (const auto& [x, y, z] : {std::array{500, 400, 6}, {2500, 90, 30}, {300, 200, 1}, {31, 1100, 40}}) {
        const Box box = Pattern(x, y, z, 0);
        const VolumeViews views = ViewsOf(box, box);
        std::size_t bytes = 0;
        for (const OrthogonalViews* const image : {&views.before, &views.after}) {
            for (const SamplePicture* const picture : {&image->xy, &image->xz, &image->yz})
                bytes += sizeof(float) * picture->samples.size();
        }
        for (const auto* const counts : {&views.histogram.before, &views.histogram.after})
            bytes += sizeof(std::uint64_t) * counts->size();
        for (const auto* const powers : {&views.spectrum.before, &views.spectrum.after})
            bytes += sizeof(double) * powers->size();
        const auto foretold = static_cast<double>(BytesOfViews(x, y, z));
        EXPECT_GE(foretold, static_cast<double>(bytes)) << x;
        EXPECT_LE(foretold, 1.02 * static_cast<double>(bytes) + 12000.0) << x << ": charts have bounds only";
    }
}

TEST(ReportViews, VolumesWithViewsAreSpreadEvenlyAndFew) {
    for (const int count : {1, 2, kMostVolumesWithViews, kMostVolumesWithViews + 1, 100, 12345}) {
        int shown = 0;
        for (int n = 0; n < count; ++n) shown += ShowsViews(n, count) ? 1 : 0;
        EXPECT_EQ(shown, std::min(count, kMostVolumesWithViews)) << count;
        EXPECT_TRUE(ShowsViews(0, count));
        EXPECT_TRUE(ShowsViews(count - 1, count));
    }
}

}  // namespace
}  // namespace rydecon
