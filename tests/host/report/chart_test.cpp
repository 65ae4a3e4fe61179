// SPDX-License-Identifier: MIT
// Curves as drawings: where their points lie, and what becomes of those that cannot be drawn.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "report/html/line_chart.h"

namespace rydecon {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

LineChart ChartOf(std::vector<ChartPoint> points, bool logarithmic = false) {
    LineChart chart;
    chart.x.label = "x";
    chart.y = {.label = "y", .logarithmic = logarithmic};
    chart.series = {{"series", "single", std::move(points)}};
    return chart;
}

/// The path of the curve itself, which comes behind the one of the legend.
std::string PathOf(const std::string& svg) {
    const std::size_t at = svg.rfind("<path d=\"");
    return at == std::string::npos ? "" : svg.substr(at + 9, svg.find('"', at + 9) - at - 9);
}

std::vector<double> NumbersIn(const std::string& path) {
    static const std::regex number("-?[0-9.]+");
    std::vector<double> numbers;
    for (std::sregex_iterator n(path.begin(), path.end(), number), end; n != end; ++n) {
        numbers.push_back(std::stod(n->str()));
    }
    return numbers;
}

TEST(LineChart, PointsLieInProportion) {
    const auto at = NumbersIn(PathOf(DrawLineChart(ChartOf({{0, 10}, {1, 20}, {4, 50}}))));
    ASSERT_EQ(at.size(), 6u);
    EXPECT_NEAR((at[2] - at[0]) / (at[4] - at[0]), 0.25, 1e-3);
    EXPECT_NEAR((at[3] - at[1]) / (at[5] - at[1]), 0.25, 1e-3);
    EXPECT_LT(at[5], at[1]);  // up
}

TEST(LineChart, LogarithmicAxisSpacesDecadesEvenly) {
    const auto at = NumbersIn(PathOf(DrawLineChart(ChartOf({{0, 1}, {1, 100}, {2, 10000}}, true))));
    ASSERT_EQ(at.size(), 6u);
    EXPECT_NEAR(at[1] - at[3], at[3] - at[5], 0.11);
}

TEST(LineChart, LogarithmicAxisHasLabelsHoweverShortOrLong) {
    for (const auto& [least, largest] : {std::pair(3.1, 4.4), {2.0, 30.0}, {0.9, 1.1}, {1e-9, 1e12}}) {
        const std::string svg = DrawLineChart(ChartOf({{0, least}, {1, largest}}, true));
        const std::string ticks = svg.substr(0, svg.find("text-anchor=\"middle\""));
        EXPECT_NE(ticks.find("text-anchor=\"end\""), std::string::npos) << least;
    }
}

TEST(LineChart, WhatIsNotFiniteLeavesAGap) {
    const auto svg =
        DrawLineChart(ChartOf({{0, kNan}, {1, 1}, {2, 2}, {3, kInf}, {4, 3}, {kNan, 3}, {5, 4}}));
    const std::string path = PathOf(svg);
    EXPECT_EQ(std::count(path.begin(), path.end(), 'M'), 3);
    EXPECT_EQ(NumbersIn(path).size(), 8u);
    EXPECT_EQ(svg.find("nan"), std::string::npos);
    EXPECT_EQ(svg.find("inf"), std::string::npos);
}

TEST(LineChart, ZeroAndLessLeaveAGapOnALogarithmicAxis) {
    const std::string path = PathOf(DrawLineChart(ChartOf({{0, 1}, {1, 0}, {2, -5}, {3, 10}}, true)));
    EXPECT_EQ(std::count(path.begin(), path.end(), 'M'), 2);
}

TEST(LineChart, LesserValuesLieWhereTheAxisBegins) {
    LineChart chart = ChartOf({{0, 0}, {1, 100}}, true);
    chart.y.least = 0.5;
    const auto at = NumbersIn(PathOf(DrawLineChart(chart)));
    ASSERT_EQ(at.size(), 4u);
    EXPECT_NEAR(at[1], 254.0, 0.05);  // on the x axis
    EXPECT_NEAR(at[3], 12.0, 0.05);
}

TEST(LineChart, NothingToDrawIsNoDrawing) {
    EXPECT_EQ(DrawLineChart(ChartOf({})), "");
    EXPECT_EQ(DrawLineChart(ChartOf({{0, kNan}, {kInf, 1}})), "");
    EXPECT_EQ(DrawLineChart(ChartOf({{0, 0}, {1, -1}}, true)), "");
    EXPECT_EQ(DrawLineChart(LineChart()), "");
}

TEST(LineChart, OneValueLiesInTheMiddle) {
    for (const double value : {0.0, 5.0, -1e9}) {
        const auto at = NumbersIn(PathOf(DrawLineChart(ChartOf({{1, value}, {2, value}}))));
        ASSERT_EQ(at.size(), 4u);
        EXPECT_NEAR(at[1], (12.0 + 254.0) / 2.0, 0.1);
    }
    EXPECT_NE(DrawLineChart(ChartOf({{1, 7}}, true)), "");
}

TEST(LineChart, TextsAreEscaped) {
    LineChart chart = ChartOf({{0, 1}, {1, 2}});
    chart.y.label = "<y>";
    chart.series[0].name = "a & b";
    chart.description = "\"quoted\"";
    chart.mark = ChartMark{0.5, "<mark>"};
    const std::string svg = DrawLineChart(chart);
    EXPECT_EQ(svg.find("<y>"), std::string::npos);
    EXPECT_EQ(svg.find("<mark>"), std::string::npos);
    EXPECT_NE(svg.find("&lt;mark&gt;"), std::string::npos);
    EXPECT_NE(svg.find("a &amp; b"), std::string::npos);
    EXPECT_NE(svg.find("aria-label=\"&quot;quoted&quot;\""), std::string::npos);
}

TEST(LineChart, NeighbouringTicksHaveDifferentLabels) {
    const std::string svg = DrawLineChart(ChartOf({{0, 1000000.0}, {1, 1000001.0}}));
    EXPECT_NE(svg.find(">1000000.2<"), std::string::npos);
    EXPECT_NE(svg.find(">1000000.8<"), std::string::npos);
}

TEST(RoundTicks, AreRoundAndFew) {
    EXPECT_EQ(RoundTicks(0.0, 10.0, 5), (std::vector<double>{0, 2, 4, 6, 8, 10}));
    EXPECT_EQ(RoundTicks(3.0, 47.0, 6), (std::vector<double>{10, 20, 30, 40}));
    EXPECT_EQ(RoundTicks(-1.0, 1.0, 4), (std::vector<double>{-1, -0.5, 0, 0.5, 1}));
    EXPECT_EQ(RoundTicks(1.0, 3.0, 6, 1.0), (std::vector<double>{1, 2, 3}));
    EXPECT_TRUE(RoundTicks(2.0, 2.0, 6).empty());
    EXPECT_TRUE(RoundTicks(0.0, kInf, 6).empty());
    for (double largest = 1e-9; largest < 1e9; largest *= 1.7) {
        const auto ticks = RoundTicks(-0.3 * largest, largest, 6);
        EXPECT_GE(ticks.size(), 2u) << largest;
        EXPECT_LE(ticks.size(), 7u) << largest;
    }
}

}  // namespace
}  // namespace rydecon
