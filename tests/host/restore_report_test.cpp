// SPDX-License-Identifier: MIT
// rydecon restore --report: where the page comes from and where it may go.

#include <gtest/gtest.h>

#include <fstream>

#include "support/block_scene.h"
#include "support/picture_scene.h"

namespace rydecon {
namespace {

using test::BlockImage;
using test::FileBytes;
using test::GaussianPsf;
using test::ProgramResult;
using test::SmallObject;
using test::Words;

class RestoreReport : public test::BlocksTest {
  protected:
    void SetUp() override {
        Write("in.tif", Blurred(SmallObject(), GaussianPsf()));
        Write("psf.tif", GaussianPsf());
    }
    std::string Page() const { return FileBytes(In("page.html")); }
    bool PageHas(const std::string& text) const { return Page().find(text) != std::string::npos; }

    const Words report_ = {"--report", "page.html"};
    const Words method_ = {"--method", "lucy-richardson", "--iterations", "4"};
};

TEST_F(RestoreReport, TheResultIsThatOfARunWithoutIt) {
    for (const Words& method :
         {method_, Words{"--method", "accelerated", "--iterations", "6"}, Words{"--method", "wiener"},
          Words{"--method", "blind", "--iterations", "2"}}) {
        ASSERT_EQ(Restore(method).exitCode, 0);
        const std::string bytes = FileBytes(In("out.tif"));
        const ProgramResult result = Restore(With(method, report_));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_TRUE(FileBytes(In("out.tif")) == bytes) << method[1];
        EXPECT_TRUE(PageHas("</html>")) << method[1];
    }
    EXPECT_TRUE(PageHas("refined PSF"));
}

TEST_F(RestoreReport, IterativeMethodsHaveACurveAndASplitItsAgreement) {
    ASSERT_EQ(Restore(With(method_, report_)).exitCode, 0);
    EXPECT_TRUE(PageHas("<h3>Convergence</h3><"));
    EXPECT_FALSE(PageHas("The method told no values"));
    EXPECT_FALSE(PageHas("Agreement of both halves"));
    const Words split = {"--stop", "split", "--gain", "2", "--offset", "0"};
    const ProgramResult result = Restore(With(With(method_, split), report_));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(PageHas("Agreement of both halves"));
}

TEST_F(RestoreReport, StandsWithoutTheSidecarAndInSilence) {
    const ProgramResult quiet = Restore(With(With(method_, report_), {"--quiet", "--no-sidecar"}));
    ASSERT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.out + quiet.err, "");
    EXPECT_TRUE(PageHas("Restoration of in.tif"));
    EXPECT_EQ(folder_.Entries(), (Words{"in.tif", "out.tif", "page.html", "psf.tif"}));
}

TEST_F(RestoreReport, WarnsOfWhatWasNoted) {
    test::Stack image = SmallObject();
    image.samples[5] = -7.0f;
    Write("in.tif", image);
    ASSERT_EQ(Restore(With(method_, report_)).exitCode, 0);
    EXPECT_TRUE(PageHas("1 negative sample of the image is set to 0"));
    EXPECT_TRUE(PageHas("<td class=\"number\">-7</td>") || PageHas("−7")) << "the image as read";
}

TEST_F(RestoreReport, BlocksHaveAPageAndNoCurve) {
    Write("in.tif", BlockImage());
    const Words limited = With(method_, {"--max-memory", LimitFor(method_, 0.6)});
    ASSERT_EQ(Restore(limited).exitCode, 0);
    const std::string bytes = FileBytes(In("out.tif"));
    const ProgramResult result = Restore(With(limited, report_));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find(" blocks, each padded to "), std::string::npos) << result.out;
    EXPECT_TRUE(FileBytes(In("out.tif")) == bytes);
    EXPECT_TRUE(PageHas("The method told no values of its iterates."));
    EXPECT_TRUE(PageHas("data:image/png"));
}

TEST_F(RestoreReport, ACurveIsLeftOutWhereItWouldCostBlocks) {
    Write("in.tif", BlockImage());
    const std::string justEnough = LimitFor(method_, 1.05);
    const ProgramResult result = Restore(With(With(method_, {"--max-memory", justEnough}), report_));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.find(" blocks"), std::string::npos) << result.out;
    EXPECT_TRUE(PageHas("The method told no values of its iterates."));
}

TEST_F(RestoreReport, PicturesAndPlanesHaveOne) {
    Write("psf.tif", test::PlanePsf());
    Write("in.tif", test::PictureTruth(60, 50));
    const Words method = {"--method", "rltm", "--iterations", "3"};
    ASSERT_EQ(Restore(With(method, report_)).exitCode, 0);
    EXPECT_TRUE(PageHas("60 × 50 pixels"));
    Write("in.tif", test::MakeStack(40, 30, 30, [](int i, int j, int k) { return 1 + i * j % (7 + k); }));
    const ProgramResult result = Restore(With(With(method, report_), {"--per-plane"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(PageHas("Plane 30"));
    EXPECT_TRUE(PageHas("There are no pictures of this one")) << "30 planes, 24 of them with pictures";
}

TEST_F(RestoreReport, ReplacesNothingUnasked) {
    const Words command = {"restore", "in.tif", "--psf", "psf.tif", "-o", "out.tif", "--report"};
    std::ofstream(In("page.html")) << "mine";
    ExpectRefusal(With(command, {"page.html"}), 1, "page.html");
    EXPECT_EQ(Page(), "mine");
    ExpectRefusal(With(command, {"no/such/folder.html"}), 1, "no/such");
    ExpectRefusal(With(command, {"in.tif", "--overwrite"}), 1, "in.tif");
    ExpectRefusal(With(command, {"./psf.tif", "--overwrite"}), 1, "psf.tif");
    ExpectRefusal(With(command, {"./out.tif"}), 2, "--report and --output name the same file");
    ExpectRefusal(With(command, {"out.tif.json"}), 2, "the record of the run name the same file");
    ExpectRefusal(With(command, {"c.csv", "--curve", "c.csv"}), 2, "--report and --curve name the same file");
    EXPECT_EQ(Restore(With(method_, report_)).exitCode, 0) << "--overwrite";
    EXPECT_TRUE(PageHas("</html>"));
}

TEST_F(RestoreReport, OnePageIsNotForSeveralImages) {
    Write("second.tif", SmallObject());
    ExpectRefusal(
        {"restore", "in.tif", "second.tif", "--psf", "psf.tif", "-o", "results", "--report", "page.html"}, 2,
        "--report names one file for several images");
}

TEST_F(RestoreReport, AFailedRunLeavesNone) {
    ExpectRefusal({"restore", "in.tif", "--psf", "gone.tif", "-o", "out.tif", "--report", "page.html"}, 1,
                  "gone.tif");
}

}  // namespace
}  // namespace rydecon
