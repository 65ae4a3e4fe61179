// SPDX-License-Identifier: MIT

// The divergence of the normalised gradient where it can be told by hand: flat parts, steps, borders,
// padding.

#include <gnr_deconvolution/legacy.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/bits.h"
#include "support/restoration_job.h"

namespace {

using namespace gnr::test;

/// x and the four volumes that are computed from it; these begin as sentinels in every float.
struct Divergence {
    explicit Divergence(const Volume& estimate)
        : x(estimate), gx(x.sizes), gy(x.sizes), gz(x.sizes), T(x.sizes) {
        for (Volume* const v : {&gx, &gy, &gz, &T}) {
            v->Fill([](int, int, int) { return kSentinel; }).FillPadding(kSentinel);
        }
    }
    void Run() { CRyLegacy3DDeconvolutionFamily::ComputeTVDivergence3D(&x.sizes, gx, gy, gz, T, x); }

    Volume x, gx, gy, gz, T;
};

Divergence DivergenceOf(const Volume& x) {
    Divergence d(x);
    d.Run();
    return d;
}

TEST(TotalVariationDivergence, AConstantVolumeHasNoDirection) {
    const auto d = DivergenceOf(Volume(6, 5, 4).Fill([](int, int, int) { return 7; }));
    for (const Volume* const v : {&d.gx, &d.gy, &d.gz, &d.T}) EXPECT_TRUE(AllSamplesAre(*v, 0.0f));
}

TEST(TotalVariationDivergence, ARampHasOneDirectionAndNoDivergence) {
    const auto d = DivergenceOf(Volume(6, 5, 4).Fill([](int i, int j, int k) { return i + 2 * j - 2 * k; }));
    EXPECT_TRUE(AllSamplesAre(d.gx, static_cast<float>(1.0 / 3)));
    EXPECT_TRUE(AllSamplesAre(d.gy, static_cast<float>(2.0 / 3)));
    EXPECT_TRUE(AllSamplesAre(d.gz, static_cast<float>(-2.0 / 3)));
    EXPECT_TRUE(AllSamplesAre(d.T, 0.0f));
}

/// Both differences look forward: a bright plane of x at column 3 shows at columns 1 to 3, and not around it.
TEST(TotalVariationDivergence, DifferencesLookForwardTwice_stays) {
    const auto d = DivergenceOf(Volume(8, 4, 3).Fill([](int i, int, int) { return i == 3 ? 10 : 0; }));
    const float gradient[] = {0, 0, 1, -1, 0, 0, 0, 0};
    const float divergence[] = {0, 1, -2, 1, 0, 0, 0, 0};
    ForEachSample(d.x, [&](int i, int j, int k) {
        EXPECT_EQ(d.gx.at(i, j, k), gradient[i]);
        EXPECT_EQ(d.T.at(i, j, k), divergence[i]);
        EXPECT_EQ(d.gy.at(i, j, k), 0.0f);
        EXPECT_EQ(d.gz.at(i, j, k), 0.0f);
    });
}

/// The last column, row and plane copy the ones before, corners from corners.
TEST(TotalVariationDivergence, BordersCopyTheirNeighbours) {
    const auto d = DivergenceOf(Volume(6, 5, 4).FillRandom(3, 0, 100));
    for (const Volume* const v : {&d.gx, &d.gy, &d.gz, &d.T}) {
        ForEachSample(*v, [&](int i, int j, int k) {
            EXPECT_EQ(v->at(i, j, k), v->at(std::min(i, 4), std::min(j, 3), std::min(k, 2)));
        });
    }
    // A divergence that is computed beside a copied gradient has no share of that axis.
    const float atColumn = d.T.at(4, 1, 1);
    EXPECT_EQ(atColumn, (d.gy.at(4, 2, 1) - d.gy.at(4, 1, 1)) + 0.0f + (d.gz.at(4, 1, 2) - d.gz.at(4, 1, 1)));
}

/// Padding of x is not read; that of rows that are computed stays, and goes along where a row or plane is
/// copied.
TEST(TotalVariationDivergence, PaddingIsLeftAlone) {
    Volume x(6, 5, 4);
    x.FillRandom(3, 0, 100);
    const auto clean = DivergenceOf(x);
    const auto other = DivergenceOf(x.FillPadding(std::numeric_limits<float>::quiet_NaN()));
    for (const auto& [a, b] : {std::pair(&clean.gx, &other.gx), std::pair(&clean.gy, &other.gy),
                               std::pair(&clean.gz, &other.gz), std::pair(&clean.T, &other.T)}) {
        EXPECT_TRUE(SameImage(*a, *b));
        EXPECT_TRUE(b->PaddingHolds(kSentinel));
    }
}

/// Gradients of 1e-20 and less have no direction; the comparison is in double.
TEST(TotalVariationDivergence, TheLeastGradient) {
    const float least = 1e-20f;  // the nearest float, below 1e-20
    const float above = std::nextafter(least, 1.0f);
    ASSERT_LE(static_cast<double>(least), 1e-20);
    for (const auto& [step, direction] : {std::pair(least, 0.0f), std::pair(above, 1.0f),
                                          std::pair(std::numeric_limits<float>::denorm_min(), 0.0f)}) {
        const auto d = DivergenceOf(
            Volume(4, 3, 2).Fill([s = step](int i, int, int) { return static_cast<float>(i) * s; }));
        EXPECT_EQ(d.gx.at(0, 0, 0), direction) << step;
    }
}

/// Squares of the largest differences fit a double, not a float.
TEST(TotalVariationDivergence, LengthsAreFormedInDouble) {
    const auto d = DivergenceOf(Volume(4, 3, 2).Fill([](int i, int, int) { return i * 1e38; }));
    EXPECT_EQ(d.gx.at(0, 0, 0), 1.0f);
    EXPECT_EQ(d.T.at(0, 0, 0), 0.0f);
}

TEST(TotalVariationDivergence, ANaNStaysAmongItsNeighbours) {
    Volume x(8, 6, 5);
    x.FillRandom(3, 0, 100);
    x.at(4, 3, 2) = std::numeric_limits<float>::quiet_NaN();
    const auto d = DivergenceOf(x);
    ForEachSample(x, [&](int i, int j, int k) {
        const int away = (4 - i) + (3 - j) + (2 - k);
        const bool reached = i <= 4 && j <= 3 && k <= 2 && away <= 2;
        EXPECT_EQ(std::isnan(d.T.at(i, j, k)), reached) << i << ' ' << j << ' ' << k;
    });
}

/// Where there is no second row or plane there is nothing to take differences of.
TEST(TotalVariationDivergence, OneRowOrOnePlaneHasNone) {
    for (const auto& [y, z] : {std::pair(1, 4), std::pair(5, 1), std::pair(1, 1)}) {
        const auto d = DivergenceOf(Volume(6, y, z).FillRandom(3, 0, 100));
        for (const Volume* const v : {&d.gx, &d.gy, &d.gz, &d.T}) {
            EXPECT_TRUE(AllSamplesAre(*v, 0.0f));
            EXPECT_TRUE(v->PaddingHolds(kSentinel));
        }
    }
}

}  // namespace
