// SPDX-License-Identifier: MIT
// rydecon restore on faulty images: background, hot pixels, saturation, constants, results that are no results.

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "io/tiff_fixture.h"
#include "random/random_numbers.h"
#include "restoration/method_choice.h"
#include "restoration/volume_restoration.h"
#include "support/picture_scene.h"
#include "support/plane_box.h"
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

class CleanImage : public test::RestoreTest {
  protected:
    bool Said(const std::string& part) const { return said_.err.find(part) != std::string::npos; }

    /// The small object with photon noise, over a background.
    static Stack Noisy(double background) {
        const Stack blurred = Blurred(SmallObject(), GaussianPsf());
        RandomNumbers random(5, 0);
        return MakeStack(32, 27, 16, [&](int i, int j, int k) {
            return random.Poisson(double{blurred.At(i, j, k)} + background);
        });
    }
    static Words Plain(const Words& more = {}) {
        Words words = {"--method", "lucy-richardson", "--iterations", "12"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    void WriteIntegers(const std::string& name, const Stack& stack) const {
        std::vector<testing::TestPage> pages;
        const auto plane = static_cast<std::size_t>(stack.header.width * stack.header.height);
        for (int k = 0; k < stack.header.planes(); ++k) {
            std::vector<std::uint16_t> samples;
            for (std::size_t n = 0; n < plane; ++n) {
                samples.push_back(
                    static_cast<std::uint16_t>(stack.samples[static_cast<std::size_t>(k) * plane + n]));
            }
            pages.push_back(testing::PageOf(static_cast<std::uint32_t>(stack.header.width),
                                            static_cast<std::uint32_t>(stack.header.height), samples));
        }
        testing::WriteTiff(In(name), "wl", pages);
    }
};

TEST_F(CleanImage, AToldBackgroundIsTakenOff) {
    const Stack image = Noisy(300.0);
    const Stack lowered = MakeStack(
        32, 27, 16, [&](int i, int j, int k) { return std::max(0.0f, image.At(i, j, k) - 290.5f); });
    const Stack expected = Restored(lowered, GaussianPsf(), Plain());
    const Stack restored = Restored(image, GaussianPsf(), Plain({"--background", "290.5"}));
    EXPECT_EQ(restored.samples, expected.samples);
    EXPECT_EQ(said_.err, "rydecon: note: 'in.tif': background 290.5 is subtracted\n");
}

TEST_F(CleanImage, AnEstimatedBackgroundBringsTheResultNearerToTheTruth) {
    const Stack image = Noisy(300.0);
    const double with = Rmse(Restored(image, GaussianPsf(), Plain()), SmallObject());
    const Stack restored = Restored(image, GaussianPsf(), Plain({"--background", "auto"}));
    EXPECT_LT(Rmse(restored, SmallObject()), 0.75 * with);
    EXPECT_TRUE(Said(", estimated, is subtracted")) << said_.err;
    EXPECT_GE(*std::min_element(restored.samples.begin(), restored.samples.end()), 0.0f);
    const double level = std::stod(said_.err.substr(said_.err.find("background ") + 11));
    EXPECT_GT(level, 300.0 - 0.4 * std::sqrt(300.0));
    EXPECT_LT(level, 305.0);
}

TEST_F(CleanImage, EveryMethodTakesACleanedImage) {
    const Stack image = Noisy(300.0);
    for (const char* method : {"accelerated", "lucy-richardson-auto", "landweber", "tv", "blind", "wiener"}) {
        Words words = {"--method", method, "--background", "auto", "--hot-pixels", "auto"};
        if (method != std::string("wiener")) words.insert(words.end(), {"--iterations", "4"});
        const Stack restored = Restored(image, GaussianPsf(), words);
        EXPECT_TRUE(AllFinite(restored)) << method;
        EXPECT_TRUE(Said("is subtracted")) << method;
        EXPECT_LT(restored.Sum(), 0.1 * image.Sum()) << method;
    }
}

TEST_F(CleanImage, HotPixelsAreReplacedAndCounted) {
    const Stack clean = Noisy(50.0);
    Stack image = clean;
    const auto at = [&](int i, int j, int k) -> float& {
        return image.samples[static_cast<std::size_t>((k * 27 + j) * 32 + i)];
    };
    at(3, 4, 5) = 60000.0f;
    for (int k = 0; k < 3; ++k) at(25, 22, k) = 9000.0f;
    const Stack expected = Restored(clean, GaussianPsf(), Plain());
    const Stack spoilt = Restored(image, GaussianPsf(), Plain());
    const Stack restored = Restored(image, GaussianPsf(), Plain({"--hot-pixels", "auto"}));
    EXPECT_TRUE(Said("'in.tif': 4 samples (0.029 %) replaced as hot pixels, ")) << said_.err;
    EXPECT_GT(Rmse(spoilt, expected), 50.0);
    EXPECT_LT(Rmse(restored, expected), 5.0);
    Restored(clean, GaussianPsf(), Plain({"--hot-pixels", "auto"}));
    EXPECT_EQ(said_.err, "");
    Restored(image, GaussianPsf(), Plain({"--hot-pixels", "off"}));
    EXPECT_EQ(said_.err, "");
}

TEST_F(CleanImage, SoManyThatTheyAreTheImageStay) {
    const Stack image = MakeStack(32, 27, 16, [](int i, int j, int k) {
        return i % 8 == 3 && j % 8 == 3 && k % 2 == 0 ? 5000 : 100 + (i * 7 + j * 11 + k * 5) % 13;
    });
    const Stack plain = Restored(image, GaussianPsf(), Plain());
    EXPECT_EQ(Restored(image, GaussianPsf(), Plain({"--hot-pixels", "auto"})).samples, plain.samples);
    EXPECT_TRUE(Said("so many are the image, and none is replaced")) << said_.err;
}

TEST_F(CleanImage, SaturatedSamplesAreToldOfIntegers) {
    Write("psf.tif", GaussianPsf());
    Stack image = Noisy(50.0);
    for (float& sample : image.samples) sample = std::min(500.0f * sample, 65535.0f);
    const auto clipped = std::count(image.samples.begin(), image.samples.end(), 65535.0f);
    ASSERT_GT(clipped, 1);
    WriteIntegers("in.tif", image);
    said_ = Restore(Plain());
    EXPECT_EQ(said_.exitCode, 0) << said_.err;
    EXPECT_TRUE(Said("'in.tif': " + std::to_string(clipped) + " samples (")) << said_.err;
    EXPECT_TRUE(Said("saturated, at 65535; rings around them are no structure")) << said_.err;
    Restored(image, GaussianPsf(), Plain());  // floats have no top
    EXPECT_EQ(said_.err, "");
}

TEST_F(CleanImage, AConstantIsCopied) {
    for (const char* method : {"accelerated", "lucy-richardson", "lucy-richardson-auto", "landweber",
                               "landweber-auto", "landweber-wavelet", "tv", "tv-ictm", "blind", "wiener"}) {
        for (const float level : {0.0f, 7.3f}) {
            const Stack image = MakeStack(12, 9, 5, [=](int, int, int) { return level; });
            EXPECT_EQ(Restored(image, GaussianPsf(), {"--method", method}).samples, image.samples) << method;
            EXPECT_TRUE(Said(
                level == 0.0f ? "'in.tif': every sample is 0; there is nothing to restore, and it is copied"
                              : "'in.tif': every sample is 7.3; there is"))
                << said_.err;
            EXPECT_NE(said_.out.find(", copied, padded"), std::string::npos) << said_.out;
        }
    }
}

TEST_F(CleanImage, AConstantLeavesThePsfAsItIs) {
    Restored(MakeStack(12, 9, 5, [](int, int, int) { return 3; }), GaussianPsf(),
             {"--method", "blind", "--psf-out", "refined.tif", "--curve", "c.csv"});
    const Stack psf = test::ReadStack(In("refined.tif"));
    const Stack given = GaussianPsf();
    EXPECT_NEAR(psf.At(4, 4, 5) / psf.At(3, 4, 5), given.At(4, 4, 5) / given.At(3, 4, 5), 1e-4);
    EXPECT_EQ(test::FileBytes(In("c.csv")), "iteration,i_divergence\n");
}

TEST_F(CleanImage, AResultThatIsTheImageIsRefused) {
    // Richardson-Lucy has nowhere to move light to where a single sample has all of it.
    Write("psf.tif", GaussianPsf());
    Write("in.tif",
          MakeStack(15, 14, 9, [](int i, int j, int k) { return i == 8 && j == 3 && k == 5 ? 1000 : 0; }));
    ExpectRefusal(
        {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--method", "lucy-richardson"}, 1,
        "gave the image back as it was; with this PSF and these settings there is nothing to restore");
}

/// Keeps the planes in memory.
class KeptPlanes final : public PlaneSink {
  public:
    explicit KeptPlanes(const Extent& size) : size_(size) {}
    void WritePlane(int /*k*/, const float* rows, std::ptrdiff_t rowStride) override {
        for (int j = 0; j < size_.y; ++j) {
            samples_.insert(samples_.end(), rows + j * rowStride, rows + j * rowStride + size_.x);
        }
    }
    const std::vector<float>& samples() const { return samples_; }

  private:
    Extent size_;
    std::vector<float> samples_;
};

/// The notes of a job.
class KeptMessages final : public Messages {
  public:
    void Note(const std::string& line) const override { said += line + "\n"; }
    mutable std::string said;
};

TEST_F(CleanImage, BlocksOfAnImageMayBeConstantOrUnchanged) {
    Write("psf.tif", GaussianPsf());
    RestoreJob job;
    job.image = "in.tif";
    job.psf.file = In("psf.tif");
    job.method = "lucy-richardson";
    const KeptMessages messages;
    const Method& method = *FindMethods(job.method).volume;
    VolumeRestoration restoration(job, method, StackHeader{}, messages);
    const auto restored = [&](test::PlaneBox from) {
        KeptPlanes to(from.shape());
        const EndOfRun end = restoration.Restore(from, to, VolumeRestoration::PsfUse::Again).end;
        EXPECT_EQ(to.samples(), from.samples());
        return end;
    };
    const test::PlaneBox constant({9, 8, 7}, [](int, int, int) { return 3; });
    const test::PlaneBox point({15, 14, 9},
                               [](int i, int j, int k) { return i == 8 && j == 3 && k == 5 ? 1000 : 0; });
    EXPECT_EQ(restored(constant), EndOfRun::Copied);
    EXPECT_THROW(restored(point), UserError);
    messages.said.clear();
    restoration.TakeBlocks();
    EXPECT_EQ(restored(constant), EndOfRun::Copied);
    EXPECT_EQ(restored(point), EndOfRun::Limit);
    EXPECT_EQ(messages.said, "");
}

TEST_F(CleanImage, NoIterationsGiveTheImageBack) {
    const Stack image = Blurred(SmallObject(), GaussianPsf());
    EXPECT_EQ(Restored(image, GaussianPsf(), {"--method", "lucy-richardson", "--iterations", "0"}).samples,
              image.samples);
}

TEST_F(CleanImage, WrongValuesAreRefused) {
    Write("in.tif", Noisy(50.0));
    Write("psf.tif", GaussianPsf());
    const auto refuse = [&](const Words& more, int code, const std::string& part) {
        Words words = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"};
        words.insert(words.end(), more.begin(), more.end());
        ExpectRefusal(words, code, part);
    };
    for (const char* value : {"nan", "inf", "1e10"}) {
        refuse({"--background", value}, 2, "--background is " + std::string(value) + "; auto or a number");
    }
    for (const char* value : {"much", "5x"}) {
        refuse({"--background", value}, 2, "--background is '" + std::string(value) + "'; auto or a number");
    }
    refuse({"--hot-pixels", "on"}, 2, "--hot-pixels");
    refuse({"--background", "1e8"}, 1,
           "--background 1e+08 leaves nothing of 'in.tif', whose largest sample is ");
}

TEST_F(CleanImage, PicturesAreCleanedOneByOne) {
    const Stack psf = test::PlanePsf();
    const Stack clean = test::BlurredPicture(test::PictureTruth(60, 50), psf);
    Stack image = clean;
    for (float& sample : image.samples) sample += 400.0f;
    image.samples[20 * 60 + 30] = 50000.0f;
    const Words method = {"--method", "rltm", "--iterations", "8"};
    Words cleaned = method;
    cleaned.insert(cleaned.end(), {"--background", "400", "--hot-pixels", "auto"});
    const Stack expected = Restored(clean, psf, method);
    EXPECT_LT(Rmse(Restored(image, psf, cleaned), expected), 25.0);
    EXPECT_TRUE(Said("1 sample (0.033 %) replaced as hot pixels")) << said_.err;
    EXPECT_TRUE(Said("background 400 is subtracted")) << said_.err;

    const Stack constant = MakeStack(24, 20, 1, [](int, int, int) { return 5; });
    EXPECT_EQ(Restored(constant, psf, method).samples, constant.samples);
    EXPECT_TRUE(Said("'in.tif': all samples are equal; there is nothing to restore, and they are copied"))
        << said_.err;

    const Stack pair =
        MakeStack(60, 50, 3, [&](int i, int j, int k) { return k == 1 ? 9.0f : clean.At(i, j, 0); });
    Words planes = method;
    planes.push_back("--per-plane");
    EXPECT_EQ(Restored(pair, psf, planes).At(7, 7, 1), 9.0f);
    EXPECT_TRUE(Said("1 of 3 pictures has equal samples only and is copied")) << said_.err;
}

}  // namespace
}  // namespace rydecon
