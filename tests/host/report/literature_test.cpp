// SPDX-License-Identifier: MIT
// What a paper says and cites: for every method that the program has.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "report/html/methods_text.h"
#include "report_scene.h"
#include "restoration/method.h"
#include "restoration/picture_method.h"

namespace rydecon {
namespace {

using test::HeaderOfShape;
using test::ReportOfShape;

/// All that stands in the phrase and looks like a year belongs to a reference.
void ExpectCited(const CitedPhrase& phrase, const std::string& name) {
    EXPECT_NE(phrase.text, name) << "nothing is told of this method";
    int years = 0;
    for (std::size_t n = 0; n + 4 <= phrase.text.size(); ++n) {
        const bool century = phrase.text.compare(n, 2, "19") == 0 || phrase.text.compare(n, 2, "20") == 0;
        if (century && std::isdigit(static_cast<unsigned char>(phrase.text[n + 2])) != 0) ++years;
    }
    EXPECT_EQ(static_cast<int>(phrase.references.size()), years) << name;
    for (const Reference* const reference : phrase.references) {
        EXPECT_NE(phrase.text.find(reference->citation), std::string::npos) << name;
        const std::string year(reference->citation.substr(reference->citation.size() - 4));
        EXPECT_NE(reference->entry.find(year), std::string::npos) << reference->citation;
    }
}

TEST(Literature, EveryMethodHasItsPhraseAndSources) {
    for (const bool regularized : {false, true}) {
        for (const Method& method : Methods()) {
            ExpectCited(DescribeMethod(method.name, false, regularized), method.name);
        }
        for (const PictureMethod& method : PictureMethods()) {
            ExpectCited(DescribeMethod(method.name, true, regularized), method.name);
        }
    }
    for (const Method& method : Methods()) {
        EXPECT_FALSE(DescribeMethod(method.name, false, true).references.empty()) << method.name;
    }
    for (const PictureMethod& method : PictureMethods()) {
        EXPECT_FALSE(DescribeMethod(method.name, true, true).references.empty()) << method.name;
    }
}

TEST(Literature, ANameThatMeansTwoMethodsIsTheOneOfTheImage) {
    EXPECT_NE(DescribeMethod("landweber", false, true).text, DescribeMethod("landweber", true, true).text);
    EXPECT_EQ(DescribeMethod("wiener", true, true).text, DescribeMethod("wiener", false, true).text);
}

TEST(Literature, ARegularizationThatDoesNothingIsNotCited) {
    const CitedPhrase plain = DescribeMethod("lucy-richardson", false, false);
    EXPECT_EQ(plain.text.find("Tikhonov"), std::string::npos);
    EXPECT_EQ(plain.references.size(), 2u);
    EXPECT_GT(DescribeMethod("lucy-richardson", false, true).references.size(), 2u);
}

TEST(Literature, AnUnknownMethodIsNamed) {
    const CitedPhrase phrase = DescribeMethod("another", false, true);
    EXPECT_EQ(phrase.text, "another");
    EXPECT_TRUE(phrase.references.empty());
}

TEST(MethodsText, TellsImageAlgorithmPsfIterationsAndParameters) {
    RestorationReport report = ReportOfShape(HeaderOfShape(512, 256, 64, {0.1, 0.1, 0.3}));
    report.volumes.resize(1);
    report.volumes[0].iterations = 32;
    report.volumes[0].stopReason = "ended by its stop test";
    const MethodsText text = WriteMethodsText(report);
    EXPECT_EQ(text.paragraph,
              "An image stack of 512 × 256 × 64 voxels (0.1 × 0.1 × 0.3 µm per voxel) was deconvolved with "
              "rydecon 1.2.3 by the Richardson–Lucy algorithm (Richardson 1972; Lucy 1974), accelerated by a "
              "line search along each step (Biggs and Andrews 1997). The point spread function was computed "
              "from the optics with a layered diffraction model (Gibson and Lanni 1991): modality widefield, "
              "numerical aperture 1.4, refractive index 1.515, emission 525 nm. The restoration took 32 "
              "iterations (ended by its stop test). Parameters: iterations 50; regularization 1; stop-ratio "
              "1.0007; numerical aperture 1.4.");
    ASSERT_EQ(text.references.size(), 4u);
    EXPECT_EQ(text.references[0]->citation, "Biggs and Andrews 1997");
    EXPECT_EQ(text.references[3]->citation, "Richardson 1972");
}

TEST(MethodsText, SeveralPicturesOfUnknownPixels) {
    RestorationReport report = ReportOfShape(HeaderOfShape(90, 60, 1));
    report.psfOrigin = PsfOrigin::File;
    report.psf = "secret/name.tif";
    report.settings.clear();
    report.volumes.resize(3);
    for (unsigned n = 0; n < 3; ++n) report.volumes[n].iterations = 10 + n;
    report.volumes[2].stopReason = "the limit";
    const std::string text = WriteMethodsText(report).paragraph;
    EXPECT_EQ(text.rfind("3 images of each 90 × 60 pixels were deconvolved", 0), 0u) << text;
    EXPECT_NE(text.find("10 to 12 iterations (the limit)."), std::string::npos) << text;
    EXPECT_NE(text.find("The point spread function was read from a file."), std::string::npos) << text;
    EXPECT_EQ(text.find("Parameters"), std::string::npos) << text;
    EXPECT_EQ(text.find("secret"), std::string::npos) << text;
}

TEST(MethodsText, ADirectMethodHasNoIterations) {
    RestorationReport report = ReportOfShape(HeaderOfShape(90, 60, 5));
    report.method = "wiener";
    report.volumes.resize(1);
    EXPECT_EQ(WriteMethodsText(report).paragraph.find("took"), std::string::npos);
    EXPECT_EQ(ShownIterations(report.volumes), "");
    report.volumes[0].iterations = 1;
    report.volumes[0].rounds = "cycles";
    EXPECT_EQ(ShownIterations(report.volumes), "1 cycle");
}

}  // namespace
}  // namespace rydecon
