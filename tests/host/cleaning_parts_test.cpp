// SPDX-License-Identifier: MIT
// What is found in an image before it is restored, against images whose faults are known.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "cleaning/background.h"
#include "cleaning/bleaching.h"
#include "cleaning/cleaned_planes.h"
#include "cleaning/hot_pixels.h"
#include "cleaning/photon_scale.h"
#include "cleaning/plane_filters.h"
#include "cleaning/saturation.h"
#include "random/random_numbers.h"
#include "support/plane_box.h"

namespace rydecon {
namespace {

using test::PlaneBox;

TEST(LocalMeans, AreThoseOfTheSamplesThatThePlaneHas) {
    const int width = 7;
    const int height = 4;
    std::vector<float> plane;
    for (int n = 0; n < width * height; ++n) plane.push_back(static_cast<float>((n * 37) % 23));
    const std::vector<float> means = LocalMeans(plane.data(), width, height);
    for (int j = 0; j < height; ++j) {
        for (int i = 0; i < width; ++i) {
            double sum = 0.0;
            int count = 0;
            for (int b = std::max(0, j - 2); b <= std::min(height - 1, j + 2); ++b) {
                for (int a = std::max(0, i - 2); a <= std::min(width - 1, i + 2); ++a, ++count) {
                    sum += double{plane[static_cast<std::size_t>(b * width + a)]};
                }
            }
            EXPECT_NEAR(means[static_cast<std::size_t>(j * width + i)], sum / count, 1e-5) << i << ' ' << j;
        }
    }
    EXPECT_EQ(LocalMeans(plane.data(), 1, 1), std::vector<float>{plane[0]});
}

TEST(HighPass, KeepsTheVarianceOfWhiteNoiseAndNothingOfAPlane) {
    RandomNumbers random(5, 0);
    PlaneBox noise({300, 200, 1}, [&](int, int, int) { return 3.0 * random.Normal(); });
    for (const int step : {1, 2}) {
        double sum = 0.0;
        for (int j = 2; j < 198; ++j) {
            for (int i = 2; i < 298; ++i) {
                sum += std::pow(HighPass(noise.samples().data(), 300, i, j, step), 2);
            }
        }
        EXPECT_NEAR(sum / (196 * 296), 9.0, 0.4) << step;
    }
    PlaneBox ramp({9, 9, 1}, [](int i, int j, int) { return 5 + 3 * i - 2 * j + 0.5 * i * j; });
    EXPECT_EQ(HighPass(ramp.samples().data(), 9, 4, 4, 1), 0.0);
    EXPECT_EQ(HighPass(ramp.samples().data(), 9, 4, 4, 2), 0.0);
}

TEST(TrimmedSquares, LeaveOutTheLargestHundredth) {
    TrimmedSquares squares;
    EXPECT_EQ(squares.Rms(), 0.0);
    for (int n = 0; n < 9950; ++n) squares.Add(n % 2 == 0 ? 2.0 : -2.0);
    for (int n = 0; n < 50; ++n) squares.Add(60000.0);
    EXPECT_NEAR(squares.Rms(), 2.0, 1e-9);
    TrimmedSquares zeros;
    for (int n = 0; n < 10; ++n) zeros.Add(0.0);
    EXPECT_EQ(zeros.Rms(), 0.0);
}

/// Poisson noise around a level, with faults at given places.
PlaneBox NoisyBox(double level, std::uint64_t seed = 2) {
    RandomNumbers random(seed, 0);
    return PlaneBox({40, 30, 7}, [&](int, int, int) { return random.Poisson(level); });
}

TEST(HotPixels, AreReplacedByTheMedianOfTheirNeighbours) {
    PlaneBox box = NoisyBox(100.0);
    const PlaneBox clean = box;
    for (int k = 0; k < 7; ++k) box.At(11, 12, k) = 900.0f;  // a defect of the camera is in all planes
    box.At(0, 0, 3) = 2000.0f;
    box.At(39, 29, 6) = 2000.0f;
    box.At(25, 5, 2) = 65535.0f;
    const double least = kHotTimesNoise * NoiseLevel(box);
    EXPECT_NEAR(least, 80.0, 5.0);
    RepairedPlanes repaired(box, least, false);
    long long replaced = 0;
    std::vector<float> plane(40 * 30);
    for (const int k : {3, 0, 6, 1, 2, 5, 4}) {  // in any order
        repaired.ReadPlane(k, plane.data(), 40);
        replaced += repaired.replaced();
        for (int n = 0; n < 40 * 30; ++n) {
            const float given = box.At(n % 40, n / 40, k);
            const float found = plane[static_cast<std::size_t>(n)];
            if (given == clean.At(n % 40, n / 40, k)) {
                ASSERT_EQ(found, given);
            } else {
                ASSERT_NEAR(found, 100.0f, 25.0f);
            }
        }
    }
    EXPECT_EQ(replaced, 7 + 3);
}

TEST(HotPixels, TakeTheMedianOfTheRingInThreePlanes) {
    PlaneBox box({5, 5, 3}, [](int i, int j, int k) { return 10 + ((i * 5 + j * 3 + k * 7) % 9); });
    box.At(2, 2, 1) = 1000.0f;
    box.At(2, 2, 0) = 999.0f;  // straight before: no neighbour
    std::vector<float> ring;
    for (int k = 0; k < 3; ++k) {
        for (int j = 1; j < 4; ++j) {
            for (int i = 1; i < 4; ++i) {
                if (i != 2 || j != 2) ring.push_back(box.At(i, j, k));
            }
        }
    }
    std::sort(ring.begin(), ring.end());
    std::vector<float> plane(25);
    RepairedPlanes(box, 100.0, false).ReadPlane(1, plane.data(), 5);
    EXPECT_EQ(plane[12], (ring[11] + ring[12]) / 2);
    std::vector<float> own;
    for (int n = 0; n < 9; ++n) {
        if (n != 4) own.push_back(box.At(1 + n % 3, 1 + n / 3, 1));
    }
    std::sort(own.begin(), own.end());
    RepairedPlanes(box, 100.0, true).ReadPlane(1, plane.data(), 5);
    EXPECT_EQ(plane[12], (own[3] + own[4]) / 2);
}

TEST(HotPixels, BlurredPointsAndPairsStay) {
    // A point as fine as a PSF may be sampled: a third of its light a sample beside it.
    PlaneBox box({21, 21, 5}, [](int i, int j, int k) {
        return 10 + 50000 * std::exp(-((i - 10) * (i - 10) + (j - 10) * (j - 10) + (k - 2) * (k - 2)) / 0.9);
    });
    box.At(3, 3, 1) = box.At(4, 3, 1) = 5000.0f;
    RepairedPlanes repaired(box, 8.0 * NoiseLevel(box), false);
    std::vector<float> plane(21 * 21);
    for (int k = 0; k < 5; ++k) {
        repaired.ReadPlane(k, plane.data(), 21);
        EXPECT_EQ(repaired.replaced(), 0) << k;
    }
}

TEST(HotPixels, ASampleAloneIsNone) {
    PlaneBox box({1, 1, 1}, [](int, int, int) { return 500.0; });
    std::vector<float> plane(1);
    RepairedPlanes repaired(box, 0.0, false);
    repaired.ReadPlane(0, plane.data(), 1);
    EXPECT_EQ(plane[0], 500.0f);
    EXPECT_EQ(NoiseLevel(box), 0.0);
}

Saturation SaturationIn(const std::string& type, const std::vector<float>& samples,
                        std::optional<int> bits = {}) {
    LevelCount levels(type, bits);
    levels.Add(samples.data(), samples.size());
    return levels.Find();
}

std::vector<float> Ramp(int last) {
    std::vector<float> samples;
    for (int level = 0; level <= last; ++level) samples.push_back(static_cast<float>(level));
    return samples;
}

TEST(LevelCount, CountsTheTopOfTheTypeWhereItIsMoreThanOne) {
    for (const auto& [type, top] : std::vector<std::pair<std::string, float>>{{"uint8", 255.0f},
                                                                              {"int8", 127.0f},
                                                                              {"uint16", 65535.0f},
                                                                              {"int16", 32767.0f},
                                                                              {"uint32", 4294967296.0f},
                                                                              {"int32", 2147483648.0f}}) {
        std::vector<float> samples(50, 3.0f);
        samples.push_back(top);
        EXPECT_EQ(SaturationIn(type, samples).samples, 0) << type;
        samples.push_back(top);
        EXPECT_EQ(SaturationIn(type, samples).samples, 2) << type;
        EXPECT_EQ(SaturationIn(type, samples).level, double{top}) << type;
    }
    EXPECT_EQ(SaturationIn("float32", {255.0f, 255.0f}).samples, 0);
    EXPECT_FALSE(LevelCount("float64").counts());
}

TEST(LevelCount, CountsTheTopOfToldBits) {
    std::vector<float> samples = Ramp(1023);
    samples.push_back(1023.0f);
    EXPECT_EQ(SaturationIn("uint16", samples).samples, 0) << "two are no plateau beside their neighbours";
    EXPECT_EQ(SaturationIn("uint16", samples, 10).samples, 2);
    EXPECT_EQ(SaturationIn("uint16", samples, 12).samples, 0);
    EXPECT_EQ(SaturationIn("uint16", samples, -3).samples, 0);
}

TEST(LevelCount, FindsAPlateauBelowTheTop) {
    std::vector<float> samples = Ramp(4000);
    EXPECT_EQ(SaturationIn("uint16", samples).samples, 0);
    samples.insert(samples.end(), 1000, 4000.0f);  // 62 levels below it have one sample each
    EXPECT_EQ(SaturationIn("uint16", samples).samples, 1001);
    EXPECT_EQ(SaturationIn("uint16", samples).level, 4000.0);
    std::vector<float> full = Ramp(4095);
    full.insert(full.end(), 150, 4095.0f);  // twice as many are enough at 2^12 - 1
    EXPECT_EQ(SaturationIn("uint16", full).samples, 151);
    EXPECT_EQ(SaturationIn("int16", std::vector<float>(50, -7.0f)).samples, 0);
    EXPECT_EQ(SaturationIn("uint8", std::vector<float>(50, 100.0f)).samples, 0) << "a constant is no plateau";
}

TEST(Background, IsTheGroundLessThanAThirdOfTheNoiseBelow) {
    RandomNumbers random(9, 0);
    PlaneBox box({80, 70, 4}, [&](int i, int j, int) {
        const bool cell = std::hypot(i - 40.0, j - 35.0) < 25.0;
        return random.Poisson(cell ? 900.0 : 100.0);
    });
    const double found = EstimateBackground(box, 50.0, 1100.0);
    EXPECT_GT(found, 100.0 - 0.4 * 10.0);
    EXPECT_LT(found, 100.0);
}

TEST(Background, NeverExceedsWhatATwentiethOfTheStackShows) {
    PlaneBox box({40, 40, 1}, [](int i, int, int) { return i < 6 ? 20.0 : 500.0 + i; });
    EXPECT_NEAR(EstimateBackground(box, 20.0, 540.0), 20.0, 0.02);
}

TEST(LoweredPlanes, CutAtZeroAndKeepNaN) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    PlaneBox box({4, 1, 1}, [nan](int i, int, int) {
        return std::vector<float>{5.0f, 12.5f, 12.0f, nan}[static_cast<std::size_t>(i)];
    });
    std::vector<float> row(5, 77.0f);
    LoweredPlanes(box, 12.0).ReadPlane(0, row.data(), 4);
    EXPECT_EQ(row[0], 0.0f);
    EXPECT_EQ(row[1], 0.5f);
    EXPECT_EQ(row[2], 0.0f);
    EXPECT_TRUE(std::isnan(row[3]));
    EXPECT_EQ(row[4], 77.0f);
}

TEST(Bleaching, IsToldFromATenthOn) {
    EXPECT_EQ(BleachingNote({}), "");
    EXPECT_EQ(BleachingNote({100.0}), "");
    EXPECT_EQ(BleachingNote({100.0, 91.0}), "");
    EXPECT_EQ(BleachingNote({100.0, 120.0}), "");
    EXPECT_EQ(BleachingNote({0.0, 0.0}), "");
    EXPECT_EQ(BleachingNote({100.0, 80.0}),
              "the mean falls from 100 to 80 (by 20 %) over 2 time points; bleaching is not corrected");
    // Quarters of eight points; above a ground of 50 the loss is 40 of 50.
    EXPECT_EQ(BleachingNote({102.0, 98.0, 90.0, 80.0, 70.0, 66.0, 62.0, 58.0}, 50.0),
              "the mean falls from 100 to 60 (by 80 %) over 8 time points; bleaching is not corrected");
}

/// Light from 0 to 255 photons in broad steps, as a camera with gain, offset and noise of its own sees it.
PlaneBox CameraBox(double gain, double offset, double readNoise, std::uint64_t seed = 4) {
    RandomNumbers random(seed, 0);
    return PlaneBox({160, 120, 6}, [&](int i, int, int) {
        return offset + gain * random.Poisson(1.0 + 16.0 * (i / 10)) + readNoise * random.Normal();
    });
}

TEST(PhotonScale, IsThatOfTheCamera) {
    for (const auto& [gain, offset] : {std::pair{1.0, 0.0}, std::pair{2.5, 100.0}, std::pair{0.37, 400.0}}) {
        PlaneBox box = CameraBox(gain, offset, 0.0);
        const PhotonScale scale = FindPhotonScale(box, {}, "in.tif").value();
        EXPECT_NEAR(scale.gain, gain, 0.05 * gain);
        EXPECT_NEAR(scale.offset, offset, 2.0 * gain);
        EXPECT_TRUE(scale.gainEstimated && scale.offsetEstimated);
        const PhotonScale through = FindPhotonScale(box, {{}, offset}, "in.tif").value();
        EXPECT_NEAR(through.gain, gain, 0.04 * gain);
        EXPECT_EQ(through.offset, offset);
        EXPECT_FALSE(through.offsetEstimated);
    }
}

TEST(PhotonScale, ReadNoiseLowersTheOffset) {
    // Its variance counts as photons below the offset: offset - variance / gain.
    PlaneBox box = CameraBox(2.0, 100.0, 6.0);
    EXPECT_NEAR(FindPhotonScale(box, {}, "in.tif")->offset, 100.0 - 36.0 / 2.0, 6.0);
}

TEST(PhotonScale, IsTakenAsTold) {
    PlaneBox box = CameraBox(2.0, 100.0, 0.0);
    const PhotonScale told = FindPhotonScale(box, {3.0, {}}, "in.tif").value();
    EXPECT_EQ(told.gain, 3.0);
    EXPECT_EQ(told.offset, 0.0);
    EXPECT_FALSE(told.gainEstimated || told.offsetEstimated);
}

TEST(PhotonScale, NeedsNoiseThatGrowsWithTheLight) {
    const auto refuses = [](PlaneBox box) { EXPECT_THROW(FindPhotonScale(box, {}, "in.tif"), UserError); };
    refuses(PlaneBox({64, 64, 3},
                     [](int i, int j, int) { return 100 + 90 * std::sin(i / 3.0) * std::cos(j / 4.0); }));
    refuses(PlaneBox({64, 64, 3},
                     [](int i, int j, int) { return std::round(1000 + 900 * std::sin(i / 5.0 + j)); }));
    refuses(PlaneBox({64, 64, 3}, [](int i, int, int) { return i; }));
    RandomNumbers random(1, 1);
    refuses(PlaneBox({64, 64, 3}, [&](int i, int, int) { return 1000 + 10 * i + 5 * random.Normal(); }));
    refuses(PlaneBox({2, 2, 1}, [](int i, int, int) { return i; }));
}

TEST(PhotonScale, PhotonsMustBeThere) {
    PlaneBox box = CameraBox(1.0, 10.0, 0.0);
    EXPECT_THROW(FindPhotonScale(box, {1.0e6, {}}, "in.tif"), UserError);
    EXPECT_THROW(FindPhotonScale(box, {1.0e-8, {}}, "in.tif"), UserError);
    EXPECT_THROW(FindPhotonScale(box, {1.0, 5000.0}, "in.tif"), UserError);
    PlaneBox below = CameraBox(1.0, -20.0, 0.0);
    EXPECT_THROW(FindPhotonScale(below, {1.0, {}}, "in.tif"), UserError);
    EXPECT_EQ(FindPhotonScale(below, {1.0, -20.0}, "in.tif")->offset, -20.0);
}

}  // namespace
}  // namespace rydecon
