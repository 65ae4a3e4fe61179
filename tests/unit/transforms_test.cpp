// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/kernels_3d.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>
#include <tuple>
#include <vector>

#include "support/bits.h"
#include "support/tolerances.h"
#include "support/volumes.h"

namespace {

using Low = CRy3DDeconvolutionLow;
using gnr::test::SameBits;
using gnr::test::Volume;

Volume RandomVolume(int x, int y, int z, unsigned seed = 3) {
    Volume v(x, y, z);
    v.FillRandom(seed, -1.0f, 2.0f).FillPadding(gnr::test::kSentinel);
    return v;
}

double Tolerance(const Volume& v) {
    const double samples = 1.0 * v.x() * v.y() * v.z();
    return gnr::test::TransformTolerance(samples, 2.0 * samples);
}

class TransformEdges : public testing::TestWithParam<std::tuple<int, int, int>> {
  protected:
    static Volume Zeros() {
        const auto [x, y, z] = GetParam();
        return Volume(x, y, z);
    }
    static Volume Random() {
        const auto [x, y, z] = GetParam();
        return RandomVolume(x, y, z);
    }
};

TEST_P(TransformEdges, ZeroFrequencyIsTheSumOfTheImageColumns) {
    const Volume v = Random();
    double sum = 0.0;
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) sum += v.at(i, j, k);
        }
    }
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    EXPECT_NEAR(v.get()[0], sum, Tolerance(v));
    EXPECT_EQ(v.get()[1], 0.0f);
}

TEST_P(TransformEdges, FrequenciesThatAreTheirOwnConjugatesAreReal) {
    const Volume v = Random();
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    for (int w = 0; w < v.z(); ++w) {
        for (int r = 0; r < v.y(); ++r) {
            if (2 * w % v.z() != 0 || 2 * r % v.y() != 0) continue;
            EXPECT_EQ(v.at(1, r, w), 0.0f) << r << ' ' << w;
            EXPECT_EQ(v.at(v.x() + 1, r, w), 0.0f) << r << ' ' << w;
        }
    }
}

TEST_P(TransformEdges, AnImpulseAtTheOriginIsFlatAndReal) {
    const Volume v = Zeros();
    v.at(0, 0, 0) = 3.0f;
    const double tolerance = gnr::test::TransformTolerance(1.0 * v.x() * v.y() * v.z(), 3.0);
    ASSERT_EQ(Low::DFT3D_Transform(&v.sizes, v), 0);
    for (std::int64_t n = 0; n < v.sizes.total; n += 2) {
        ASSERT_NEAR(v.get()[n], 3.0, tolerance) << n;
        ASSERT_NEAR(v.get()[n + 1], 0.0, tolerance) << n;
    }
}

TEST_P(TransformEdges, PaddingIsNotRead) {
    const Volume plain = Random();
    const Volume poisoned = plain;
    for (int k = 0; k < poisoned.z(); ++k) {
        for (int j = 0; j < poisoned.y(); ++j) {
            poisoned.at(poisoned.x(), j, k) = std::numeric_limits<float>::quiet_NaN();
            poisoned.at(poisoned.x() + 1, j, k) = std::numeric_limits<float>::infinity();
        }
    }
    ASSERT_EQ(Low::DFT3D_Transform(&plain.sizes, plain), 0);
    ASSERT_EQ(Low::DFT3D_Transform(&poisoned.sizes, poisoned), 0);
    EXPECT_TRUE(SameBits(poisoned.ToVector(), plain.ToVector()));
}

TEST_P(TransformEdges, NonInPlaceLeavesItsInputAndGivesTheInPlaceSpectrum) {
    const Volume in = Random();
    const std::vector<float> before = in.ToVector();
    Volume out = Zeros();
    ASSERT_EQ(Low::DFT3D_Transform_NonInPlace(&in.sizes, out, in), 0);
    EXPECT_TRUE(SameBits(in.ToVector(), before));
    ASSERT_EQ(Low::DFT3D_Transform(&in.sizes, in), 0);
    for (std::int64_t n = 0; n < in.sizes.total; ++n)
        ASSERT_NEAR(out.get()[n], in.get()[n], Tolerance(in)) << n;
}

/// One plane of a volume as a volume of its own.
Volume PlaneOf(const Volume& v, int plane) {
    Volume alone(v.x(), v.y(), 1);
    for (std::int32_t n = 0; n < v.sizes.planeStride; ++n) {
        alone.get()[n] = v.get()[std::int64_t{plane} * v.sizes.planeStride + n];
    }
    return alone;
}

TEST_P(TransformEdges, PlanesTransformAsAlone) {
    const Volume v = Random();
    std::vector<Volume> alone;
    for (int k = 0; k < v.z(); ++k) {
        alone.push_back(PlaneOf(v, k));
        ASSERT_EQ(Low::DFT3D_Transform(&alone.back().sizes, alone.back()), 0);
    }
    ASSERT_EQ(Low::DFT2D_Transform(&v.sizes, v), 0);
    for (int k = 0; k < v.z(); ++k) {
        const Volume plane = PlaneOf(v, k);
        for (std::int32_t n = 0; n < v.sizes.planeStride; ++n) {
            ASSERT_NEAR(plane.get()[n], alone[static_cast<std::size_t>(k)].get()[n], Tolerance(plane))
                << k << ' ' << n;
        }
    }
}

TEST_P(TransformEdges, PlanesComeBackDividedByTheirOwnSamples) {
    const Volume before = Random();
    const Volume v = before;
    ASSERT_EQ(Low::DFT2D_Transform(&v.sizes, v), 0);
    ASSERT_EQ(Low::DFT2D_Inversion(&v.sizes, v), 0);
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) ASSERT_NEAR(v.at(i, j, k), before.at(i, j, k), 4e-6);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, TransformEdges,
                         testing::Values(std::tuple(2, 1, 1), std::tuple(2, 3, 4), std::tuple(8, 6, 5),
                                         std::tuple(10, 33, 3), std::tuple(6, 1, 7), std::tuple(194, 5, 2),
                                         std::tuple(4, 101, 2), std::tuple(2, 2, 127)));

TEST(Transforms, RefuseSidesOfZeroAndBelow) {
    for (const auto& [x, y, z] : {std::tuple(0, 4, 4), std::tuple(4, 0, 4), std::tuple(4, 4, 0),
                                  std::tuple(-2, 4, 4), std::tuple(-4, 4, 4), std::tuple(4, -4, 4),
                                  std::tuple(4, 4, -4), std::tuple(-4, -4, 4), std::tuple(0, 0, 0)}) {
        const DFT3D s = gnr::test::Geometry(x, y, z);
        const Volume buffer = RandomVolume(8, 8, 8);
        const Volume other = RandomVolume(8, 8, 8);
        const std::vector<float> before = buffer.ToVector();
        EXPECT_EQ(Low::DFT3D_Transform(&s, buffer), -1) << x << ' ' << y << ' ' << z;
        EXPECT_EQ(Low::DFT3D_Transform_NonInPlace(&s, buffer, other), -1) << x << ' ' << y << ' ' << z;
        EXPECT_EQ(Low::DFT3D_Inversion(&s, buffer), -1) << x << ' ' << y << ' ' << z;
        EXPECT_EQ(Low::DFT2D_Transform(&s, buffer), -1) << x << ' ' << y << ' ' << z;
        EXPECT_EQ(Low::DFT2D_Inversion(&s, buffer), -1) << x << ' ' << y << ' ' << z;
        EXPECT_TRUE(SameBits(buffer.ToVector(), before));
    }
}

TEST(Transforms, RefuseNullBuffers) {
    const Volume v = RandomVolume(4, 3, 2);
    EXPECT_EQ(Low::DFT3D_Transform(&v.sizes, nullptr), -1);
    EXPECT_EQ(Low::DFT3D_Transform_NonInPlace(&v.sizes, nullptr, v), -1);
    EXPECT_EQ(Low::DFT3D_Transform_NonInPlace(&v.sizes, v, nullptr), -1);
    EXPECT_EQ(Low::DFT3D_Inversion(&v.sizes, nullptr), -1);
    EXPECT_EQ(Low::DFT2D_Transform(&v.sizes, nullptr), -1);
    EXPECT_EQ(Low::DFT2D_Inversion(&v.sizes, nullptr), -1);
}

/// Nothing is shared between calls: several at once give what each gives alone.
TEST(Transforms, SeveralAtOnceGiveWhatEachGivesAlone) {
    struct Job {
        Volume volume;
        std::vector<float> spectrum;
        std::vector<float> image;
    };
    std::vector<Job> jobs;
    const std::tuple<int, int, int> sizes[] = {{32, 20, 6}, {30, 18, 5}, {32, 20, 6}, {14, 9, 40}};
    for (unsigned n = 0; n < 4; ++n) {
        const auto [x, y, z] = sizes[n];
        const Volume alone = RandomVolume(x, y, z, n);
        Job job = {alone, {}, {}};
        ASSERT_EQ(Low::DFT3D_Transform(&alone.sizes, alone), 0);
        job.spectrum = alone.ToVector();
        ASSERT_EQ(Low::DFT3D_Inversion(&alone.sizes, alone), 0);
        job.image = alone.ToVector();
        jobs.push_back(job);
    }
    std::vector<testing::AssertionResult> results(jobs.size(), testing::AssertionSuccess());
    std::vector<std::thread> threads;
    for (std::size_t n = 0; n < jobs.size(); ++n) {
        threads.emplace_back([&jobs, &results, n] {
            for (int round = 0; round < 10 && results[n]; ++round) {
                const Volume v = jobs[n].volume;
                Low::DFT3D_Transform(&v.sizes, v);
                results[n] = SameBits(v.ToVector(), jobs[n].spectrum);
                if (!results[n]) break;
                Low::DFT3D_Inversion(&v.sizes, v);
                results[n] = SameBits(v.ToVector(), jobs[n].image);
            }
        });
    }
    for (std::thread& t : threads) t.join();
    for (const testing::AssertionResult& result : results) EXPECT_TRUE(result);
}

}  // namespace
