// SPDX-License-Identifier: MIT
#pragma once

// Curves as an SVG drawing, coloured by the style sheet of the page.

#include <optional>
#include <string>
#include <vector>

namespace rydecon {

struct ChartPoint {
    double x = 0.0;
    double y = 0.0;
};

struct ChartSeries {
    std::string name;
    std::string style;  // class of the style sheet: "before", "after", "single"
    std::vector<ChartPoint> points;
};

struct ChartAxis {
    std::string label;
    bool logarithmic = false;
    std::optional<double> least = {};  // where the axis begins; smaller values are drawn there
    bool whole = false;                // counts something: no ticks between whole numbers
};

struct ChartMark {
    double x = 0.0;
    std::string label;
};

struct LineChart {
    std::string description;  // for those who do not see it
    ChartAxis x;
    ChartAxis y;
    std::vector<ChartSeries> series;
    std::optional<ChartMark> mark;  // a vertical line
    bool dots = false;              // each point told when pointed at
};

/// A legend and an "<svg>" element. Points that are not finite, or
/// not above 0 on a logarithmic axis that has no beginning, leave a gap. Empty where no point is left.
std::string DrawLineChart(const LineChart& chart);

/// Values between `least` and `largest`, both ends included where round: steps of 1, 2 or 5 times a power of
/// ten, `leastStep` or more, at most `most` + 1 of them.
std::vector<double> RoundTicks(double least, double largest, int most, double leastStep = 0.0);

}  // namespace rydecon
