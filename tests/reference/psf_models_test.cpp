// SPDX-License-Identifier: MIT

// The PSF models against their plain loops, on small and odd sizes, in every layout, for several thread
// counts.

#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "support/psf_access.h"
#include "support/ref/psf_airy.h"
#include "support/ref/psf_gibson_lani.h"
#include "support/ref/psf_layered.h"
#include "support/threads.h"
#include "support/tolerances.h"

namespace {

using namespace gnr::test;

struct Size {
    int x, y, z;
};

struct Case {
    Size size;
    bool centered;
    bool padded;
    int threads;
};

std::string NameOf(const testing::TestParamInfo<Case>& info) {
    const Case& c = info.param;
    return std::to_string(c.size.x) + "x" + std::to_string(c.size.y) + "x" + std::to_string(c.size.z) +
           (c.centered ? "Centered" : "Wrapped") + (c.padded ? "Padded" : "Unpadded") +
           std::to_string(c.threads) + "Threads";
}

std::vector<Case> AllCases() {
    std::vector<Case> cases;
    for (const Size size : {Size{16, 16, 8}, Size{15, 9, 5}, Size{8, 21, 7}, Size{1, 1, 1}, Size{6, 2, 3}}) {
        for (const bool centered : {false, true}) {
            for (const bool padded : {false, true}) {
                for (const int threads : {1, 2, 5}) cases.push_back({size, centered, padded, threads});
            }
        }
    }
    return cases;
}

class PsfModels : public testing::TestWithParam<Case> {
  protected:
    PsfModels() : threads_(GetParam().threads) {
        volume.AllocatePSF(static_cast<unsigned>(GetParam().size.x), static_cast<unsigned>(GetParam().size.y),
                           static_cast<unsigned>(GetParam().size.z));
        std::fill_n(volume.pfPSF, volume.sizes.total, kSentinel);
    }

    OpenPsf volume;

  private:
    ThreadCount threads_;
};

INSTANTIATE_TEST_SUITE_P(Layouts, PsfModels, testing::ValuesIn(AllCases()), NameOf);

TEST_P(PsfModels, AiryEqualsPlainLoopsAndWritesNothingElse) {
    const Case& c = GetParam();
    for (const double aberration : {0.0, 0.7}) {
        for (const double aperture : {0.5, 1.4}) {
            SDiffractionParams p = OilOptics();
            p.dNA = aperture;
            p.dSphericalAberration = aberration;
            std::vector<float> expected(static_cast<std::size_t>(volume.sizes.total), kSentinel);
            gnr::ref::AiryPattern(volume.sizes, expected.data(), p, c.centered, 1.5, c.padded);
            std::fill_n(volume.pfPSF, volume.sizes.total, kSentinel);
            ASSERT_EQ(volume.KERNEL3D_Airy(&volume.sizes, volume.pfPSF, &p, c.centered, nullptr, nullptr,
                                           1.5f, c.padded),
                      0);
            double peak = 0.0;
            for (const float v : expected) peak = v == kSentinel ? peak : std::max<double>(peak, v);
            for (std::size_t n = 0; n < expected.size(); ++n) {
                if (expected[n] == kSentinel) {
                    ASSERT_EQ(volume.pfPSF[n], kSentinel) << n;
                } else {
                    ASSERT_NEAR(volume.pfPSF[n], expected[n], kPsfToPeak * peak) << n;
                }
            }
        }
    }
}

TEST_P(PsfModels, DefocusIntegralEqualsPlainLoops) {
    const Case& c = GetParam();
    const SDiffractionParams p = OilOptics();
    for (const bool twoPhoton : {false, true}) {
        const std::vector<float> expected =
            gnr::ref::DefocusIntegralPattern(volume.sizes, p, twoPhoton, c.centered, c.padded);
        const auto kernel = twoPhoton ? &OpenPsf::KERNEL3D_2Photon : &OpenPsf::KERNEL3D_GibsonLani;
        std::fill_n(volume.pfPSF, volume.sizes.total, kSentinel);
        ASSERT_EQ(
            (volume.*kernel)(&volume.sizes, volume.pfPSF, &p, c.centered, nullptr, nullptr, 1.0f, c.padded),
            0);
        double peak = 0.0;
        for (const float v : expected) peak = std::max<double>(peak, v);
        for (std::size_t n = 0; n < expected.size(); ++n) {
            ASSERT_NEAR(volume.pfPSF[n], expected[n], kPsfToPeak * peak) << n;
        }
    }
}

std::vector<SDiffractionParamsEx> LayeredOptics() {
    std::vector<SDiffractionParamsEx> all;
    all.push_back(OilOptics());
    SDiffractionParamsEx deep = OilOptics();  // part of the pupil is evanescent in water
    deep.dSampleRefractiveIndex = 1.33;
    deep.dDepthNm = 2000.0;
    all.push_back(deep);
    deep.bInvertZ = true;
    deep.dNA = 1.2;
    deep.iModality = 1;
    deep.uiMaxZSamples = 5;
    all.push_back(deep);
    return all;
}

TEST_P(PsfModels, EpiFluorescenceEqualsPlainLoops) {
    const Case& c = GetParam();
    for (const SDiffractionParamsEx& p : LayeredOptics()) {
        const gnr::ref::LayeredModel model(volume.sizes, p, c.centered, c.padded);
        const double expectedFocus = model.Focus();
        double focus = 1.0;
        std::fill_n(volume.pfPSF, volume.sizes.total, kSentinel);
        ASSERT_EQ(volume.EpiFluorescence(&volume.sizes, volume.pfPSF, &p, c.centered, c.padded, true, &focus),
                  0);
        EXPECT_NEAR(focus, expectedFocus, 1e-12);  // metres: a millionth of a plane
        const std::vector<float> expected = model.Pattern(expectedFocus);
        double peak = 1e-30;
        for (const float v : expected) peak = std::max<double>(peak, v);
        for (std::size_t n = 0; n < expected.size(); ++n) {
            ASSERT_NEAR(volume.pfPSF[n], expected[n], kPsfToPeak * peak) << n;
        }
    }
}

TEST_P(PsfModels, TwoPhotonIsTheSquareAtTheExcitationWavelength) {
    const Case& c = GetParam();
    const SDiffractionParamsEx p = LayeredOptics()[1];
    SDiffractionParamsEx excitation = p;
    excitation.dEmissionWavelength = p.dWavelength;
    const gnr::ref::LayeredModel model(volume.sizes, excitation, c.centered, c.padded);
    const std::vector<float> expected = model.Pattern(model.Focus());
    ASSERT_EQ(volume.TwoPhotonFluorescence(&volume.sizes, volume.pfPSF, &p, c.centered, c.padded), 0);
    double peak = 1e-30;
    for (const float v : expected) peak = std::max<double>(peak, v);
    for (std::size_t n = 0; n < expected.size(); ++n) {
        ASSERT_NEAR(volume.pfPSF[n], double{expected[n]} * expected[n], 2 * kPsfToPeak * peak * peak) << n;
    }
}

// ------------------------------------------------------------------------------------------- confocal

/// Emission and excitation in the focus of the emission.
struct ConfocalPatterns {
    std::vector<float> emission;
    std::vector<float> excitation;
};

ConfocalPatterns PatternsOf(const DFT3D& s, const SDiffractionParamsEx& p, bool centered, bool padded) {
    const gnr::ref::LayeredModel emission(s, p, centered, padded);
    SDiffractionParamsEx excitationOptics = p;
    excitationOptics.dEmissionWavelength = p.dWavelength;
    const gnr::ref::LayeredModel excitation(s, excitationOptics, centered, padded);
    const double focus = emission.Focus();
    return {emission.Pattern(focus), excitation.Pattern(focus)};
}

double PinholeRadius(const SDiffractionParamsEx& p) {
    return p.dPinhole * 0.525 / p.dMagnification / p.dXYPitch;
}

void ExpectConfocal(const OpenPsf& got, const std::vector<double>& blurred,
                    const std::vector<float>& excitation, bool padded) {
    const int width = got.sizes.rowLength - (padded ? 2 : 0);
    double peak = 0.0;
    for (std::size_t n = 0; n < blurred.size(); ++n)
        peak = std::max(peak, blurred[n] * double{excitation[n]});
    ASSERT_GT(peak, 0.0);
    const double samples = width * got.sizes.rows;
    for (std::size_t n = 0; n < blurred.size(); ++n) {
        if (static_cast<int>(n % static_cast<std::size_t>(got.sizes.rowLength)) >= width) continue;
        ASSERT_NEAR(got.pfPSF[n], blurred[n] * double{excitation[n]}, TransformTolerance(samples, peak)) << n;
    }
}

class Confocal : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Layouts, Confocal, testing::Bool());

TEST_P(Confocal, BlursTheEmissionByThePinholeAndMultipliesTheExcitation) {
    const bool padded = GetParam();
    OpenPsf psf;
    psf.AllocatePSF(padded ? 24u : 22u, 21u, 5u);  // 24 usable columns either way
    for (SDiffractionParamsEx p : LayeredOptics()) {
        p.iModality = 1;
        const ConfocalPatterns patterns = PatternsOf(psf.sizes, p, false, padded);
        const std::vector<double> emission(patterns.emission.begin(), patterns.emission.end());
        ASSERT_EQ(psf.ConfocalFluorescence(&psf.sizes, psf.pfPSF, &p, false, padded), 0);
        ExpectConfocal(psf, gnr::ref::BlurredByPinhole(psf.sizes, emission, PinholeRadius(p), padded),
                       patterns.excitation, padded);
    }
}

// Only the real parts of the pattern's spectrum survive the product: of a pattern in the middle of an odd
// side, the part that is even about the origin.
TEST_P(Confocal, FloatByFloatProductOfACenteredPatternOnOddRows_stays) {
    const bool padded = GetParam();
    OpenPsf psf;
    psf.AllocatePSF(padded ? 16u : 14u, 15u, 3u);
    SDiffractionParamsEx p = OilOptics();
    p.iModality = 1;
    const int width = 16;
    const ConfocalPatterns patterns = PatternsOf(psf.sizes, p, true, padded);
    std::vector<double> even(patterns.emission.size(), 0.0);
    const auto index = [&](int x, int y, int z) {
        return static_cast<std::size_t>(z * psf.sizes.planeStride + y * psf.sizes.rowLength + x);
    };
    for (int z = 0; z < 3; ++z) {
        for (int y = 0; y < 15; ++y) {
            for (int x = 0; x < width; ++x) {
                even[index(x, y, z)] = (double{patterns.emission[index(x, y, z)]} +
                                        patterns.emission[index((width - x) % width, (15 - y) % 15, z)]) /
                                       2;
            }
        }
    }
    ASSERT_EQ(psf.ConfocalFluorescence(&psf.sizes, psf.pfPSF, &p, true, padded), 0);
    ExpectConfocal(psf, gnr::ref::BlurredByPinhole(psf.sizes, even, PinholeRadius(p), padded),
                   patterns.excitation, padded);
}

// --------------------------------------------------------------------------------- tabulated integral

TEST(Airy1D, EqualsPlainLoopsAndLeavesFourTablesUnread) {
    const unsigned n = 7;
    const unsigned m = 13;
    std::vector<std::vector<double>> tables(12, std::vector<double>(m));
    for (std::size_t t = 0; t < tables.size(); ++t) {
        for (std::size_t j = 0; j < m; ++j) {
            tables[t][j] = std::sin(0.3 * static_cast<double>(t) + 0.7 * static_cast<double>(j));
        }
    }
    const std::vector<double> expected = gnr::ref::Airy1D(n, 0.4, tables, m, 0.05, 2.0 * 3.0 * 1.5);
    std::vector<double> got(n + 1, -1.0);
    OpenPsf psf;
    psf.GenerateAiry1D(got.data(), n, 99.0, 0.4, nullptr, nullptr, nullptr, nullptr, tables[4].data(),
                       tables[5].data(), tables[6].data(), tables[7].data(), tables[8].data(),
                       tables[9].data(), tables[10].data(), tables[11].data(), m, 0.05, 2.0, 3.0, 1.5);
    for (unsigned i = 0; i < n; ++i) EXPECT_NEAR(got[i], expected[i], 1e-12 * expected[0]) << i;
    EXPECT_EQ(got[n], -1.0);
}

// On the axis the rule integrates s over [0, 2] exactly: step / 8 of its sum is 2. The output squares the sum
// but not the step.
TEST(Airy1D, StepEntersOnce_stays) {
    const unsigned m = 20;
    const double step = 0.1;
    const std::vector<double> zeros(m, 0.0);
    const double* const z = zeros.data();
    double onAxis = 0.0;
    OpenPsf psf;
    psf.GenerateAiry1D(&onAxis, 1, 0.0, 1.0, z, z, z, z, z, z, z, z, z, z, z, z, m, step, 1.0, 1.0, 1.0);
    const double sum = 2.0 / (step / 8);
    EXPECT_NEAR(onAxis, sum * sum * step / 8, 1e-9 * onAxis);
}

}  // namespace
