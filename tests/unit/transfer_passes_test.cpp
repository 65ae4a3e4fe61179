// SPDX-License-Identifier: MIT

// Products with a transfer function in passes against the chain of transform, product and inverse transform, bit for
// bit: on few planes and many threads, where the passes go stage by stage, as well as plane by plane.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "cores/compared_sweep.h"
#include "cores/transfer.h"
#include "support/bits.h"
#include "support/kernel_buffers.h"
#include "support/threads.h"
#include "support/volumes.h"

namespace {

using gnr::detail::EachShare;
using gnr::detail::RowChunk;
using gnr::detail::Transfer;
using gnr::detail::TransferUse;
using gnr::test::SameBits;
using gnr::test::Volume;
using Low = CRy3DDeconvolutionLow;

using Size = std::array<int, 3>;

class TransferPasses : public testing::TestWithParam<std::tuple<Size, int>> {
  protected:
    TransferPasses() { transfer_.Make(psf_, other_); }

    Volume Random(unsigned seed) const {
        const Size& size = std::get<0>(GetParam());
        return Volume(size[0], size[1], size[2]).FillRandom(seed, -1.0f, 3.0f).FillPadding(gnr::test::kNaN);
    }
    static Volume Chain(const Volume& source, const Volume& psf, TransferUse use) {
        Volume product = source;
        Volume spectrum = psf;
        Low::DFT3D_Transform(&product.sizes, product);
        Low::DFT3D_Transform(&spectrum.sizes, spectrum);
        if (use == TransferUse::kConjugate) {
            Low::SSE_ComplexMultiplyAdjoint(product, spectrum, product.sizes.total);
        } else {
            Low::SSE_ComplexMultiply(product, spectrum, product.sizes.total);
        }
        Low::DFT3D_Inversion(&product.sizes, product);
        return product;
    }

    /// volume := the blurred image, but for what a sweep does.
    void Blur(float* volume) {
        transfer_.Forward(volume, image_);
        transfer_.Multiply(volume, TransferUse::kPlain);
    }

    const gnr::test::ThreadCount threads_{std::get<1>(GetParam())};
    const Volume image_ = Random(1);
    const Volume psf_ = Random(2);
    Volume otf_ = Random(3);
    Volume work_ = Random(4);
    Volume other_ = Random(5);
    Transfer transfer_{image_.sizes, otf_, {work_, other_}};
};

TEST_P(TransferPasses, GiveTheSamplesOfTheChain) {
    for (const TransferUse use : {TransferUse::kPlain, TransferUse::kConjugate}) {
        transfer_.Forward(work_, image_);
        transfer_.Multiply(work_, use);
        transfer_.Inverse(work_);
        EXPECT_TRUE(SameBits(work_.ToVector(), Chain(image_, psf_, use).ToVector()));
    }
}

TEST_P(TransferPasses, GiveEveryRowOnceToTheWorkBetweenThem) {
    Blur(work_);

    const std::int64_t length = image_.sizes.rowLength;
    std::vector<int> met(static_cast<std::size_t>(image_.y() * image_.z()));
    transfer_.Sweep(work_, work_, EachShare{}, [&](const RowChunk& rows, auto*) {
        EXPECT_EQ(rows.first / image_.y(), (rows.first + rows.count - 1) / image_.y()) << "one plane";
        rows.EachRow([&](std::int64_t r, float* samples) {
            ++met[static_cast<std::size_t>(r)];
            transfer_.Take(work_, r, samples);
            for (std::int64_t i = 0; i < length - 2; ++i) samples[i] = samples[i] * samples[i] + 1.0f;
            transfer_.Put(samples, work_, r);
        });
    });
    EXPECT_EQ(met, std::vector<int>(met.size(), 1));
    transfer_.Multiply(work_, TransferUse::kConjugate);
    transfer_.Inverse(work_);

    Volume between = Chain(image_, psf_, TransferUse::kPlain);
    between.Fill([&](int i, int j, int k) { return between.at(i, j, k) * between.at(i, j, k) + 1.0f; });
    EXPECT_TRUE(SameBits(work_.ToVector(), Chain(between, psf_, TransferUse::kConjugate).ToVector()));
}

TEST_P(TransferPasses, TurnFromOneVolumeToAnother) {
    Blur(work_);
    const std::int64_t length = image_.sizes.rowLength;
    transfer_.Sweep(work_, other_, EachShare{}, [&](const RowChunk& rows, auto*) {
        rows.EachRow([&](std::int64_t r, float* samples) {
            transfer_.Take(work_, r, samples);
            std::copy_n(samples, length, work_.get() + r * length);
            transfer_.Put(samples, other_, r);
        });
    });
    transfer_.Multiply(other_, TransferUse::kConjugate);
    transfer_.Inverse(other_);
    const Volume once = Chain(image_, psf_, TransferUse::kPlain);
    EXPECT_TRUE(SameBits(work_.ToVector(), once.ToVector()));
    EXPECT_TRUE(SameBits(other_.ToVector(), Chain(once, psf_, TransferUse::kConjugate).ToVector()));
}

TEST_P(TransferPasses, JoinTheResultsOfTheWork) {
    const auto put = [&](const RowChunk& rows) {
        rows.EachRow([&](std::int64_t r, float* samples) {
            std::fill_n(samples, image_.sizes.rowLength, 0.0f);
            transfer_.Put(samples, work_, r);
        });
    };
    const auto [sum] = transfer_.Sweep(nullptr, work_, gnr::detail::SumOfShares<1>{},
                                       [&](const RowChunk& rows, double* total) {
                                           put(rows);
                                           for (std::int64_t r = rows.first; r < rows.first + rows.count; ++r)
                                               *total += static_cast<double>(r);
                                       });
    const double all = image_.y() * image_.z();
    EXPECT_EQ(sum, all * (all - 1) / 2);
    const float least = transfer_.Sweep(
        nullptr, work_, gnr::detail::LeastOfShares{}, [&](const RowChunk& rows, float* lowest) {
            put(rows);
            *lowest = std::min(*lowest, 7.0f - static_cast<float>(rows.first));
        });
    EXPECT_LE(least, 7.0f);
    EXPECT_GT(least, 7.0f - static_cast<float>(all));
}

TEST_P(TransferPasses, CompareWhatTheyFinishAsAfterwards) {
    const SRyIRect3D whole = {0, image_.x(), 0, image_.y(), 0, image_.z()};
    const SRyIRect3D inner = {1, image_.x(), image_.y() / 3, image_.y(), image_.z() / 2, image_.z()};
    const SRyIRect3D outsideWithoutWidth = {0, 0, 0, 1, image_.z(), image_.z() + 1};
    const Volume observed = Volume(image_.sizes).FillRandom(6, 0.0f, 9.0f);
    for (const SRyIRect3D& box : {whole, inner, outsideWithoutWidth}) {
        Blur(work_);
        const gnr::detail::Comparison comparison = {observed, box};
        const std::int64_t length = image_.sizes.rowLength;
        const double measured = gnr::detail::SweepAndCompare(
            transfer_, image_.sizes, work_, nullptr, other_, &comparison, [&](const RowChunk& rows) {
                rows.EachRow([&](std::int64_t r, float* samples) {
                    float* const row = other_.get() + r * length;
                    transfer_.Take(work_, r, samples);
                    std::transform(samples, samples + length, row, [](float v) { return std::fabs(v); });
                });
            });
        const double afterwards = gnr::detail::MeanDivergence(image_.sizes, other_, observed, box);
        if (std::isnan(afterwards)) {
            EXPECT_TRUE(std::isnan(measured));
        } else {
            EXPECT_NEAR(measured, afterwards, 1e-12 * std::fabs(afterwards));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(SizesAndThreads, TransferPasses,
                         testing::Combine(testing::Values(Size{8, 6, 4}, Size{2, 1, 1}, Size{10, 9, 7},
                                                          Size{64, 5, 1}, Size{30, 24, 130}, Size{126, 4, 3},
                                                          Size{64, 40, 18}, Size{66, 33, 24},
                                                          Size{60, 45, 20}, Size{14, 22, 256},
                                                          Size{200, 180, 2}, Size{9, 8, 5}, Size{41, 33, 28}),
                                          testing::Values(1, 2, 5)),
                         [](const auto& named) {
                             const Size& size = std::get<0>(named.param);
                             return std::to_string(size[0]) + "x" + std::to_string(size[1]) + "x" +
                                    std::to_string(size[2]) + "Threads" +
                                    std::to_string(std::get<1>(named.param));
                         });

TEST(VolumeShapes, WithoutSamplesOrWithMoreThanCanBeCountedDoNotFit) {
    using gnr::fft::VolumePasses;
    using gnr::fft::VolumeShape;
    constexpr std::ptrdiff_t large = 2147483646;
    for (const VolumeShape& shape :
         {VolumeShape{0, 4, 4}, VolumeShape{4, 0, 4}, VolumeShape{4, 4, 0}, VolumeShape{4, 4, 5},
          VolumeShape{-1, 4, 4}, VolumeShape{large, large, large}, VolumeShape{4, 4, 2 * large}}) {
        EXPECT_FALSE(VolumePasses::Fit(shape));
        EXPECT_FALSE(VolumePasses(shape, gnr::fft::Directions::kBoth, 1.0f, 2));
    }
#if !defined(GNR_FFT_DFTI)
    EXPECT_TRUE(VolumePasses::Fit(VolumeShape{4, 4, 4}));
#endif
}

TEST(TransferPassesOffTheirPlace, FallBackOnWholeTransforms) {
    // Volumes that begin in the middle of four floats.
    const DFT3D s = gnr::test::Geometry(12, 10, 6);
    std::vector<Volume> rooms(4, Volume(12, 10, 8));
    const auto inMiddle = [&](std::size_t n) { return rooms[n].get() + 1; };
    const Volume image = Volume(s).FillRandom(1, 0.0f, 1.0f);
    const Volume psf = Volume(s).FillRandom(2, 0.0f, 1.0f);
    std::copy_n(image.get(), s.total, inMiddle(0));
    std::copy_n(psf.get(), s.total, inMiddle(1));
    Transfer transfer(s, inMiddle(2), {inMiddle(3)});
    transfer.Make(inMiddle(1), inMiddle(3));
    transfer.Forward(inMiddle(3), inMiddle(0));
    transfer.Multiply(inMiddle(3), TransferUse::kPlain);
    transfer.Inverse(inMiddle(3));

    Volume expected = image;
    Volume spectrum = psf;
    Low::DFT3D_Transform(&s, expected);
    Low::DFT3D_Transform(&s, spectrum);
    Low::SSE_ComplexMultiply(expected, spectrum, s.total);
    Low::DFT3D_Inversion(&s, expected);
    for (int k = 0; k < s.planes; ++k) {
        for (int j = 0; j < s.rows; ++j) {
            for (int i = 0; i < 12; ++i) {
                const std::int64_t n = std::int64_t{k} * s.planeStride + std::int64_t{j} * s.rowLength + i;
                ASSERT_NEAR(inMiddle(3)[n], expected.get()[n], 1e-3f) << n;
            }
        }
    }
}

}  // namespace
