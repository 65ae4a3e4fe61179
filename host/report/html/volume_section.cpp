// SPDX-License-Identifier: MIT

#include "report/html/volume_section.h"

#include <algorithm>
#include <cmath>

#include "report/html/line_chart.h"
#include "report/html/markup.h"
#include "report/html/methods_text.h"
#include "report/html/psf_figure.h"
#include "report/html/view_figure.h"

namespace rydecon {
namespace {

/// Ratio of largest to smallest value from which a curve shows more on a logarithmic axis.
constexpr double kWideRange = 50.0;

/// Letters that fit beside a chart.
constexpr std::size_t kLongestAxisLabel = 36;

/// A chart under its title, or why there is none.
std::string ChartFigure(const std::string& title, const LineChart& chart, const std::string& note) {
    const std::string drawing = DrawLineChart(chart);
    return "<figure>" + Element("h3", title) + drawing +
           Element("figcaption", drawing.empty() ? "There is nothing to draw." : note) + "</figure>";
}

/// The outline of bars: two points a bin. An empty bin lies at half a sample, below the axis.
std::vector<ChartPoint> Outline(const HistogramPair& histogram, const std::vector<std::uint64_t>& counts) {
    std::vector<ChartPoint> points;
    for (std::size_t n = 0; n < counts.size(); ++n) {
        const auto count = static_cast<double>(counts[n]);
        const double left = histogram.start + static_cast<double>(n) * histogram.width;
        points.push_back({left, count});
        points.push_back({left + histogram.width, count});
    }
    return points;
}

std::string HistogramFigure(const HistogramPair& histogram) {
    LineChart chart;
    chart.description = "Histogram of intensities before and after, logarithmic counts";
    chart.x.label = "intensity";
    chart.y = {.label = "samples in a bin", .logarithmic = true, .least = 0.5};
    chart.series = {{"before", "before", Outline(histogram, histogram.before)},
                    {"after", "after", Outline(histogram, histogram.after)}};
    return ChartFigure("Intensities", chart,
                       "All samples in " + std::to_string(histogram.before.size()) + " bins of " +
                           ShownNumber(histogram.width) + ", the same for both. Counts are logarithmic.");
}

std::vector<ChartPoint> PointsOf(const FrequencyRings& rings, const std::vector<double>& powers) {
    std::vector<ChartPoint> points;
    for (std::size_t n = 1; n < powers.size(); ++n) {  // ring 0 is the mean, which is taken off
        points.push_back({static_cast<double>(n) * rings.step, powers[n]});
    }
    return points;
}

std::string SpectrumFigure(const VolumeViews& views, const std::optional<double>& cutOff) {
    const SpectrumPair& spectrum = views.spectrum;
    LineChart chart;
    chart.description = "Radially averaged power spectrum before and after, logarithmic power";
    chart.x.label =
        spectrum.rings.physical ? "spatial frequency, cycles per µm" : "spatial frequency, cycles per sample";
    chart.y = {.label = "relative power", .logarithmic = true};
    chart.series = {{"before", "before", PointsOf(spectrum.rings, spectrum.before)},
                    {"after", "after", PointsOf(spectrum.rings, spectrum.after)}};
    std::string note =
        std::string("Radial mean of the power of the ") +
        (views.header.planes() > 1 ? "mean along z" : "picture") +
        ", up to the Nyquist frequency, over the squared mean of the image before; Hann window.";
    const double last = spectrum.rings.step * spectrum.rings.count;
    if (cutOff && spectrum.rings.physical && *cutOff <= last) {
        chart.mark = ChartMark{*cutOff, "cut-off 2 NA/λ"};
        note += " Beyond the cut-off of the optics an image holds noise only.";
    }
    return ChartFigure("Power spectrum", chart, note);
}

std::string CurveFigure(const std::string& title, const ReportCurve& curve, const std::string& rounds) {
    LineChart chart;
    chart.description = title + ": " + curve.label + " over " + rounds;
    chart.x.label = rounds;
    chart.x.whole = true;
    ChartSeries series{curve.label, "single", {}};
    double least = INFINITY;
    double largest = -INFINITY;
    for (const CurvePoint& point : curve.points) {
        series.points.push_back({point.iteration, point.value});
        if (!std::isfinite(point.value)) continue;
        least = std::min(least, point.value);
        largest = std::max(largest, point.value);
    }
    // The legend has the whole of it.
    const bool fits = curve.label.size() <= kLongestAxisLabel;
    chart.y = {.label = fits ? curve.label : "", .logarithmic = least > 0.0 && largest > kWideRange * least};
    chart.series.push_back(std::move(series));
    chart.dots = true;
    return ChartFigure(title, chart, chart.y.logarithmic ? "The axis of values is logarithmic." : "");
}

std::string NumbersTable(const ImageNumbers& before, const ImageNumbers& after) {
    std::string html =
        "<div class=\"wide\"><table><thead><tr><th scope=\"col\">Image</th><th scope=\"col\" "
        "class=\"number\">least</th><th scope=\"col\" class=\"number\">mean</th><th scope=\"col\" "
        "class=\"number\">largest</th><th scope=\"col\" class=\"number\">sum</th></tr></thead><tbody>";
    const auto row = [&html](const char* name, const ImageNumbers& numbers) {
        html += "<tr>" + Element("th", name, "scope=\"row\"");
        const double mean = numbers.sum / static_cast<double>(numbers.finite);
        for (const double number : {double{numbers.least}, mean, double{numbers.largest}, numbers.sum}) {
            html += Element("td", numbers.finite > 0 ? ShownNumber(number, 5) : "—", "class=\"number\"");
        }
        html += "</tr>";
    };
    row("before", before);
    row("after", after);
    return html + "</tbody></table></div>";
}

std::string Charts(const VolumeReport& volume) {
    std::string html = "<div class=\"charts\">";
    if (volume.iterations) {
        html += volume.convergence.points.empty()
                    ? "<figure>" + Element("h3", "Convergence") +
                          Element("figcaption", "The method told no values of its iterates.") + "</figure>"
                    : CurveFigure("Convergence", volume.convergence, volume.rounds);
    }
    if (!volume.agreement.points.empty()) {
        html += CurveFigure("Agreement of both halves", volume.agreement, volume.rounds);
    }
    if (volume.views) {
        html += HistogramFigure(volume.views->histogram) + SpectrumFigure(*volume.views, volume.cutOff);
    }
    for (const ReportPsf& psf : volume.psfs) html += PsfFigure(psf);
    return html + "</div>";
}

std::string RunLine(const VolumeReport& volume) {
    std::string line = ShownIterations({&volume, 1});
    if (!line.empty()) line += (volume.stopReason.empty() ? "" : " (" + volume.stopReason + ")") + ", ";
    return line + ShownDuration(volume.seconds) +
           ". Sum of the samples after over before: " + ShownFluxRatio(volume) + ".";
}

}  // namespace

std::string NameOf(const VolumeReport& volume) {
    if (!volume.name.empty()) {
        std::string name = volume.name;
        if (name.front() >= 'a' && name.front() <= 'z')
            name.front() = static_cast<char>(name.front() - 'a' + 'A');
        return name;
    }
    std::string name = volume.channel.empty() ? "" : "Channel " + volume.channel;
    if (!volume.time.empty()) name += (name.empty() ? "Time " : ", time ") + volume.time;
    return name;
}

std::string ShownFluxRatio(const VolumeReport& volume) {
    if (!volume.fluxIn || !volume.fluxOut || *volume.fluxIn == 0.0) return "—";
    return ShownNumber(*volume.fluxOut / *volume.fluxIn, 5);
}

std::string VolumeSection(const VolumeReport& volume, int number) {
    const std::string name = NameOf(volume);
    std::string html = "<section class=\"volume\" id=\"volume-" + std::to_string(number) + "\">" +
                       Element("h2", name.empty() ? "Before and after" : name) +
                       Element("p", RunLine(volume), "class=\"note\"");
    html += volume.views ? ViewFigure(*volume.views, "v" + std::to_string(number))
                         : Element("p", "There are no pictures of this one: a report has those of " +
                                            std::to_string(kMostVolumesWithViews) + " volumes at most.");
    html += Charts(volume);
    if (volume.views) {
        html += "<div class=\"block\"><h3>Samples</h3>" +
                NumbersTable(volume.views->numbersBefore, volume.views->numbersAfter) + "</div>";
    }
    return html + "</section>";
}

}  // namespace rydecon
