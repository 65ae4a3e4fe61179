// SPDX-License-Identifier: MIT
// The transforms against their definition, direction by direction, so that a pair of errors cannot cancel.
#include "reference/wavelet_direct.h"
#include "unit/wavelet_fixture.h"

namespace {

using gnr::ref::WaveletPair;
using gnr::test::Daubechies4;
using gnr::test::Decompose;
using gnr::test::FilterSet;
using gnr::test::Haar;
using gnr::test::RandomSamples;
using gnr::test::Reconstruct;
using gnr::test::Size3;

/// Three passes of at most eight products: the rounding of 24 operations on values that the filters bound by
/// 2 sqrt(2) times the largest sample.
template <class T>
constexpr double kLevelTolerance = 24.0 * std::numeric_limits<T>::epsilon();

template <class T>
std::vector<double> Widened(const std::vector<T>& samples) {
    return {samples.begin(), samples.end()};
}

template <class T>
WaveletPair Widened(const FilterSet<T>& f) {
    return {Widened(f.father), Widened(f.mother)};
}

class WaveletAgainstDefinition3D : public testing::TestWithParam<Size3> {
  protected:
    static std::array<std::size_t, 3> Sides() {
        const Size3 s = GetParam();
        return {s.x, s.y, s.z};
    }
};

TEST_P(WaveletAgainstDefinition3D, Decomposition) {
    const Size3 s = GetParam();
    for (const auto& f : {Daubechies4<float>(), Haar<float>(), Daubechies4<float>().PaddedTo(10)}) {
        const auto volume = RandomSamples<float>(s.samples(), 3);
        const auto bands = Decompose(volume, s, f);
        for (unsigned b = 0; b < 8; ++b) {
            const auto expected = DirectBand(Widened(f), Widened(volume), Sides(), b);
            EXPECT_LT(gnr::test::LargestDifference(Widened(bands.b[b]), expected), kLevelTolerance<float>)
                << b;
        }
    }
}

TEST_P(WaveletAgainstDefinition3D, Reconstruction) {
    const Size3 s = GetParam();
    for (const auto& f : {Daubechies4<float>(), Haar<float>()}) {
        gnr::test::VolumeBands bands{s.Half(), {}};
        std::vector<double> expected(s.samples(), 0.0);
        for (unsigned b = 0; b < 8; ++b) {
            bands.b[b] = RandomSamples<float>(s.Half().samples(), 20 + b);
            AddDirectBand(Widened(f), Widened(bands.b[b]), b, Sides(), expected);
        }
        EXPECT_LT(gnr::test::LargestDifference(Widened(Reconstruct(bands, f)), expected),
                  2 * kLevelTolerance<float>);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, WaveletAgainstDefinition3D,
                         testing::Values(Size3{2, 2, 2}, Size3{4, 2, 6}, Size3{6, 8, 4}, Size3{8, 10, 2},
                                         Size3{18, 6, 8}, Size3{10, 24, 14}, Size3{2, 40, 10},
                                         Size3{530, 4, 2}));

using Size2 = std::array<unsigned, 2>;
class WaveletAgainstDefinition2D : public testing::TestWithParam<Size2> {};

/// A picture is a volume of two equal planes, in which a band that is low-pass along z is sqrt(2) times that
/// of the picture.
TEST_P(WaveletAgainstDefinition2D, BothDirections) {
    const auto [w, h] = GetParam();
    const auto f = Daubechies4<double>();
    const auto picture = RandomSamples<double>(std::size_t{w} * h, 4);
    std::vector<double> twice = picture;
    twice.insert(twice.end(), picture.begin(), picture.end());
    const auto bands = Decompose(picture, w, h, f);
    std::vector<double> rebuilt(twice.size(), 0.0);
    for (unsigned b = 0; b < 4; ++b) {
        auto expected = DirectBand(Widened(f), twice, {w, h, 2}, 4 + b);
        AddDirectBand(Widened(f), expected, 4 + b, {w, h, 2}, rebuilt);
        for (double& v : expected) v *= std::sqrt(0.5);
        EXPECT_LT(gnr::test::LargestDifference(bands.b[b], expected), 2 * kLevelTolerance<double>) << b;
    }
    rebuilt.resize(picture.size());
    EXPECT_LT(gnr::test::LargestDifference(Reconstruct(bands, f), rebuilt), 4 * kLevelTolerance<double>);
}

INSTANTIATE_TEST_SUITE_P(Sizes, WaveletAgainstDefinition2D,
                         testing::Values(Size2{2, 2}, Size2{4, 6}, Size2{6, 4}, Size2{14, 36}, Size2{40, 2},
                                         Size2{526, 8}));

}  // namespace
