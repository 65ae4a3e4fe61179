// SPDX-License-Identifier: MIT
// What every orthogonal transform keeps, on every size: the samples, their energy, and the independence of
// form, thread count and what lies around the blocks.
#include "unit/wavelet_fixture.h"

namespace {

using gnr::test::Daubechies4;
using gnr::test::Decompose;
using gnr::test::Energy;
using gnr::test::FilterSet;
using gnr::test::Form;
using gnr::test::kReconstructionEps;
using gnr::test::LargestDifference;
using gnr::test::RandomSamples;
using gnr::test::Reconstruct;
using gnr::test::Size3;
using gnr::test::Threads;

/// Every even size from 2 to 10 along each axis: shorter than the filter, as long, longer. Then long rows,
/// columns and stacks, and a few sizes by chance.
std::vector<Size3> VolumeSizes() {
    std::vector<Size3> sizes = {{1034, 6, 4}, {4, 260, 12}, {16, 20, 130}};
    for (unsigned z = 2; z <= 10; z += 2) {
        for (unsigned y = 2; y <= 10; y += 2) {
            for (unsigned x = 2; x <= 10; x += 2) sizes.push_back({x, y, z});
        }
    }
    std::mt19937 engine(11);
    std::uniform_int_distribution<unsigned> half(1, 45);
    for (int i = 0; i < 12; ++i) {
        const unsigned x = half(engine), y = half(engine), z = half(engine);
        sizes.push_back({2 * x, 2 * y, 2 * z});
    }
    return sizes;
}

class WaveletVolume : public testing::Test {
  protected:
    const FilterSet<float> filters = Daubechies4<float>();

    /// check(size, random samples) for all sizes.
    template <class Check>
    void ForEachSize(Check check) const {
        for (const Size3 size : VolumeSizes()) {
            SCOPED_TRACE(testing::Message() << size);
            check(size, RandomSamples<float>(size.samples(), 5));
        }
    }
};

TEST_F(WaveletVolume, ReconstructsPerfectly) {
    ForEachSize([&](Size3 size, const std::vector<float>& volume) {
        const auto bands = Decompose(volume, size, filters);
        EXPECT_LT(LargestDifference(Reconstruct(bands, filters), volume), kReconstructionEps<float>);
    });
}

TEST_F(WaveletVolume, KeepsItsEnergy) {
    ForEachSize([&](Size3 size, const std::vector<float>& volume) {
        const auto bands = Decompose(volume, size, filters);
        double energy = 0;
        for (const auto& band : bands.b) energy += Energy(band);
        EXPECT_NEAR(energy / Energy(volume), 1.0, 1e-6);
    });
}

TEST_F(WaveletVolume, BothFormsAgreeBitForBit) {
    ForEachSize([&](Size3 size, const std::vector<float>& volume) {
        const auto bands = Decompose(volume, size, filters, Form::kPreallocated);
        EXPECT_EQ(Decompose(volume, size, filters, Form::kAllocating), bands);
        EXPECT_EQ(Reconstruct(bands, filters, Form::kAllocating),
                  Reconstruct(bands, filters, Form::kPreallocated));
    });
}

TEST_F(WaveletVolume, ThreadCountDoesNotShow) {
    ForEachSize([&](Size3 size, const std::vector<float>& volume) {
        const Threads one(1);
        const auto bands = Decompose(volume, size, filters);
        const auto rebuilt = Reconstruct(bands, filters);
        for (const int count : {2, 5}) {
            const Threads several(count);
            EXPECT_EQ(Decompose(volume, size, filters), bands) << count;
            EXPECT_EQ(Reconstruct(bands, filters), rebuilt) << count;
        }
    });
}

/// Trailing zeros take the sums of any length, in place of those that are unrolled for eight taps.
TEST_F(WaveletVolume, TrailingZeroTapsDoNotShow) {
    ForEachSize([&](Size3 size, const std::vector<float>& volume) {
        const auto bands = Decompose(volume, size, filters);
        const auto rebuilt = Reconstruct(bands, filters);
        for (const unsigned taps : {10u, 64u}) {
            EXPECT_EQ(Decompose(volume, size, filters.PaddedTo(taps)), bands) << taps;
            EXPECT_EQ(Reconstruct(bands, filters.PaddedTo(taps)), rebuilt) << taps;
        }
    });
}

TEST(WaveletPyramid, FourLevelsReconstructPerfectly) {
    const Size3 size{96, 64, 80};
    const auto volume = RandomSamples<float>(size.samples(), 6);
    const auto filters = Daubechies4<float>();
    std::vector<gnr::test::VolumeBands> levels = {Decompose(volume, size, filters)};
    while (levels.size() < 4) levels.push_back(Decompose(levels.back().b[7], levels.back().size, filters));
    EXPECT_EQ(levels.back().size, (Size3{6, 4, 5}));
    for (std::size_t l = 3; l > 0; --l) levels[l - 1].b[7] = Reconstruct(levels[l], filters);
    EXPECT_LT(LargestDifference(Reconstruct(levels[0], filters), volume), 2 * kReconstructionEps<float>);
}

/// A cubic leaves the detail bands empty where the filter does not reach over the border.
TEST(WaveletPolynomials, CubicsVanishInTheDetailBands) {
    const unsigned w = 40, h = 24;
    std::vector<double> picture;
    for (unsigned j = 0; j < h; ++j) {
        for (unsigned i = 0; i < w; ++i) {
            const double x = i / 10.0 - 2.0, y = j / 10.0 - 1.0;
            picture.push_back((1.0 + x - 2.0 * x * x + 0.5 * x * x * x) * (2.0 - y + y * y - y * y * y));
        }
    }
    const auto bands = Decompose(picture, w, h, Daubechies4<double>());
    for (unsigned j = 0; 2 * j + 7 < h; ++j) {
        for (unsigned i = 0; 2 * i + 7 < w; ++i) {
            for (unsigned b = 0; b < 3; ++b) EXPECT_NEAR(bands.b[b][j * bands.w + i], 0.0, 1e-13) << b;
        }
    }
    EXPECT_GT(std::abs(bands.b[1][(h / 2 - 1) * bands.w]), 1e-3) << "the jump at the border is no polynomial";
}

TEST(WaveletPolynomials, CubicsVanishInTheDetailBandsOfVolumes) {
    const Size3 s{20, 16, 14};
    std::vector<float> volume;
    for (unsigned k = 0; k < s.z; ++k) {
        for (unsigned j = 0; j < s.y; ++j) {
            for (unsigned i = 0; i < s.x; ++i) {
                const double x = i / 20.0, y = j / 16.0, z = k / 14.0;
                volume.push_back(
                    static_cast<float>((1 + x * x * x) * (1 - y * y + y * y * y) * (z * z * z - z)));
            }
        }
    }
    const auto bands = Decompose(volume, s, Daubechies4<float>());
    const Size3 half = s.Half();
    for (unsigned k = 0; 2 * k + 7 < s.z; ++k) {
        for (unsigned j = 0; 2 * j + 7 < s.y; ++j) {
            for (unsigned i = 0; 2 * i + 7 < s.x; ++i) {
                for (unsigned b = 0; b < 7; ++b) {
                    EXPECT_NEAR(bands.b[b][(k * half.y + j) * half.x + i], 0.0f, 2e-6f) << b;
                }
            }
        }
    }
}

std::vector<std::array<unsigned, 2>> PictureSizes() {
    std::vector<std::array<unsigned, 2>> sizes = {{600, 34}, {36, 700}, {128, 256}, {158, 222}};
    for (unsigned h = 2; h <= 18; h += 2) {
        for (unsigned w = 2; w <= 18; w += 2) sizes.push_back({w, h});
    }
    return sizes;
}

class WaveletPicture : public testing::Test {
  protected:
    const FilterSet<double> filters = Daubechies4<double>();

    /// check(width, height, random samples) for all sizes.
    template <class Check>
    void ForEachSize(Check check) const {
        for (const auto& [w, h] : PictureSizes()) {
            SCOPED_TRACE(testing::Message() << w << "x" << h);
            check(w, h, RandomSamples<double>(std::size_t{w} * h, 9));
        }
    }
};

TEST_F(WaveletPicture, ReconstructsPerfectlyAndKeepsItsEnergy) {
    ForEachSize([&](unsigned w, unsigned h, const std::vector<double>& picture) {
        const auto bands = Decompose(picture, w, h, filters);
        EXPECT_LT(LargestDifference(Reconstruct(bands, filters), picture), kReconstructionEps<double>);
        double energy = 0;
        for (const auto& band : bands.b) energy += Energy(band);
        EXPECT_NEAR(energy / Energy(picture), 1.0, 1e-14);
    });
}

TEST_F(WaveletPicture, ThreadCountAndTrailingZeroTapsDoNotShow) {
    ForEachSize([&](unsigned w, unsigned h, const std::vector<double>& picture) {
        const Threads one(1);
        const auto bands = Decompose(picture, w, h, filters);
        const auto rebuilt = Reconstruct(bands, filters);
        EXPECT_EQ(Decompose(picture, w, h, filters.PaddedTo(64)), bands);
        EXPECT_EQ(Reconstruct(bands, filters.PaddedTo(64)), rebuilt);
        for (const int count : {2, 5}) {
            const Threads several(count);
            EXPECT_EQ(Decompose(picture, w, h, filters), bands) << count;
            EXPECT_EQ(Reconstruct(bands, filters), rebuilt) << count;
        }
    });
}

/// A block between two stretches of guards.
class GuardedBlock {
  public:
    explicit GuardedBlock(std::size_t count) : samples_(count + 2 * kGuards, kGuard) {}
    float* get() { return samples_.data() + kGuards; }
    bool Intact() const {
        const auto guard = [](float v) { return v == kGuard; };
        return std::all_of(samples_.begin(), samples_.begin() + kGuards, guard) &&
               std::all_of(samples_.end() - kGuards, samples_.end(), guard);
    }

  private:
    static constexpr std::ptrdiff_t kGuards = 16384;
    static constexpr float kGuard = -4321.5f;
    std::vector<float> samples_;
};

class WaveletGuards : public testing::TestWithParam<Size3> {};

TEST_P(WaveletGuards, NothingIsWrittenOutsideTheStatedBlocks) {
    const Size3 s = GetParam();
    const Size3 half = s.Half();
    auto f = Daubechies4<float>();
    GuardedBlock volume(s.samples());
    std::fill_n(volume.get(), s.samples(), 1.0f);
    std::vector<GuardedBlock> blocks;
    blocks.reserve(14);
    for (int i = 0; i < 8; ++i) blocks.emplace_back(half.samples());
    for (std::size_t i = 0; i < 6; ++i) blocks.emplace_back((8 * half.samples()) >> (i / 2));
    std::array<float*, 14> p;
    for (std::size_t i = 0; i < p.size(); ++i) p[i] = blocks[i].get();
    Size3 out{};
    for (const int count : {1, 2, 5}) {
        const Threads threads(count);
        ASSERT_EQ(
            CRyWavelet3D::WaveletDecompositionImage8_Preallocated(
                p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9], p[10], p[11], p[12], p[13], out.x,
                out.y, out.z, volume.get(), s.x, s.y, s.z, f.mother.data(), f.father.data(), f.length()),
            0);
        float* result = volume.get();
        ASSERT_EQ(CRyWavelet3D::WaveletReconstructionImage8_Preallocated(
                      result, out.x, out.y, out.z, p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9],
                      p[10], p[11], p[12], p[13], half.x, half.y, half.z, f.mother.data(), f.father.data(),
                      f.length()),
                  0);
        EXPECT_TRUE(volume.Intact());
        for (std::size_t i = 0; i < blocks.size(); ++i) EXPECT_TRUE(blocks[i].Intact()) << "block " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, WaveletGuards,
                         testing::Values(Size3{2, 2, 2}, Size3{2, 34, 2}, Size3{6, 8, 4}, Size3{1024, 2, 2},
                                         Size3{38, 90, 6}, Size3{2048, 18, 4}));

}  // namespace
