// SPDX-License-Identifier: MIT

// What the Landweber core refuses, with which code, and that nothing is touched then.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/progress_log.h"
#include "support/ref/landweber_calls.h"

namespace {

using namespace gnr::test;
using Core = CRy3DLandweberDeconvolutionCore;
using Job = LandweberCoreJob;

/// In both modes: with momentum, and automatic.
class LandweberCodes : public testing::TestWithParam<bool> {
  protected:
    bool Automatic() const { return GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Modes, LandweberCodes, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Automatic" : "Momentum"; });

/// Prepare with this geometry gives `code`, Run then touches nothing, and a good geometry heals the core.
void ExpectPrepareFails(bool automatic, const DFT3D& geometry, int code) {
    Core core(automatic);
    Job job;
    const DFT3D good = job.params.sizes;
    ASSERT_EQ(core.Prepare(job.Ptr()), 0);
    job.params.sizes = geometry;
    EXPECT_EQ(core.Prepare(job.Ptr()), code);
    job.params.sizes = good;
    const Volume before = job.image;
    EXPECT_EQ(core.Run(job.Ptr()), -9);
    EXPECT_TRUE(SameBytes(job.image, before));
    EXPECT_EQ(core.Prepare(job.Ptr()), 0);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

TEST_P(LandweberCodes, VolumesThatDoNotFitGiveMinusThree) {
    DFT3D s = Geometry(8, 4, 16);
    s.total = 1LL << 60;
    ExpectPrepareFails(Automatic(), s, -3);
}

/// 2^53 bytes a band; a product in 32 bits would be 0. Volumes answer -3, bands -9.
TEST_P(LandweberCodes, BandsThatDoNotFitGiveMinusNine_stays) {
    ExpectPrepareFails(Automatic(), {(1 << 30) + 2, 1 << 20, 16, 0, 64}, -9);
}

TEST_P(LandweberCodes, WorkspaceThatDoesNotFitGivesMinusNine_stays) {
    ExpectPrepareFails(Automatic(), {(1 << 30) + 2, 1 << 20, 15, 0, 64}, -9);
}

TEST(LandweberCoreParameters, AutomaticTakesAutomaticParametersOnly) {
    Core core(true);
    Job job;
    ASSERT_EQ(core.Prepare(job.Ptr()), 0);
    const auto refuse = [&](auto& other) {
        ProgressLog log;
        log.Attach(other.params);
        const Volume before = other.image;
        std::srand(4711);
        EXPECT_EQ(core.Run(other.Ptr()), -4);
        const int next = std::rand();
        std::srand(4711);
        EXPECT_EQ(next, std::rand());
        EXPECT_TRUE(SameBytes(other.image, before));
        EXPECT_TRUE(log.Calls().empty());
        EXPECT_EQ(static_cast<int>(other.params.iRefCount), 1);
    };
    RestorationJob<CRy3DDeconvRunParameters> plain(job.image, job.psf);
    RestorationJob<CRy3DBlindDeconvRunParameters> blind(job.image, job.psf);
    refuse(plain);
    refuse(blind);
    EXPECT_EQ(core.Run(job.Ptr()), 0);
}

TEST(LandweberCoreParameters, MomentumTakesAnyRunParameters) {
    Core core(false);
    Job job;
    ASSERT_EQ(core.Prepare(job.Ptr()), 0);
    const auto run = [&](auto& other) {
        other.params.dRegularization = 10;
        other.params.uiIterations = 3;
        EXPECT_EQ(core.Run(other.Ptr()), 0);
    };
    RestorationJob<CRy3DDeconvRunParameters> plain(job.image, job.psf);
    RestorationJob<CRy3DBlindDeconvRunParameters> blind(job.image, job.psf);
    run(plain);
    run(blind);
    run(job);
    EXPECT_TRUE(SameImage(plain.image, job.image));
    EXPECT_TRUE(SameImage(blind.image, job.image));
    EXPECT_EQ(job.done, 77u);
}

struct Sides {
    int x, y, z;
};

/// Every side must be divisible by two for each level, whether anything will be shrunk or not.
TEST_P(LandweberCodes, SidesThatLevelsDoNotDivideGiveMinusNine) {
    for (const auto& [x, y, z] : {Sides{100, 16, 64}, Sides{16, 8, 64}, Sides{16, 16, 72}, Sides{8, 4, 17},
                                  Sides{8, 5, 16}, Sides{6, 8, 32}, Sides{8, 8, 34}, Sides{12, 8, 48}}) {
        SCOPED_TRACE(testing::Message() << x << " " << y << " " << z);
        Core core(Automatic());
        Job job(x, y, z);
        ProgressLog log;
        log.Attach(job.params);
        const Volume before = job.image;
        for (const double strength : {10.0, 0.0}) {
            job.params.dRegularization = strength;
            ASSERT_EQ(core.Prepare(job.Ptr()), 0);
            EXPECT_EQ(core.Run(job.Ptr()), -9);
            EXPECT_TRUE(SameBytes(job.image, before));
            EXPECT_TRUE(log.Calls().empty());
            EXPECT_EQ(job.done, 77u);
            EXPECT_EQ(static_cast<int>(job.params.iRefCount), 1);
        }
    }
}

TEST_P(LandweberCodes, BelowSixteenPlanesEverySizeWillDo) {
    for (const auto& [x, y, z] : {Sides{6, 5, 15}, Sides{2, 1, 1}, Sides{10, 3, 7}}) {
        Core core(Automatic());
        Job job(x, y, z);
        EXPECT_EQ(RunOnce(core, job), 0);
    }
}

}  // namespace
