// SPDX-License-Identifier: MIT
// rydecon restore --method blind: what comes out, the refined PSF as a file, and settings that mean nothing.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "restoration/refined_psf.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::AllFinite;
using test::Blurred;
using test::GaussianPsf;
using test::ReadStack;
using test::RestoreTest;
using test::Rmse;
using test::SmallObject;
using test::Stack;
using test::Words;

class BlindTest : public RestoreTest {
  protected:
    const Stack object_ = SmallObject();
    const Stack psf_ = GaussianPsf();
    const Stack image_ = Blurred(object_, psf_);

    static Words Blind(Words more = {}) {
        more.insert(more.begin(), {"--method", "blind"});
        return more;
    }
};

TEST_F(BlindTest, ComesNearerToTheTruth) {
    for (const char* guard : {"off", "0.3", "0.8"}) {
        const Stack restored = Restored(image_, psf_, Blind({"--guard", guard, "--iterations", "30"}));
        EXPECT_TRUE(AllFinite(restored));
        // Passes that fit their own estimate soon go beyond the object.
        if (guard != std::string("0.8")) {
            EXPECT_LT(Rmse(restored, object_), 0.95 * Rmse(image_, object_)) << guard;
        }
        EXPECT_NEAR(restored.Sum(), image_.Sum(), 0.05 * image_.Sum()) << guard;
        EXPECT_NE(said_.out.find("method blind, 30 sweeps of image and PSF"), std::string::npos) << said_.out;
    }
}

TEST_F(BlindTest, SettingsReachTheCore) {
    const Stack one = Restored(image_, psf_, Blind());
    for (const Words& more : {Words{"--inner", "10"}, {"--guard", "0.8"}, {"--iterations", "12"}}) {
        EXPECT_GT(Rmse(Restored(image_, psf_, Blind(more)), one), 0.0) << more.front();
    }
    // Single sweeps have nothing to end; passes of ten end after one.
    const Stack ten = Restored(image_, psf_, Blind({"--inner", "10"}));
    EXPECT_GT(Rmse(Restored(image_, psf_, Blind({"--inner", "10", "--energy-stop", "1000"})), ten), 0.0);
}

TEST_F(BlindTest, NoIterationsGiveImageAndPsfBack) {
    const Stack restored = Restored(image_, psf_, Blind({"--iterations", "0", "--psf-out", "refined.tif"}));
    EXPECT_EQ(Rmse(restored, image_), 0.0);
    const Stack refined = ReadStack(In("refined.tif"));
    ASSERT_EQ(refined.samples.size(), psf_.samples.size());
    const double sum = psf_.Sum();
    for (std::size_t n = 0; n < refined.samples.size(); ++n) {
        ASSERT_NEAR(refined.samples[n], psf_.samples[n] / sum, 1e-7) << n;
    }
}

/// Of the given PSF's sides, its largest sample in the middle, of sum 1, with the image's voxel; and a line that
/// tells what became of its widths.
TEST_F(BlindTest, TheRefinedPsfIsCentredAndOfSumOne) {
    Restored(image_, psf_, Blind({"--psf-out", "refined.tif"}));
    const Stack refined = ReadStack(In("refined.tif"));
    EXPECT_EQ(refined.header.width, 9);
    EXPECT_EQ(refined.header.height, 9);
    EXPECT_EQ(refined.header.planes(), 11);
    EXPECT_NEAR(refined.Sum(), 1.0, 1e-5);
    for (const float sample : refined.samples) EXPECT_LE(sample, refined.At(4, 4, 5));
    ASSERT_TRUE(refined.header.voxel.z.has_value());
    EXPECT_NEAR(*refined.header.voxel.z, 0.3, 1e-6);
    EXPECT_NE(said_.out.find("width of the PSF at half maximum: 0.28"), std::string::npos) << said_.out;
    EXPECT_NE(said_.out.find(" um in z"), std::string::npos) << said_.out;
    double change = 0;
    const double sum = psf_.Sum();
    for (std::size_t n = 0; n < refined.samples.size(); ++n) {
        change = std::max(change, std::abs(refined.samples[n] - psf_.samples[n] / sum));
    }
    EXPECT_GT(change, 1e-4);
}

TEST_F(BlindTest, TheRefinedPsfRestoresAgain) {
    Restored(image_, psf_, Blind({"--psf-out", "refined.tif", "--iterations", "6"}));
    const Stack again = Restored(image_, ReadStack(In("refined.tif")), {"--method", "lucy-richardson"});
    EXPECT_LT(Rmse(again, object_), Rmse(image_, object_));
}

TEST_F(BlindTest, TheTruthMeasuresEachPairOfPassesButTheLast) {
    Write("truth.tif", object_);
    Restored(image_, psf_, Blind({"--truth", "truth.tif", "--iterations", "8"}));
    std::size_t lines = 0;
    for (std::size_t at = 0; (at = said_.out.find("iteration ", at)) != std::string::npos; ++at) ++lines;
    EXPECT_EQ(lines, 3u) << said_.out;
}

TEST_F(BlindTest, RefusesWhatMeansNothing) {
    Write("in.tif", image_);
    Write("psf.tif", psf_);
    const auto restore = [](Words more) {
        more.insert(more.begin(), {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"});
        return more;
    };
    ExpectRefusal(restore({"--method", "blind", "--inner", "7"}), 2, "--inner");
    ExpectRefusal(restore({"--method", "blind", "--guard", "0.5"}), 2, "--guard");
    ExpectRefusal(restore({"--method", "blind", "--energy-stop", "nan"}), 2, "--energy-stop");
    ExpectRefusal(restore({"--method", "blind", "--regularization", "1"}), 2, "--regularization");
    ExpectRefusal(restore({"--inner", "10"}), 2, "blind");
    ExpectRefusal(restore({"--psf-out", "refined.tif"}), 2, "blind");
    ExpectRefusal(restore({"--method", "blind", "--psf-out", "./out.tif"}), 2, "same file");
    ExpectRefusal(restore({"--method", "blind", "--psf-out", "psf.tif", "--overwrite"}), 1, "psf.tif");
}

TEST_F(BlindTest, AnExistingPsfNeedsOverwrite) {
    Write("in.tif", image_);
    Write("psf.tif", psf_);
    Write("refined.tif", psf_);
    ExpectRefusal({"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--method", "blind", "--psf-out",
                   "refined.tif"},
                  1, "refined.tif");
}

TEST_F(BlindTest, StartsFromTheOptics) {
    Write("in.tif", image_);
    const auto said = test::RunProgram(
        folder_.path(), {"restore",      "in.tif",    "-o",        "out.tif",    "--method", "blind",
                         "--modality",   "widefield", "--na",      "1.0",        "--ri",     "1.518",
                         "--emission",   "520nm",     "--pixel",   "0.1",        "--z-step", "0.3",
                         "--iterations", "4",         "--psf-out", "refined.tif"});
    EXPECT_EQ(said.exitCode, 0) << said.err;
    EXPECT_TRUE(AllFinite(ReadStack(In("refined.tif"))));
}

TEST(WidthsOfWrapped, AreThoseOfTheGaussianWhereverItsPeakLies) {
    for (const Extent& peak : {Extent{0, 0, 0}, Extent{3, 9, 1}}) {
        const PaddedVolume psf({20, 16, 12});
        const auto squared = [](int n, int at, int side, double sigma) {
            const int off = std::abs(n - at);
            const double d = std::min(off, side - off) / sigma;
            return d * d;
        };
        for (int k = 0; k < 12; ++k) {
            for (int j = 0; j < 16; ++j) {
                for (int i = 0; i < 20; ++i) {
                    psf.Row(j, k)[i] = static_cast<float>(
                        std::exp(-0.5 * (squared(i, peak.x, 20, 2.0) + squared(j, peak.y, 16, 1.5) +
                                         squared(k, peak.z, 12, 1.0))));
                }
            }
        }
        const double perSigma = 2 * std::sqrt(2 * std::log(2.0));
        const PsfWidths widths = WidthsOfWrapped(psf);
        EXPECT_NEAR(*widths.x, 2.0 * perSigma, 1e-4);
        EXPECT_NEAR(*widths.y, 1.5 * perSigma, 1e-4);
        EXPECT_NEAR(*widths.z, 1.0 * perSigma, 1e-4);
        EXPECT_EQ(WidthChange(widths, widths, {20, 1, 12}, {0.1, 0.1, std::nullopt}),
                  "0.471 um -> 0.471 um in x, 2.355 samples -> 2.355 samples in z");
    }
}

}  // namespace
}  // namespace rydecon
