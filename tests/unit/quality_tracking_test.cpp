// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <locale>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/probe_core.h"
#include "support/threads.h"
#include "support/volumes.h"

namespace {

namespace fs = std::filesystem;
using gnr::test::ProbeCore;
using gnr::test::Volume;
using QualityVector = std::vector<std::pair<unsigned, double>>;

/// The diagnostic file's name is a constant that names no folder here, so each test works in one of its own.
class QualityTracking : public testing::Test {
  protected:
    QualityTracking() : before_(fs::current_path()) {
        std::string pattern = (fs::temp_directory_path() / "quality-XXXXXX").string();
        folder_ = ::mkdtemp(pattern.data());
        fs::current_path(folder_);
    }
    ~QualityTracking() override {
        fs::current_path(before_);
        fs::remove_all(folder_);
    }

    static constexpr const char* kFile = "e:\\Images\\Deconvolution\\Simulated\\rmse.txt";

    /// The whole file; nothing where there is none.
    static std::optional<std::string> Written() {
        if (!fs::is_regular_file(kFile)) return std::nullopt;
        std::ifstream file(kFile, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    std::optional<std::string> Log(const QualityVector& quality, unsigned count) {
        core_.LogQualityVect(quality, count);
        return Written();
    }
    double Rmse(const SRyIRect3D& rc, float scale, const Volume& image, const Volume& reference) {
        QualityVector quality;
        core_.ComputeRMSE(quality, 0, rc, &image.sizes, scale, image, reference);
        return quality.at(0).second;
    }

    ProbeCore core_;

  private:
    fs::path before_;
    fs::path folder_;
};

TEST_F(QualityTracking, ALineForEachIndexEmptyWhereThereIsNoPair) {
    EXPECT_EQ(Log({{0, 1.5}, {2, 0.25}}, 5), "1.500000\n\n0.250000");
}

TEST_F(QualityTracking, APairAtOrAboveTheCountIsNotWritten) {
    EXPECT_EQ(Log({{3, 1.5}}, 2), "\n\n");
    EXPECT_EQ(Log({{0, 1.5}, {2, 2.5}}, 2), "1.500000\n\n");
}

TEST_F(QualityTracking, ACountOfZeroEmptiesTheFile) {
    ASSERT_EQ(Log({{0, 1.5}}, 1), "1.500000");
    EXPECT_EQ(Log({{0, 1.5}}, 0), "");
}

TEST_F(QualityTracking, AnEmptyVectorTouchesNoFile) {
    EXPECT_EQ(Log({}, 5), std::nullopt);
    ASSERT_EQ(Log({{0, 1.5}}, 1), "1.500000");
    EXPECT_EQ(Log({}, 5), "1.500000");
}

TEST_F(QualityTracking, EachRunRewritesTheFile) {
    ASSERT_EQ(Log({{0, 1.5}, {1, 2.5}, {2, 3.5}}, 3), "1.500000\n2.500000\n3.500000");
    EXPECT_EQ(Log({{0, 4.5}}, 3), "4.500000");
}

/// The cursor never steps back: an index that was passed holds up all that follow it.
TEST_F(QualityTracking, AnIndexOutOfOrderHoldsUpTheRest) {
    EXPECT_EQ(Log({{2, 1.5}, {1, 2.5}, {4, 3.5}}, 6), "\n\n1.500000\n\n\n\n");
}

TEST_F(QualityTracking, ValuesHaveSixDecimalsWhateverTheirSize) {
    EXPECT_EQ(Log({{0, 1234567.0}, {1, 1e-9}, {2, -0.0000005}, {3, 2.0 / 3}}, 4),
              "1234567.000000\n0.000000\n-0.000000\n0.666667");
    const auto largest = Log({{0, std::numeric_limits<double>::max()}}, 1);
    ASSERT_TRUE(largest);
    EXPECT_EQ(largest->size(), 309u + 7u);
}

TEST_F(QualityTracking, WritesWhatIsNoNumber) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Log({{0, std::numeric_limits<double>::quiet_NaN()}, {1, inf}, {2, -inf}}, 3), "nan\ninf\n-inf");
}

TEST_F(QualityTracking, AFileThatCannotBeOpenedIsSkipped) {
    fs::create_directory(kFile);
    EXPECT_EQ(Log({{0, 1.5}}, 1), std::nullopt);
    EXPECT_TRUE(fs::is_directory(kFile));
}

/// Decimal commas and thousands points, as C++ streams take them.
struct CommaPunctuation : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(QualityTracking, TheStreamLocaleOfTheHostDoesNotShow) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
    const auto written = Log({{0, 1234.5}}, 1);
    std::locale::global(before);
    EXPECT_EQ(written, "1234.500000");
}

/// The C locale of the process with a decimal comma, compiled into the working folder for as long as it is wanted.
class CommaLocale {
  public:
    CommaLocale() : before_(std::setlocale(LC_ALL, nullptr)) {
        const int status = std::system("localedef -i de_DE -f UTF-8 ./de_DE.UTF-8 >localedef.log 2>&1");
        ::setenv("LOCPATH", fs::current_path().c_str(), 1);
        set_ = status == 0 && std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;
    ~CommaLocale() {
        ::unsetenv("LOCPATH");
        std::setlocale(LC_ALL, before_.c_str());
    }

    explicit operator bool() const { return set_; }

  private:
    std::string before_;
    bool set_ = false;
};

TEST_F(QualityTracking, TheCLocaleOfTheHostDoesNotShow) {
    std::optional<std::string> written;
    {
        const CommaLocale locale;
        if (!locale) GTEST_SKIP() << "localedef made no locale with a decimal comma (package locales)";
        ASSERT_STREQ(std::localeconv()->decimal_point, ",");
        written = Log({{0, 1234.5}}, 1);
    }
    EXPECT_EQ(written, "1234.500000");
}

// ------------------------------------------------------------------------------- root mean square error

SRyIRect3D Whole(const Volume& v) {
    return {0, v.x(), 0, v.y(), 0, v.z()};
}

TEST_F(QualityTracking, AnImageOfTheReferenceHasNoError) {
    Volume image(6, 5, 4);
    Volume reference(6, 5, 4);
    image.Fill([](int, int, int) { return 1; }).FillPadding(gnr::test::kSentinel);
    reference.Fill([](int, int, int) { return 2; });
    EXPECT_EQ(Rmse(Whole(image), 2.0f, image, reference), 0.0);
    EXPECT_EQ(Rmse(Whole(image), 1.0f, image, reference), 1.0);
}

/// Maxima are exclusive, and nothing outside of the box is read into the sum.
TEST_F(QualityTracking, CountsTheBoxAlone) {
    Volume image(6, 5, 4);
    Volume reference(6, 5, 4);
    const SRyIRect3D rc = {1, 4, 2, 4, 1, 3};
    image.Fill([&](int i, int j, int k) {
        const bool inside = i >= 1 && i < 4 && j >= 2 && j < 4 && k >= 1 && k < 3;
        return inside ? 3.0f : std::numeric_limits<float>::quiet_NaN();
    });
    reference.Fill([](int, int, int) { return 7; });
    EXPECT_EQ(Rmse(rc, 1.0f, image, reference), 4.0);
}

TEST_F(QualityTracking, AppendsTheIndexItIsGiven) {
    const Volume image(4, 3, 2);
    const Volume reference(4, 3, 2);
    QualityVector quality = {{5, 1.0}};
    core_.ComputeRMSE(quality, 99, Whole(image), &image.sizes, 1.0f, image, reference);
    ASSERT_EQ(quality.size(), 2u);
    EXPECT_EQ(quality[0], (std::pair<unsigned, double>(5, 1.0)));
    EXPECT_EQ(quality[1], (std::pair<unsigned, double>(99, 0.0)));
}

/// Differences in float, their squares and the sum in double, in scan order, on any number of threads.
TEST_F(QualityTracking, RoundsAsAPlainLoop) {
    Volume image(6, 5, 4);
    Volume reference(6, 5, 4);
    image.FillRandom(1, -3.0f, 9.0f);
    reference.FillRandom(2, -3.0f, 9.0f);
    const float scale = 1.7f;
    double sum = 0.0;
    for (int z = 0; z < 4; ++z) {
        for (int y = 0; y < 5; ++y) {
            for (int x = 0; x < 6; ++x) {
                const float product = scale * image.at(x, y, z);
                const float difference = product - reference.at(x, y, z);
                sum = sum + static_cast<double>(difference) * static_cast<double>(difference);
            }
        }
    }
    for (const int threads : {1, 2, 5}) {
        const gnr::test::ThreadCount scope(threads);
        EXPECT_EQ(Rmse(Whole(image), scale, image, reference), std::sqrt(sum / 120.0));
    }
}

/// A difference that float swallows shows that the step before the square is one of floats.
TEST_F(QualityTracking, TheDifferenceIsFormedInFloat) {
    Volume image(2, 1, 1);
    Volume reference(2, 1, 1);
    image.Fill([](int, int, int) { return 16777216.0f; });
    reference.Fill([](int, int, int) { return 0.5f; });
    EXPECT_EQ(Rmse(Whole(image), 1.0f, image, reference), 16777216.0);
}

TEST_F(QualityTracking, AnEmptyBoxIsNotANumber) {
    const Volume image(4, 3, 2);
    const Volume reference(4, 3, 2);
    EXPECT_TRUE(std::isnan(Rmse({0, 0, 0, 3, 0, 2}, 1.0f, image, reference)));
    EXPECT_TRUE(std::isnan(Rmse({0, 4, 0, 3, 2, 2}, 1.0f, image, reference)));
    QualityVector quality;
    core_.ComputeRMSE(quality, 0, {0, 0, 0, 0, 0, 0}, &image.sizes, 1.0f, image, reference);
    const auto written = Log(quality, 1);
    EXPECT_TRUE(written == "nan" || written == "-nan") << written.value_or("no file");
}

}  // namespace
