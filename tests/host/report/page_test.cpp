// SPDX-License-Identifier: MIT
// The page as a text: what stands in it, what must not.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <sstream>
#include <string>

#include "report/html/html_report.h"
#include "report/user_error.h"
#include "report_scene.h"
#include "support/program_run.h"

namespace rydecon {
namespace {

using test::HeaderOfShape;
using test::PsfOfScene;
using test::ReportOfShape;
using test::VolumeOfScene;

int Count(const std::string& page, const std::string& what) {
    int count = 0;
    for (std::size_t at = page.find(what); at != std::string::npos; at = page.find(what, at + 1)) ++count;
    return count;
}

bool Has(const std::string& page, const std::string& what) {
    return page.find(what) != std::string::npos;
}

RestorationReport SmallReport(int width, int height, int planes, const VoxelSize& voxel) {
    const StackHeader header = HeaderOfShape(width, height, planes, voxel);
    RestorationReport report = ReportOfShape(header);
    report.volumes = {VolumeOfScene(header)};
    return report;
}

TEST(ReportPage, AsksNoOtherPlaceForAnything) {
    RestorationReport report = SmallReport(20, 16, 5, {0.1, 0.1, 0.3});
    report.volumes[0].psfs = {PsfOfScene(report.voxel)};
    const std::string page = RenderHtmlReport(report);
    EXPECT_EQ(Count(page, "src=\""), Count(page, "src=\"data:image/png;base64,"));
    EXPECT_EQ(Count(page, "href=\""), Count(page, "href=\"data:,\""));
    for (const char* const outside : {"http:", "https:", "//cdn", "@import", "url("}) {
        EXPECT_FALSE(Has(page, outside)) << outside;
    }
    EXPECT_TRUE(Has(page, "default-src &#39;none&#39;") || Has(page, "default-src 'none'"));
}

TEST(ReportPage, TextsAreNoMarkup) {
    const std::string evil = "<script>\"&'</script>";
    RestorationReport report = SmallReport(20, 16, 5, {0.1, 0.1, 0.3});
    report.input = report.output = report.created = report.method = report.psf = report.programVersion = evil;
    report.settings = {{evil, evil, evil}};
    report.timings = {{evil, 1.0}};
    report.warnings = {evil};
    VolumeReport& volume = report.volumes[0];
    volume.psfs = {PsfOfScene(report.voxel)};
    volume.psfs[0].name = volume.psfs[0].source = evil;
    volume.channel = volume.time = volume.stopReason = volume.rounds = evil;
    volume.convergence.label = volume.agreement.label = evil;
    volume.agreement.points = volume.convergence.points;
    volume.warnings = {evil};
    report.volumes.push_back(volume);
    const std::string page = RenderHtmlReport(report);
    EXPECT_EQ(Count(page, "<script>"), 1);  // its own
    EXPECT_EQ(Count(page, "</script>"), 1);
    EXPECT_GT(Count(page, "&lt;script&gt;&quot;&amp;&#39;&lt;/script&gt;"), 20);
    report.title = evil;
    EXPECT_TRUE(Has(RenderHtmlReport(report), "<title>&lt;script&gt;"));
}

TEST(ReportPage, TheScaleBarHasARoundLengthAndItsShareOfThePicture) {
    const std::string page = RenderHtmlReport(SmallReport(150, 100, 50, {0.1, 0.1, 0.3}));
    // 5 um are 50 of 150 samples; XY and XZ of before, after and difference.
    EXPECT_EQ(Count(page, "<div class=\"bar\" style=\"width:33.333%\"><span>5 µm</span></div>"), 6);
    EXPECT_TRUE(Has(page, "aspect-ratio:300/200"));
    EXPECT_TRUE(
        Has(page, "aspect-ratio:300/300"));  // 50 planes, each three times as thick as a pixel is wide
    EXPECT_TRUE(Has(page, "All panels have one scale."));
}

TEST(ReportPage, WithoutAVoxelSizeThereIsNoScaleBarAndThePageSaysSo) {
    const std::string page = RenderHtmlReport(SmallReport(20, 16, 5, {}));
    EXPECT_FALSE(Has(page, "class=\"bar\""));
    EXPECT_TRUE(Has(page, "The voxel size is unknown: there is no scale bar"));
    EXPECT_TRUE(Has(page, "voxel size not known"));
    EXPECT_TRUE(Has(page, "cycles per sample"));
    EXPECT_TRUE(Has(RenderHtmlReport(SmallReport(20, 16, 5, {0.1, 0.1, {}})),
                    "The voxel size of an axis is unknown"));
    EXPECT_TRUE(
        Has(RenderHtmlReport(SmallReport(20, 16, 5, {0.1, 0.1, 90.0})), "differ too much to be drawn"));
}

TEST(ReportPage, APictureHasNoXzAndNoYz) {
    const std::string page = RenderHtmlReport(SmallReport(30, 20, 1, {0.1, 0.1, {}}));
    EXPECT_EQ(Count(page, "<div class=\"frame\""), 3);
    for (const char* const name : {">YZ<", ">XZ<", "YZ maximum", "XZ maximum", "YZ difference"}) {
        EXPECT_FALSE(Has(page, name)) << name;
    }
    EXPECT_TRUE(Has(page, "The picture, a single plane."));
    EXPECT_TRUE(Has(page, "30 × 20 pixels"));
}

TEST(ReportPage, ContrastAndItsLimitsAreTold) {
    const std::string page = RenderHtmlReport(SmallReport(40, 30, 5, {0.1, 0.1, 0.3}));
    EXPECT_TRUE(
        std::regex_search(page, std::regex("Common contrast: black [0-9.]+, white [0-9.]+, percentiles 1")));
    EXPECT_TRUE(Has(page, "brightness must not be compared"));
    EXPECT_TRUE(Has(page, "(gamma 1)"));
}

TEST(ReportPage, CurvesWithoutValuesAreNoDrawings) {
    RestorationReport report = SmallReport(20, 16, 5, {0.1, 0.1, 0.3});
    const double nan = std::numeric_limits<double>::quiet_NaN();
    report.volumes[0].convergence.points = {{1.0, nan}, {2.0, nan}};
    EXPECT_EQ(Count(RenderHtmlReport(report), "There is nothing to draw."), 1);
    report.volumes[0].convergence.points.clear();
    const std::string page = RenderHtmlReport(report);
    EXPECT_TRUE(Has(page, "The method told no values of its iterates."));
    EXPECT_FALSE(Has(page, "Agreement"));
    report.volumes[0].iterations.reset();
    EXPECT_FALSE(Has(RenderHtmlReport(report), "Convergence"));
}

TEST(ReportPage, DegenerateVolumes) {
    for (const auto& [x, y, z] :
         {std::array{1, 1, 1}, std::array{1, 9, 4}, std::array{9, 1, 4}, std::array{1, 1, 7}}) {
        const std::string page = RenderHtmlReport(SmallReport(x, y, z, {0.1, 0.1, 0.3}));
        EXPECT_TRUE(Has(page, "</html>"));
        EXPECT_FALSE(std::regex_search(page, std::regex("[\" (:>-]nan[\" )%<]")));
    }
}

TEST(ReportPage, SeveralVolumesHaveATableAndAChooser) {
    const StackHeader header = HeaderOfShape(20, 16, 5, {0.1, 0.1, 0.3});
    RestorationReport report = ReportOfShape(header);
    for (int n = 0; n < 3; ++n) {
        report.volumes.push_back(VolumeOfScene(header, n));
        report.volumes.back().channel = n == 0 ? "DAPI" : "";
        report.volumes.back().time = n == 1 ? "2" : "";
    }
    report.volumes[1].warnings = {"saturated"};
    report.volumes[2].views.reset();
    const std::string page = RenderHtmlReport(report);
    EXPECT_EQ(Count(page, "<section class=\"volume\""), 3);
    EXPECT_TRUE(Has(page, "<option>Channel DAPI</option><option>Time 2</option><option>Volume 3</option>"));
    EXPECT_TRUE(Has(page, "Time 2: saturated"));
    EXPECT_TRUE(Has(page, "There are no pictures of this one"));
    EXPECT_TRUE(Has(page, "30 to 32 iterations"));
    EXPECT_FALSE(Has(RenderHtmlReport(SmallReport(20, 16, 5, {})), "<select"));
    report.volumes.clear();
    EXPECT_TRUE(Has(RenderHtmlReport(report), "</html>"));
}

TEST(ReportPage, AWarningOfManyVolumesStandsOnce) {
    RestorationReport report = ReportOfShape(HeaderOfShape(20, 16, 5));
    report.volumes.resize(9);
    for (std::size_t n = 0; n < 9; ++n) report.volumes[n].warnings = {"dim"};
    report.volumes[2].warnings.push_back("saturated");
    report.volumes[7].warnings.push_back("saturated");
    const std::string page = RenderHtmlReport(report);
    EXPECT_TRUE(Has(page, "<ul><li>9 of 9 volumes: dim</li><li>Volume 3; Volume 8: saturated</li></ul>"));
    report.volumes.resize(1);
    EXPECT_TRUE(Has(RenderHtmlReport(report), "<ul><li>dim</li></ul>"));
}

TEST(ReportPage, WidthsOfThePsfAreInUnitsOrInSamples) {
    RestorationReport report = SmallReport(20, 16, 5, {0.1, 0.1, 0.3});
    report.volumes[0].psfs = {PsfOfScene({0.1, 0.1, 0.3})};
    EXPECT_TRUE(std::regex_search(RenderHtmlReport(report),
                                  std::regex("<th scope=\"row\">x</th><td>[0-9.]+ nm</td>")));
    report.volumes[0].psfs = {PsfOfScene({})};
    report.volumes[0].psfs[0].widthZ.reset();
    const std::string page = RenderHtmlReport(report);
    EXPECT_TRUE(std::regex_search(page, std::regex("<th scope=\"row\">x</th><td>[0-9.]+ samples</td>")));
    EXPECT_TRUE(Has(page, "<th scope=\"row\">z</th><td>not defined</td>"));
}

TEST(ReportPage, EqualImagesHaveNoDifference) {
    const StackHeader header = HeaderOfShape(8, 6, 1);
    ReportViews views(header);
    const std::vector<float> plane(48, 3.0f);
    views.AddBefore(plane.data(), 8);
    views.AddAfter(plane.data(), 8);
    RestorationReport report = ReportOfShape(header);
    report.volumes.resize(1);
    report.volumes[0].views = views.Finish();
    EXPECT_TRUE(Has(RenderHtmlReport(report), "<span>−0</span><i></i><span>+0</span>"));
}

TEST(ReportPage, FileAppearsWholeAndReplacesNothingUnasked) {
    const test::TemporaryFolder folder;
    const RestorationReport report = SmallReport(20, 16, 5, {});
    const std::filesystem::path target = folder.path() / "a <b> & 'c'.html";
    { HtmlReportFile(target, false).Write(report); }
    EXPECT_TRUE(folder.Entries().empty());
    HtmlReportFile file(target, false);
    file.Write(report);
    file.Commit();
    EXPECT_THROW(HtmlReportFile(target, false), UserError);
    std::ifstream written(target, std::ios::binary);
    std::ostringstream text;
    text << written.rdbuf();
    EXPECT_EQ(text.str(), RenderHtmlReport(report));
    EXPECT_EQ(folder.Entries().size(), 1u);
}

}  // namespace
}  // namespace rydecon
