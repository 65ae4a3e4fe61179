// SPDX-License-Identifier: MIT
// rydecon restore: --curve, and the number of iterations by --stop split.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "support/picture_scene.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::Blurred;
using test::GaussianPsf;
using test::MakeStack;
using test::SmallObject;
using test::Stack;
using test::Words;

class StopOfRestore : public test::RestoreTest {
  protected:
    /// The values of a file that --curve wrote; its first line is "iteration,<column>".
    std::vector<double> CurveIn(const std::string& name, const std::string& column) const {
        std::istringstream lines(test::FileBytes(In(name)));
        std::string line;
        std::getline(lines, line);
        EXPECT_EQ(line, "iteration," + column);
        std::vector<double> values;
        while (std::getline(lines, line)) {
            const std::size_t comma = line.find(',');
            EXPECT_EQ(line.substr(0, comma), std::to_string(values.size() + 1));
            values.push_back(std::stod(line.substr(comma + 1)));
        }
        return values;
    }

    /// A simulated stack with its truth and PSF, as in.tif, truth.tif and psf.tif.
    void Simulate(const std::string& photons, const Words& more = {}) {
        Words words = {"simulate",  "-o",    "s",      "--size", "48",          "40", "16",
                       "--photons", photons, "--seed", "3",      "--overwrite", "-q"};
        words.insert(words.end(), more.begin(), more.end());
        const test::ProgramResult made = test::RunProgram(folder_.path(), words);
        ASSERT_EQ(made.exitCode, 0) << made.err;
        namespace fs = std::filesystem;
        const auto all = fs::copy_options::overwrite_existing;
        fs::copy_file(In("s") / "blurred.tif", In("in.tif"), all);
        fs::copy_file(In("s") / "psf.tif", In("psf.tif"), all);
        fs::copy_file(In("s") / "truth.tif", In("truth.tif"), all);
    }

    /// The RMSE of each iterate.
    std::vector<double> Errors(const Words& more) {
        Words words = more;
        words.insert(words.end(), {"--truth", "truth.tif"});
        const test::ProgramResult result = Restore(words);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        std::vector<double> errors;
        std::istringstream lines(result.out);
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("iteration ", 0) == 0)
                errors.push_back(std::stod(line.substr(line.find("rmse ") + 5)));
        }
        return errors;
    }

    /// Runs with --stop split and more; the number of iterations in the summary.
    unsigned ChosenWith(const Words& more) {
        Words words = {"--stop", "split"};
        words.insert(words.end(), more.begin(), more.end());
        said_ = Restore(words);
        EXPECT_EQ(said_.exitCode, 0) << said_.err;
        const std::string end = " iterations (where two halves of the photons agree best)";
        const std::size_t at = said_.out.find(end);
        EXPECT_NE(at, std::string::npos) << said_.out;
        if (at == std::string::npos) return 0;
        return static_cast<unsigned>(std::stoul(said_.out.substr(said_.out.rfind(' ', at - 1) + 1)));
    }

    void ExpectRefused(const Words& more, int code, const std::string& part) const {
        Words words = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif"};
        words.insert(words.end(), more.begin(), more.end());
        ExpectRefusal(words, code, part);
    }
};

TEST_F(StopOfRestore, EachMethodThatShowsItsIteratesWritesACurve) {
    const Stack image = Blurred(SmallObject(), GaussianPsf());
    for (const char* method : {"accelerated", "lucy-richardson", "lucy-richardson-auto", "landweber",
                               "landweber-auto", "tv", "tv-ictm", "blind"}) {
        const Words plain = {"--method", method, "--iterations", "6"};
        Words words = plain;
        words.insert(words.end(), {"--curve", "c.csv"});
        const Stack with = Restored(image, GaussianPsf(), words);
        const std::vector<double> curve = CurveIn("c.csv", "i_divergence");
        EXPECT_EQ(curve.size(), method == std::string("blind") ? 2U : 6U)
            << method;  // pairs of passes but the last
        for (const double value : curve) EXPECT_TRUE(std::isfinite(value) && value >= 0.0) << method;
        EXPECT_EQ(with.samples, Restored(image, GaussianPsf(), plain).samples) << "watching changes nothing";
    }
}

TEST_F(StopOfRestore, TheCurveFallsWhileRichardsonLucyRuns) {
    // Each step raises the Poisson likelihood (Shepp and Vardi 1982), here on the image box of a padded volume.
    Restored(Blurred(SmallObject(), GaussianPsf()), GaussianPsf(),
             {"--method", "lucy-richardson", "--iterations", "20", "--curve", "c.csv"});
    const std::vector<double> curve = CurveIn("c.csv", "i_divergence");
    ASSERT_EQ(curve.size(), 20U);
    for (std::size_t n = 1; n < curve.size(); ++n) EXPECT_LT(curve[n], curve[n - 1]) << n;
    EXPECT_LT(curve.back(), 0.2 * curve.front());
}

TEST_F(StopOfRestore, AnExistingCurveNeedsOverwrite) {
    Write("in.tif", Blurred(SmallObject(), GaussianPsf()));
    Write("psf.tif", GaussianPsf());
    ExpectRefused({"--curve", "in.tif"}, 1, "in.tif");
    ExpectRefused({"--curve", "./out.tif"}, 2, "--curve and --output name the same file");
    std::ofstream(In("c.csv")) << "mine";
    ExpectRefused({"--curve", "c.csv"}, 1, "c.csv");
    EXPECT_EQ(test::FileBytes(In("c.csv")), "mine");
    ExpectRefused({"--curve", "nowhere/c.csv"}, 1, "nowhere/c.csv");
    ExpectRefused({"--method", "wiener", "--curve", "d.csv"}, 2, "--curve means nothing to --method wiener");
    ExpectRefused({"--method", "landweber-wavelet", "--curve", "d.csv"}, 2, "--curve means nothing");
    ExpectRefused({"--method", "rltm", "--curve", "d.csv"}, 2, "--curve means nothing");
}

/// What docs/stopping.md promises: the image restored with the chosen number is at most so much farther from the
/// truth than with the best one.
struct Promise {
    const char* method;
    double tolerance;
    bool grows;  ///< with the photons; total variation bounds noise by itself
};

class SplitStop : public StopOfRestore, public ::testing::WithParamInterface<Promise> {};

TEST_P(SplitStop, ChoosesNearTheBestAndMoreForMorePhotons) {
    const auto& [method, tolerance, grows] = GetParam();
    unsigned before = 0;
    for (const char* photons : {"5", "30", "200"}) {
        Simulate(photons);
        const Words plain = {"--method", method, "--iterations", "120"};
        Words all = plain;
        if (method == std::string("accelerated")) all.push_back("--no-auto-stop");
        const std::vector<double> errors = Errors(all);
        Words words = plain;
        words.insert(words.end(), {"--curve", "c.csv"});
        const unsigned chosen = ChosenWith(words);
        ASSERT_TRUE(chosen >= 1 && chosen <= errors.size()) << photons;
        const double best = *std::min_element(errors.begin(), errors.end());
        EXPECT_LT(errors[chosen - 1], (1.0 + tolerance) * best)
            << photons << " photons, iteration " << chosen;
        if (grows) {
            EXPECT_TRUE(chosen > before || chosen == 120) << photons;
        }
        EXPECT_LE(chosen, CurveIn("c.csv", "split_divergence").size());
        before = chosen;
    }
}

INSTANTIATE_TEST_SUITE_P(Methods, SplitStop,
                         ::testing::Values(Promise{"accelerated", 0.20, true},
                                           Promise{"lucy-richardson", 0.05, true},
                                           Promise{"tv", 0.05, false}),
                         [](const auto& scene) {
                             std::string name = scene.param.method;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST_F(StopOfRestore, TheChosenNumberIsThatOfAPlainRun) {
    Simulate("40");
    for (const char* method : {"accelerated", "lucy-richardson", "tv", "landweber"}) {
        const unsigned chosen = ChosenWith({"--method", method, "--iterations", "40"});
        const std::string bytes = test::FileBytes(In("out.tif"));
        Words plain = {"--method", method, "--iterations", std::to_string(chosen)};
        if (method == std::string("accelerated")) plain.push_back("--no-auto-stop");
        ASSERT_EQ(Restore(plain).exitCode, 0);
        EXPECT_TRUE(test::FileBytes(In("out.tif")) == bytes) << method;
    }
}

TEST_F(StopOfRestore, OwnStopTestsAreOff) {
    // With this ratio they end at the sixth iteration.
    Simulate("60");
    for (const char* method : {"lucy-richardson-auto", "landweber-auto"}) {
        const Words plain = {"--method", method, "--iterations", "40", "--stop-ratio", "0"};
        EXPECT_NE(Restore(plain).out.find("ended by its stop test"), std::string::npos) << method;
        EXPECT_GT(ChosenWith(plain), 6U) << method;
    }
}

TEST_F(StopOfRestore, OneSeedGivesOneSplit) {
    Simulate("30");
    std::map<std::string, std::string> curves;
    for (const char* seed : {"1", "1", "2", ""}) {
        Words words = {"--method", "lucy-richardson", "--iterations", "60", "--curve", "c.csv"};
        if (*seed != '\0') words.insert(words.end(), {"--seed", seed});
        ChosenWith(words);
        const std::string bytes = test::FileBytes(In("c.csv"));
        const std::string key = *seed != '\0' ? seed : "1";
        if (curves.count(key) > 0) {
            EXPECT_EQ(curves[key], bytes);
        }
        curves[key] = bytes;
    }
    EXPECT_NE(curves["1"], curves["2"]);
}

TEST_F(StopOfRestore, GainAndOffsetAreToldOrEstimated) {
    Simulate("60", {"--background", "10"});
    const unsigned photons = ChosenWith({"--method", "lucy-richardson", "--iterations", "90", "--gain", "1"});
    EXPECT_NE(said_.err.find("a photon is 1 above 0; two halves of them"), std::string::npos) << said_.err;
    Stack image = test::ReadStack(In("in.tif"));
    for (float& sample : image.samples) sample = 4.0f * sample + 100.0f;
    Write("in.tif", image);
    EXPECT_EQ(ChosenWith({"--method", "lucy-richardson", "--iterations", "90", "--gain", "4", "--offset",
                          "100", "--background", "100"}),
              photons);
    const unsigned estimated =
        ChosenWith({"--method", "lucy-richardson", "--iterations", "90", "--background", "100"});
    EXPECT_NEAR(estimated, photons, 0.25 * photons + 2);
    EXPECT_NE(said_.err.find(", estimated from the noise; two halves"), std::string::npos) << said_.err;
    const double gain = std::stod(said_.err.substr(said_.err.find("a photon is ") + 12));
    EXPECT_NEAR(gain, 4.0, 0.4);
}

TEST_F(StopOfRestore, TheLimitBounds) {
    Simulate("200");
    EXPECT_EQ(ChosenWith({"--method", "lucy-richardson", "--iterations", "5"}), 5U);
    EXPECT_NE(said_.err.find("the halves agree best at the limit of 5 iterations"), std::string::npos)
        << said_.err;
    Words none = {"--method", "lucy-richardson", "--iterations", "0", "--stop", "split"};
    ASSERT_EQ(Restore(none).exitCode, 0);
    EXPECT_EQ(test::ReadStack(In("out.tif")).samples, test::ReadStack(In("in.tif")).samples);
}

TEST_F(StopOfRestore, WhatCannotBeSplitIsRefusedInOneLine) {
    Simulate("60");
    ExpectRefused({"--method", "blind", "--stop", "split"}, 2,
                  "--stop split cannot end --method blind; it needs");
    ExpectRefused({"--method", "wiener", "--stop", "split"}, 2, "--stop split cannot end --method wiener");
    ExpectRefused({"--method", "landweber-wavelet", "--stop", "split"}, 2, "--stop split cannot end");
    ExpectRefused({"--method", "rltm", "--stop", "split"}, 2, "cannot end --method rltm on pictures");
    for (const char* gain : {"0", "-1", "nan", "inf", "1e10"}) {
        ExpectRefused({"--stop", "split", "--gain", gain}, 2, "--gain");
    }
    ExpectRefused({"--stop", "split", "--offset", "nan"}, 2, "--offset");
    ExpectRefused({"--stop", "split", "--seed", "-1"}, 2, "--seed");
    ExpectRefused({"--stop", "never"}, 2, "--stop");
    for (const char* option : {"--gain", "--offset", "--seed"}) {
        ExpectRefused({option, "1"}, 2, std::string(option) + " means nothing without --stop split");
    }
    ExpectRefused({"--method", "tv", "--stop", "split", "--checkpoint", "c"}, 2,
                  "cannot be combined with --checkpoint");
    ExpectRefused({"--stop", "split", "--gain", "1e8"}, 1,
                  "'in.tif': --gain 1e+08 makes its brightest sample");
    Stack image = test::ReadStack(In("in.tif"));
    image.samples[100] = -3.0f;
    Write("in.tif", image);
    ExpectRefused({"--stop", "split"}, 1, "'in.tif': it has samples below 0 (-3)");
    image.samples[100] = std::nanf("");
    image.samples[101] = HUGE_VALF;
    Write("in.tif", image);
    ExpectRefused({"--stop", "split", "--gain", "1"}, 1, "2 samples are NaN or infinite");
    Write("in.tif", Blurred(SmallObject(), GaussianPsf()));
    Write("psf.tif", GaussianPsf());
    ExpectRefused({"--stop", "split"}, 1, "'in.tif': it shows no noise of its own");
}

TEST_F(StopOfRestore, AConstantIsCopiedAllTheSame) {
    Write("in.tif", MakeStack(12, 9, 5, [](int, int, int) { return 7; }));
    Write("psf.tif", GaussianPsf());
    said_ = Restore({"--stop", "split"});
    EXPECT_EQ(said_.exitCode, 0) << said_.err;
    EXPECT_NE(said_.err.find("it is copied"), std::string::npos) << said_.err;
}

}  // namespace
}  // namespace rydecon
