// SPDX-License-Identifier: MIT
// rydecon restore: what each method makes of a stack, and what is said about it.

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "support/restore_scene.h"

namespace rydecon {
namespace {

using test::AllFinite;
using test::AllMethods;
using test::Blurred;
using test::GaussianPsf;
using test::MakeStack;
using test::ProgramResult;
using test::ProgramSettings;
using test::Rmse;
using test::SmallObject;
using test::Stack;
using test::Words;

class RestoreMethod : public test::RestoreTest, public ::testing::WithParamInterface<std::string> {
  protected:
    Words Method(const Words& more = {}) const {
        Words words = {"--method", GetParam()};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    bool iterative() const { return GetParam() != "wiener"; }
};

std::string NameOfMethod(const ::testing::TestParamInfo<std::string>& info) {
    return std::regex_replace(info.param, std::regex("-"), "_");
}

INSTANTIATE_TEST_SUITE_P(Restore, RestoreMethod, ::testing::ValuesIn(AllMethods()), NameOfMethod);

class RestoreIterates : public RestoreMethod {};

INSTANTIATE_TEST_SUITE_P(Restore, RestoreIterates,
                         ::testing::Values("accelerated", "lucy-richardson", "lucy-richardson-auto"),
                         NameOfMethod);

TEST_P(RestoreMethod, BringsTheErrorDownAndKeepsShapeVoxelAndFlux) {
    const Stack object = SmallObject();
    const Stack blurred = Blurred(object, GaussianPsf());
    const Stack restored = Restored(blurred, GaussianPsf(), Method());
    EXPECT_LT(Rmse(restored, object), 0.95 * Rmse(blurred, object));
    EXPECT_EQ(restored.header.width, 32);
    EXPECT_EQ(restored.header.height, 27);
    EXPECT_EQ(restored.header.planes(), 16);
    EXPECT_EQ(restored.header.sampleType, SampleType::Float32);
    EXPECT_NEAR(restored.header.voxel.x.value_or(0), 0.1, 1e-9);
    EXPECT_NEAR(restored.header.voxel.y.value_or(0), 0.12, 1e-9);
    EXPECT_NEAR(restored.header.voxel.z.value_or(0), 0.3, 1e-9);
    // The direct filter cuts its ringing below 0 and so gains light; accelerated ends on a pedestal.
    EXPECT_NEAR(restored.Sum() / object.Sum(), 1.0, GetParam().rfind("lucy", 0) == 0 ? 0.01 : 0.5);
    EXPECT_EQ(said_.err, "");
}

TEST_P(RestoreMethod, TwoRunsWriteTheSameBytes) {
    ProgramSettings threads;
    threads.environment = {"OMP_NUM_THREADS=2"};
    Write("in.tif", Blurred(SmallObject(), GaussianPsf()));
    Write("psf.tif", GaussianPsf());
    ASSERT_EQ(Restore(Method(), threads).exitCode, 0);
    const std::string first = test::FileBytes(In("out.tif"));
    ASSERT_EQ(Restore(Method(), threads).exitCode, 0);
    EXPECT_GT(first.size(), 32U * 27U * 16U * 4U);
    EXPECT_TRUE(first == test::FileBytes(In("out.tif")));
}

TEST_P(RestoreMethod, SummaryIsOneLineAndQuietSaysNothing) {
    Write("in.tif", Blurred(SmallObject(), GaussianPsf()));
    Write("psf.tif", GaussianPsf());
    const ProgramResult loud = Restore(Method());
    const std::string count =
        iterative() ? ", [0-9]+ iterations \\((the limit|ended by its stop test)\\)" : "";
    const std::regex line("out\\.tif: 32 x 27 x 16 samples, method " + GetParam() + count +
                          ", padded to [0-9]+ x [0-9]+ x [0-9]+, [0-9.]+ s\n");
    EXPECT_TRUE(std::regex_match(loud.out, line)) << loud.out;
    const ProgramResult quiet = Restore(Method({"--quiet"}));
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.out + quiet.err, "");
}

TEST_P(RestoreMethod, DarkStackStaysDark) {
    const Stack restored =
        Restored(MakeStack(12, 9, 5, [](int, int, int) { return 0; }), GaussianPsf(), Method());
    for (const float sample : restored.samples) ASSERT_EQ(sample, 0.0f);
}

TEST_P(RestoreMethod, ConstantStackStaysConstant) {
    const Stack restored =
        Restored(MakeStack(12, 9, 5, [](int, int, int) { return 7; }), GaussianPsf(), Method());
    for (const float sample : restored.samples) ASSERT_NEAR(sample, 7.0f, 1e-4f);
}

TEST_P(RestoreMethod, OneBrightSampleStaysTheBrightest) {
    const Stack image =
        MakeStack(15, 14, 9, [](int i, int j, int k) { return i == 8 && j == 3 && k == 5 ? 1000 : 1; });
    const Stack restored = Restored(image, GaussianPsf(), Method());
    ASSERT_TRUE(AllFinite(restored));
    EXPECT_EQ(restored.At(8, 3, 5), *std::max_element(restored.samples.begin(), restored.samples.end()));
    EXPECT_GE(*std::min_element(restored.samples.begin(), restored.samples.end()), 0.0f);
}

TEST_P(RestoreMethod, AnyShapeIsTaken) {
    const int shapes[][3] = {{1, 1, 1},   {1, 23, 1},  {29, 1, 1},   {1, 1, 31},
                             {31, 37, 1}, {1, 13, 17}, {23, 19, 11}, {2, 2, 2}};
    for (const auto& [width, height, planes] : shapes) {
        const Stack image = MakeStack(width, height, planes,
                                      [](int i, int j, int k) { return 5 + (i * 7 + j * 3 + k * 11) % 10; });
        const Stack restored = Restored(image, GaussianPsf(), Method());
        EXPECT_EQ(restored.header.width, width);
        EXPECT_EQ(restored.header.height, height);
        EXPECT_EQ(restored.header.planes(), planes);
        EXPECT_TRUE(AllFinite(restored));
        EXPECT_GT(restored.Sum(), 0.0);
    }
}

TEST_P(RestoreMethod, OnePlaneIsRestoredByAFlatPsf) {
    const Stack psf = MakeStack(
        9, 9, 1, [](int i, int j, int) { return std::exp(-((i - 4) * (i - 4) + (j - 4) * (j - 4)) / 3.0); });
    const Stack object =
        MakeStack(31, 28, 1, [](int i, int j, int) { return i % 9 == 5 && j > 5 && j < 22 ? 500 : 0; });
    const Stack blurred = Blurred(object, psf);
    EXPECT_LT(Rmse(Restored(blurred, psf, Method()), object), 0.9 * Rmse(blurred, object));
    EXPECT_NE(said_.out.find("x 1, "), std::string::npos) << said_.out;
}

TEST_P(RestoreMethod, NegativeSamplesNeverMakeItDiverge) {
    const Stack image =
        MakeStack(20, 18, 9, [](int i, int j, int k) { return (i * 7 + j * 13 + k * 5) % 19 - 9; });
    const Stack restored = Restored(image, GaussianPsf(), Method());
    ASSERT_TRUE(AllFinite(restored));
    EXPECT_GE(*std::min_element(restored.samples.begin(), restored.samples.end()), 0.0f);
    const auto negative =
        std::count_if(image.samples.begin(), image.samples.end(), [](float s) { return s < 0.0f; });
    const std::string note = "rydecon: note: 'in.tif': " + std::to_string(negative) +
                             " negative samples of the image are set to 0\n";
    EXPECT_EQ(said_.err, GetParam() == "accelerated" ? "" : note);
}

TEST_P(RestoreMethod, RangesBeyondSinglePrecisionAreRefused) {
    Write("psf.tif", GaussianPsf());
    const Words words = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--method", GetParam()};
    Write("in.tif", MakeStack(9, 8, 7, [](int i, int, int) { return 1e37 * i; }));
    ExpectRefusal(words, 1, "cannot read 'in.tif': samples as large as 8e+37 are beyond single precision");
    Write("in.tif", MakeStack(9, 8, 7, [](int i, int, int) { return 1e-30 * i; }));
    ExpectRefusal(words, 1, "too little for single precision; multiply the stack");
    Write("in.tif", MakeStack(9, 8, 7, [](int i, int, int) { return -1 - i; }));
    ExpectRefusal(words, 1, "no sample lies above 0");
}

std::vector<double> ErrorsOfIterates(const std::string& out) {
    std::vector<double> errors;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        unsigned number = 0;
        double error = 0.0;
        if (std::sscanf(line.c_str(), "iteration %u rmse %lf", &number, &error) != 2) continue;
        errors.push_back(error);
        EXPECT_EQ(number, errors.size());
    }
    return errors;
}

TEST_P(RestoreIterates, TruthTellsTheErrorOfEachIterate) {
    const Stack object = SmallObject();
    const Stack blurred = Blurred(object, GaussianPsf());
    Write("truth.tif", object);
    const Stack restored =
        Restored(blurred, GaussianPsf(), Method({"--iterations", "12", "--truth", "truth.tif"}));
    const std::vector<double> errors = ErrorsOfIterates(said_.out);
    ASSERT_EQ(errors.size(), 12U) << said_.out;
    EXPECT_LT(errors.front(), Rmse(blurred, object) * 1.05);
    EXPECT_LT(errors.back(), 0.95 * errors.front());
    for (std::size_t n = 1; n < errors.size(); ++n) EXPECT_LT(errors[n], 1.01 * errors[n - 1]) << n;
    // Accelerated cuts at 0 what lies below its pedestal after the last iterate.
    EXPECT_NEAR(errors.back(), Rmse(restored, object),
                (GetParam() == "accelerated" ? 1e-2 : 1e-5) * errors.back());
    EXPECT_NE(said_.out.find(", 12 iterations (the limit), "), std::string::npos) << said_.out;
    const std::string withTruth = test::FileBytes(In("out.tif"));
    ASSERT_EQ(Restore(Method({"--iterations", "12"})).exitCode, 0);
    EXPECT_TRUE(withTruth == test::FileBytes(In("out.tif"))) << "looking at the iterates changed them";
}

TEST_P(RestoreIterates, NoIterationsGiveTheImageBack) {
    const Stack image = Blurred(SmallObject(), GaussianPsf());
    const Stack restored = Restored(image, GaussianPsf(), Method({"--iterations", "0"}));
    for (std::size_t n = 0; n < image.samples.size(); ++n) {
        ASSERT_NEAR(restored.samples[n], image.samples[n], 1e-3f);
    }
    EXPECT_NE(said_.out.find(", 0 iterations (the limit), "), std::string::npos) << said_.out;
}

class Restore : public test::RestoreTest {};

TEST_F(Restore, AutomaticStopIsToldAndCanBeSwitchedOff) {
    const Stack image = Blurred(SmallObject(), GaussianPsf());
    Restored(image, GaussianPsf(), {"--stop-ratio", "1.5"});
    EXPECT_NE(said_.out.find("iterations (ended by its stop test)"), std::string::npos) << said_.out;
    Restored(image, GaussianPsf(), {"--stop-ratio", "1.5", "--no-auto-stop", "--iterations", "20"});
    EXPECT_NE(said_.out.find(", 20 iterations (the limit)"), std::string::npos) << said_.out;
    Restored(image, GaussianPsf(), {"--method", "lucy-richardson-auto", "--stop-ratio", "0.5"});
    EXPECT_NE(said_.out.find("iterations (ended by its stop test)"), std::string::npos) << said_.out;
}

TEST_F(Restore, EveryOptionReachesItsMethod) {
    const Stack image = Blurred(SmallObject(), GaussianPsf());
    const auto differs = [&](const Words& method, const Words& option) {
        Restored(image, GaussianPsf(), method);
        const std::string plain = test::FileBytes(In("out.tif"));
        Words words = method;
        words.insert(words.end(), option.begin(), option.end());
        Restored(image, GaussianPsf(), words);
        return plain != test::FileBytes(In("out.tif"));
    };
    EXPECT_TRUE(differs({"--iterations", "5"}, {"--regularization", "2"}));
    EXPECT_TRUE(differs({"--iterations", "5"}, {"--wiener-start"}));
    EXPECT_TRUE(differs({"--method", "lucy-richardson", "--iterations", "5"}, {"--regularization", "2"}));
    EXPECT_TRUE(
        differs({"--method", "lucy-richardson-auto", "--iterations", "5"}, {"--regularization", "0.1"}));
    EXPECT_TRUE(differs({"--method", "wiener"}, {"--noise", "3"}));
}

}  // namespace
}  // namespace rydecon
