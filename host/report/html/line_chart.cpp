// SPDX-License-Identifier: MIT

#include "report/html/line_chart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "report/html/markup.h"

namespace rydecon {
namespace {

constexpr double kWidth = 520.0;
constexpr double kHeight = 300.0;
constexpr double kLeft = 66.0;
constexpr double kRight = 14.0;
constexpr double kTop = 12.0;
constexpr double kBottom = 46.0;
constexpr double kMostDecades = 12.0;  // below the largest value; deeper is rounding
constexpr int kMostTicks = 6;
constexpr std::size_t kMostDots = 100;

std::string Coordinate(double at) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", at);
    return text;
}

/// Where the values of an axis lie on the drawing.
class Scale {
  public:
    Scale(const ChartAxis& axis, double from, double to) : axis_(&axis), from_(from), to_(to) {}

    /// Widens the scale to the value, if it can be drawn at all.
    void Include(double value) {
        if (!Drawn(value)) return;
        const double at = Position(value);
        least_ = std::min(least_, at);
        largest_ = std::max(largest_, at);
    }

    bool Drawn(double value) const {
        return std::isfinite(value) && (!axis_->logarithmic || axis_->least || value > 0.0);
    }

    /// Call it when all values are included.
    void Finish() {
        if (axis_->least) least_ = Position(*axis_->least);
        if (axis_->logarithmic) least_ = std::max(least_, largest_ - kMostDecades);
        if (least_ < largest_) return;
        const double around = axis_->logarithmic ? 0.5 : std::max(0.5, 0.05 * std::abs(largest_));
        if (!axis_->least) least_ -= around;
        largest_ = least_ + 2.0 * around;
    }

    double At(double value) const {
        return from_ + (to_ - from_) * std::clamp((Position(value) - least_) / (largest_ - least_), 0.0, 1.0);
    }

    std::vector<double> Ticks() const {
        if (!axis_->logarithmic) return RoundTicks(least_, largest_, kMostTicks, axis_->whole ? 1.0 : 0.0);
        const int first = static_cast<int>(std::ceil(least_ - 1e-9));
        const int last = static_cast<int>(std::floor(largest_ + 1e-9));
        if (last <= first) return RoundTicks(std::pow(10.0, least_), std::pow(10.0, largest_), kMostTicks);
        std::vector<double> ticks;
        const int step = (last - first + kMostTicks - 1) / kMostTicks;
        for (int exponent = first; exponent <= last; exponent += step) {
            ticks.push_back(std::pow(10.0, exponent));
        }
        return ticks;
    }

    std::string Label(double tick) const {
        const bool wide = axis_->logarithmic && (least_ < -3.0 || largest_ > 4.0);
        const double exponent = wide ? std::round(std::log10(tick)) : 0.0;
        if (exponent < 0.0 || exponent > 1.0) return ShownPower(static_cast<int>(exponent));
        return ShownNumber(tick, Digits());
    }

  private:
    /// Enough to tell neighbouring ticks apart.
    int Digits() const {
        if (axis_->logarithmic) return 4;
        const double magnitude = std::max(std::abs(least_), std::abs(largest_));
        const double digits = std::ceil(std::log10(magnitude / (largest_ - least_))) + 2.0;
        return static_cast<int>(std::clamp(digits, 4.0, 9.0));
    }

    double Position(double value) const {
        if (axis_->least) value = std::max(value, *axis_->least);
        return axis_->logarithmic ? std::log10(value) : value;
    }

    const ChartAxis* axis_;
    double from_;
    double to_;
    double least_ = std::numeric_limits<double>::infinity();
    double largest_ = -std::numeric_limits<double>::infinity();
};

std::string Line(const char* style, double x1, double y1, double x2, double y2) {
    return "<line class=\"" + std::string(style) + "\" x1=\"" + Coordinate(x1) + "\" y1=\"" + Coordinate(y1) +
           "\" x2=\"" + Coordinate(x2) + "\" y2=\"" + Coordinate(y2) + "\"/>";
}

std::string Text(double x, double y, const char* anchor, const std::string& text) {
    return Element("text", text,
                   "x=\"" + Coordinate(x) + "\" y=\"" + Coordinate(y) + "\" text-anchor=\"" + anchor + "\"");
}

/// A drawing of a chart whose scales are known.
class Drawing {
  public:
    Drawing(const LineChart& chart, const Scale& x, const Scale& y) : chart_(chart), x_(x), y_(y) {}

    std::string Axes() const {
        std::string svg;
        for (const double tick : y_.Ticks()) {
            svg += Line("grid", kLeft, y_.At(tick), kWidth - kRight, y_.At(tick));
            svg += Text(kLeft - 7.0, y_.At(tick) + 4.0, "end", y_.Label(tick));
        }
        for (const double tick : x_.Ticks()) {
            svg += Line("grid", x_.At(tick), kTop, x_.At(tick), kHeight - kBottom);
            svg += Text(x_.At(tick), kHeight - kBottom + 17.0, "middle", x_.Label(tick));
        }
        svg += Line("axis", kLeft, kHeight - kBottom, kWidth - kRight, kHeight - kBottom);
        svg += Line("axis", kLeft, kTop, kLeft, kHeight - kBottom);
        svg += Text((kLeft + kWidth - kRight) / 2.0, kHeight - 8.0, "middle", chart_.x.label);
        const double middle = (kTop + kHeight - kBottom) / 2.0;
        return svg + Element("text", chart_.y.label,
                             "text-anchor=\"middle\" transform=\"translate(14 " + Coordinate(middle) +
                                 ") rotate(-90)\"");
    }

    std::string Mark() const {
        if (!chart_.mark || !x_.Drawn(chart_.mark->x)) return "";
        const double at = x_.At(chart_.mark->x);
        const bool right = at > kWidth / 2.0;
        return Line("mark", at, kTop, at, kHeight - kBottom) +
               Text(at + (right ? -5.0 : 5.0), kTop + 12.0, right ? "end" : "start", chart_.mark->label);
    }

    std::string Curve(const ChartSeries& series) const {
        std::string path;
        std::string dots;
        bool pen = false;
        for (const ChartPoint& point : series.points) {
            if (!Drawn(point)) {
                pen = false;
                continue;
            }
            const std::string x = Coordinate(x_.At(point.x));
            const std::string y = Coordinate(y_.At(point.y));
            path.append(pen ? "L" : "M").append(x).append(" ").append(y);
            pen = true;
            if (!chart_.dots || series.points.size() > kMostDots) continue;
            dots.append("<circle cx=\"").append(x).append("\" cy=\"").append(y).append("\" r=\"2.5\">");
            dots += Element("title", ShownNumber(point.x) + ": " + ShownNumber(point.y)) + "</circle>";
        }
        if (path.empty()) return "";
        return "<g class=\"curve " + series.style + "\"><path d=\"" + path + "\"/>" + dots + "</g>";
    }

    bool Drawn(const ChartPoint& point) const { return x_.Drawn(point.x) && y_.Drawn(point.y); }

  private:
    const LineChart& chart_;
    const Scale& x_;
    const Scale& y_;
};

std::string Legend(const LineChart& chart) {
    std::string legend = "<div class=\"legend\">";
    for (const ChartSeries& series : chart.series) {
        legend += "<span><svg class=\"key\" viewBox=\"0 0 24 8\" aria-hidden=\"true\"><g class=\"curve " +
                  series.style + "\"><path d=\"M0 4L24 4\"/></g></svg>" + Escaped(series.name) + "</span>";
    }
    return legend + "</div>";
}

}  // namespace

std::vector<double> RoundTicks(double least, double largest, int most, double leastStep) {
    const double range = largest - least;
    if (!(range > 0.0) || !std::isfinite(range)) return {};
    const double decade = std::pow(10.0, std::floor(std::log10(range / most)));
    double step = 10.0 * decade;
    for (const double digit : {5.0, 2.0, 1.0}) {
        if (digit * decade * most >= range) step = digit * decade;
    }
    step = std::max(step, leastStep);
    const double first = std::ceil(least / step - 1e-9);
    const int count = static_cast<int>(std::floor(largest / step + 1e-9) - first) + 1;
    std::vector<double> ticks;
    for (int n = 0; n < count; ++n) {
        const double steps = first + n;
        ticks.push_back(steps == 0.0 ? 0.0 : steps * step);  // no negative zero
    }
    return ticks;
}

std::string DrawLineChart(const LineChart& chart) {
    Scale x(chart.x, kLeft, kWidth - kRight);
    Scale y(chart.y, kHeight - kBottom, kTop);
    bool any = false;
    for (const ChartSeries& series : chart.series) {
        for (const ChartPoint& point : series.points) {
            if (!x.Drawn(point.x) || !y.Drawn(point.y)) continue;
            x.Include(point.x);
            y.Include(point.y);
            any = true;
        }
    }
    if (!any) return "";
    if (chart.mark) x.Include(chart.mark->x);
    x.Finish();
    y.Finish();

    const Drawing drawing(chart, x, y);
    std::string svg = Legend(chart) + "<svg class=\"chart\" viewBox=\"0 0 " + Coordinate(kWidth) + " " +
                      Coordinate(kHeight) + "\" role=\"img\" aria-label=\"" + Escaped(chart.description) +
                      "\">" + drawing.Axes();
    for (const ChartSeries& series : chart.series) svg += drawing.Curve(series);
    return svg + drawing.Mark() + "</svg>";
}

}  // namespace rydecon
