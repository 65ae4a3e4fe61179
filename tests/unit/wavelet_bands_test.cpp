// SPDX-License-Identifier: MIT
// Which band is which, and where a sample ends up.
#include <cmath>

#include "unit/wavelet_fixture.h"

namespace {

using gnr::test::Daubechies4;
using gnr::test::Decompose;
using gnr::test::Form;
using gnr::test::Size3;

double Alternating(unsigned i, bool alternates) {
    return alternates && i % 2 == 1 ? -1.0 : 1.0;
}

class WaveletBands3D : public testing::TestWithParam<unsigned> {};

/// Constant along an axis: low-pass only, with the factor sqrt(2). Alternating: high-pass only.
TEST_P(WaveletBands3D, DirectionalInputFillsOneBandOnly) {
    const unsigned band = GetParam();
    const Size3 s{12, 4, 10};
    std::vector<float> volume;
    for (unsigned k = 0; k < s.z; ++k) {
        for (unsigned j = 0; j < s.y; ++j) {
            for (unsigned i = 0; i < s.x; ++i) {
                volume.push_back(
                    static_cast<float>(Alternating(i, (band & 1) == 0) * Alternating(j, (band & 2) == 0) *
                                       Alternating(k, (band & 4) == 0)));
            }
        }
    }
    const auto bands = Decompose(volume, s, Daubechies4<float>());
    for (unsigned b = 0; b < 8; ++b) {
        for (const float v : bands.b[b]) {
            EXPECT_NEAR(std::abs(v), b == band ? std::pow(2.0, 1.5) : 0.0, 2e-6) << "band " << b;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllBands, WaveletBands3D, testing::Range(0u, 8u));

class WaveletBands2D : public testing::TestWithParam<unsigned> {};

TEST_P(WaveletBands2D, DirectionalInputFillsOneBandOnly) {
    const unsigned band = GetParam();
    std::vector<double> picture;
    for (unsigned j = 0; j < 6; ++j) {
        for (unsigned i = 0; i < 20; ++i) {
            picture.push_back(Alternating(i, (band & 1) == 0) * Alternating(j, (band & 2) == 0));
        }
    }
    const auto bands = Decompose(picture, 20, 6, Daubechies4<double>());
    for (unsigned b = 0; b < 4; ++b) {
        for (const double v : bands.b[b]) {
            EXPECT_NEAR(std::abs(v), b == band ? 2.0 : 0.0, 1e-14) << "band " << b;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllBands, WaveletBands2D, testing::Range(0u, 4u));

TEST(WaveletBands, SizesAreHalved) {
    const Size3 s{6, 10, 4};
    for (const Form form : {Form::kAllocating, Form::kPreallocated}) {
        const auto bands = Decompose(std::vector<float>(s.samples(), 1.0f), s, Daubechies4<float>(), form);
        EXPECT_EQ(bands.size, (Size3{3, 5, 2}));
    }
    const auto bands = Decompose(std::vector<double>(60, 1.0), 6, 10, Daubechies4<double>());
    EXPECT_EQ(bands.w, 3u);
    EXPECT_EQ(bands.h, 5u);
}

/// low(k) = sum of father(n) x((2k + n) mod N): a unit sample at position 1 of 12 meets tap 1 at k = 0, and
/// tap 12 + 1 - 2k over the border for k = 3 and above.
TEST(WaveletBands, ImpulseShowsTheTapsAroundTheBorder) {
    const auto f = Daubechies4<double>();
    std::vector<double> picture(12 * 2, 0.0);
    picture[1] = picture[12 + 1] = 1.0;
    const auto bands = Decompose(picture, 12, 2, f);
    for (unsigned k = 0; k < 6; ++k) {
        const unsigned tap = (12 + 1 - 2 * k) % 12;
        const double column = std::sqrt(2.0);
        EXPECT_NEAR(bands.b[3][k], tap < 8 ? column * f.father[tap] : 0.0, 1e-15);
        EXPECT_NEAR(bands.b[2][k], tap < 8 ? column * f.mother[tap] : 0.0, 1e-15);
    }
}

}  // namespace
