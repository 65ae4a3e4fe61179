// SPDX-License-Identifier: MIT
// What stands around an image: nothing that leaves one border comes in at the opposite one.

#include <gtest/gtest.h>

#include <array>

#include "restoration/frame_plan.h"
#include "restoration/margin.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::AllMethods;
using test::Blurred;
using test::GaussianPsf;
using test::MakeStack;
using test::Stack;

class RestoreMargin : public test::RestoreTest {};

constexpr int kNearBorder = 4;

/// The largest difference of two stacks near the far border of an axis, clear of all other borders.
double FarDifference(const Stack& a, const Stack& b, int axis) {
    double largest = 0.0;
    const std::array<int, 3> side = {a.header.width, a.header.height, a.header.planes()};
    const auto counts = [&](const std::array<int, 3>& at) {
        for (int n = 0; n < 3; ++n) {
            const auto m = static_cast<std::size_t>(n);
            const bool atEnd = at[m] >= side[m] - kNearBorder;
            if (n == axis ? !atEnd : atEnd || at[m] < kNearBorder) return false;
        }
        return true;
    };
    for (int k = 0; k < side[2]; ++k) {
        for (int j = 0; j < side[1]; ++j) {
            for (int i = 0; i < side[0]; ++i) {
                if (!counts({i, j, k})) continue;
                largest = std::max(largest, std::abs(double{a.At(i, j, k)} - b.At(i, j, k)));
            }
        }
    }
    return largest;
}

TEST_F(RestoreMargin, BrightBorderDoesNotReachTheOppositeOne) {
    const Stack psf = GaussianPsf();
    const auto object = [](int bright) {
        return MakeStack(26, 23, 22, [bright](int i, int j, int k) {
            const std::array<int, 3> at = {i, j, k};
            return bright >= 0 && at[static_cast<std::size_t>(bright)] == 0 ? 2000 : 100;
        });
    };
    const Stack plain = Blurred(object(-1), psf);
    for (const std::string& method : AllMethods()) {
        const Stack without = Restored(plain, psf, {"--method", method});
        for (int axis = 0; axis < 3; ++axis) {
            const Stack with = Restored(Blurred(object(axis), psf), psf, {"--method", method});
            EXPECT_GT(with.At(axis == 0 ? 0 : 13, axis == 1 ? 0 : 11, axis == 2 ? 0 : 11), 500.0f) << method;
            EXPECT_LT(FarDifference(with, without, axis), 0.01 * 2000) << method << ", axis " << axis;
        }
    }
}

PaddedVolume Ramp(const Extent& image, const Extent& frame) {
    PaddedVolume volume(frame);
    for (int k = 0; k < image.z; ++k) {
        for (int j = 0; j < image.y; ++j) {
            for (int i = 0; i < image.x; ++i)
                volume.Row(j, k)[i] = static_cast<float>(100 + 3 * i + 5 * j + 7 * k);
        }
    }
    FillMargin(volume, image);
    return volume;
}

TEST(Margin, LeavesTheImageAndStaysWithinItsRange) {
    const Extent shapes[] = {{1, 1, 1}, {1, 17, 1}, {13, 11, 7}, {5, 1, 3}, {2, 2, 2}};
    const Extent frames[] = {{8, 9, 10}, {2, 30, 1}, {16, 15, 12}, {30, 1, 20}, {40, 25, 27}};
    for (std::size_t n = 0; n < std::size(shapes); ++n) {
        const PaddedVolume volume = Ramp(shapes[n], frames[n]);
        const Extent& image = shapes[n];
        const auto largest =
            static_cast<float>(100 + 3 * (image.x - 1) + 5 * (image.y - 1) + 7 * (image.z - 1));
        for (int k = 0; k < frames[n].z; ++k) {
            for (int j = 0; j < frames[n].y; ++j) {
                for (int i = 0; i < frames[n].x; ++i) {
                    const float sample = volume.Row(j, k)[i];
                    ASSERT_GE(sample, 100.0f - 1e-4f);
                    ASSERT_LE(sample, largest + 1e-4f);
                    if (i < image.x && j < image.y && k < image.z) {
                        ASSERT_EQ(sample, static_cast<float>(100 + 3 * i + 5 * j + 7 * k));
                    }
                }
            }
        }
    }
}

TEST(Margin, ContinuesTheImageAtBothEndsAndFadesToTheBorderMean) {
    const Extent image = {20, 1, 1};
    const PaddedVolume volume = Ramp(image, {60, 1, 1});
    const float* const row = volume.Row(0, 0);
    const float mean = 100.0f + 3.0f * 19.0f / 2.0f;
    EXPECT_NEAR(row[20], row[19], 0.2f);
    EXPECT_NEAR(row[59], row[0], 0.2f);
    EXPECT_NEAR(row[39], mean, 0.5f);
    EXPECT_NEAR(row[40], mean, 0.5f);
    for (int i = 20; i < 59; ++i) EXPECT_LT(std::abs(row[i + 1] - row[i]), 6.0f) << "a step at " << i;
}

int LargestPrimeFactor(int n) {
    int largest = 1;
    for (int p = 2; p <= n; ++p) {
        while (n % p == 0) {
            largest = p;
            n /= p;
        }
    }
    return largest;
}

TEST(FramePlan, HoldsImageAndReachWithSidesThatTheTransformLikes) {
    for (const Extent& image :
         {Extent{1, 1, 1}, Extent{31, 37, 41}, Extent{127, 128, 1}, Extent{64, 1, 17}}) {
        for (const PsfReach& reach :
             {PsfReach{}, PsfReach{{3, 4, 0}, {5, 0, 0}}, PsfReach{{0, 0, 9}, {0, 0, 8}}}) {
            const Extent frame = PlanFrame(image, reach);
            EXPECT_GE(frame.x, image.x + reach.low.x + reach.high.x);
            EXPECT_GE(frame.y, image.y + reach.low.y + reach.high.y);
            EXPECT_GE(frame.z, image.z + reach.low.z + reach.high.z);
            EXPECT_EQ(frame.x % 2, 0);
            for (const int side : {frame.x, frame.y, frame.z}) EXPECT_LE(LargestPrimeFactor(side), 5) << side;
        }
    }
    EXPECT_EQ(PlanFrame({30, 30, 1}, {}).z, 1);
}

TEST(FramePlan, RefusesWhatTheLibraryCannotAddress) {
    EXPECT_THROW(PlanFrame({30000, 30000, 1000}, {}), UserError);
    EXPECT_THROW(PlanFrame({70000, 70000, 1}, {}), UserError);
}

}  // namespace
}  // namespace rydecon
