// SPDX-License-Identifier: MIT
// rydecon restore with the total-variation methods: what they make of a stack.

#include <gtest/gtest.h>

#include <array>
#include <regex>
#include <string>

#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::AllFinite;
using test::Blurred;
using test::GaussianPsf;
using test::MakeStack;
using test::Rmse;
using test::SmallObject;
using test::Stack;
using test::Words;

class RestoreStaged : public test::RestoreTest, public testing::WithParamInterface<const char*> {
  protected:
    Words Method(const Words& more = {}) const {
        Words words = {"--method", GetParam()};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
};

INSTANTIATE_TEST_SUITE_P(Methods, RestoreStaged, testing::Values("tv", "tv-ictm"), [](const auto& method) {
    return std::regex_replace(method.param, std::regex("-"), "_");
});

TEST_P(RestoreStaged, ShapeVoxelAndFluxStay) {
    const Stack blurred = Blurred(SmallObject(), GaussianPsf());
    const Stack restored = Restored(blurred, GaussianPsf(), Method({"--regularization", "0"}));
    EXPECT_EQ(restored.header.width, 32);
    EXPECT_EQ(restored.header.height, 27);
    EXPECT_EQ(restored.header.planes(), 16);
    EXPECT_NEAR(restored.header.voxel.z.value_or(0), 0.3, 1e-9);
    EXPECT_TRUE(AllFinite(restored));
    EXPECT_NEAR(restored.Sum() / blurred.Sum(), 1.0, 0.01);
    EXPECT_EQ(said_.err, "");
}

TEST_P(RestoreStaged, DarkStaysDarkAndAnyShapeIsTaken) {
    const Stack dark =
        Restored(MakeStack(12, 9, 5, [](int, int, int) { return 0; }), GaussianPsf(), Method());
    for (const float sample : dark.samples) ASSERT_EQ(sample, 0.0f);
    for (const auto& [width, height, planes] :
         {std::array{1, 1, 1}, {1, 23, 1}, {1, 1, 31}, {31, 37, 1}, {2, 2, 2}}) {
        const Stack image = MakeStack(width, height, planes,
                                      [](int i, int j, int k) { return 5 + (i * 7 + j * 3 + k * 11) % 10; });
        const Stack restored = Restored(image, GaussianPsf(), Method());
        EXPECT_EQ(restored.samples.size(), image.samples.size());
        EXPECT_TRUE(AllFinite(restored));
        EXPECT_GT(restored.Sum(), 0.0);
    }
}

class RestoreTotalVariation : public test::RestoreTest {};

TEST_F(RestoreTotalVariation, BringsTheErrorDownAndReadsItsStrength) {
    const Stack object = SmallObject();
    const Stack blurred = Blurred(object, GaussianPsf());
    const Stack restored = Restored(blurred, GaussianPsf(), {"--method", "tv"});
    EXPECT_LT(Rmse(restored, object), 0.95 * Rmse(blurred, object));
    const Stack plain = Restored(blurred, GaussianPsf(), {"--method", "tv", "--regularization", "0"});
    EXPECT_NE(plain.samples, restored.samples);
}

TEST_F(RestoreTotalVariation, IctmGoesUpTheMisfit_stays) {
    const Stack object = SmallObject();
    const Stack blurred = Blurred(object, GaussianPsf());
    const Stack smoothed = Restored(blurred, GaussianPsf(), {"--method", "tv-ictm", "--regularization", "0"});
    EXPECT_GT(Rmse(smoothed, object), Rmse(blurred, object));
}

}  // namespace
}  // namespace rydecon
