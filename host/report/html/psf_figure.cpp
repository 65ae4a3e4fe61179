// SPDX-License-Identifier: MIT

#include "report/html/psf_figure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

#include "report/html/markup.h"
#include "report/html/panels.h"

namespace rydecon {
namespace {

std::string Width(const std::optional<double>& samples, const std::optional<double>& pitch) {
    if (!samples) return "not defined";
    return pitch ? ShownLength(*samples * *pitch) : ShownNumber(*samples) + " samples";
}

/// The root of what is above 0, so that rings show beside the peak.
SamplePicture Roots(SamplePicture picture) {
    for (float& sample : picture.samples) sample = std::sqrt(std::max(sample, 0.0f));
    return picture;
}

float LargestOf(const SamplePicture& picture) {
    float largest = 0.0f;
    for (const float sample : picture.samples) largest = std::max(largest, sample);
    return largest;
}

StackHeader HeaderOf(const ReportPsf& psf) {
    StackHeader header;
    header.width = psf.xy.width;
    header.height = psf.xy.height;
    header.slices = psf.xz.empty() ? 1 : psf.xz.height;
    header.voxel = psf.voxel;
    return header;
}

std::string PsfPanel(const PanelGeometry& geometry, Plane plane, const SamplePicture& picture, float white,
                     const std::string& bar) {
    const std::string name = NameOf(plane);
    return "<div style=\"flex:" + std::to_string(geometry.Width(plane)) + " 1 0\">" +
           Element("span", name, "class=\"name\"") +
           "<div class=\"frame\" style=\"aspect-ratio:" + geometry.AspectOf(plane) + "\">" +
           Image(PictureAddress(Drawn(picture, {0.0f, white})), "", name + " section of the PSF") + bar +
           "</div></div>";
}

/// Width over height of both panels beside each other.
std::string AspectOfRow(const PanelGeometry& geometry) {
    const bool deep = geometry.deep();
    const int width = geometry.Width(Plane::XY) + (deep ? geometry.Width(Plane::XZ) : 0);
    const int height = std::max(geometry.Height(Plane::XY), deep ? geometry.Height(Plane::XZ) : 0);
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", static_cast<double>(width) / height);
    return text;
}

std::string WidthsTable(const ReportPsf& psf) {
    std::string html = "<table><caption>Full width at half maximum</caption><tbody>";
    const auto row = [&html](const char* axis, const std::string& width) {
        html += "<tr>" + Element("th", axis, "scope=\"row\"") + Element("td", width) + "</tr>";
    };
    if (psf.xy.width > 1) row("x", Width(psf.widthX, psf.voxel.x));
    if (psf.xy.height > 1) row("y", Width(psf.widthY, psf.voxel.y));
    if (!psf.xz.empty()) row("z", Width(psf.widthZ, psf.voxel.z));
    return html + "</tbody></table>";
}

}  // namespace

std::string PsfFigure(const ReportPsf& psf) {
    const PanelGeometry geometry(HeaderOf(psf));
    const SamplePicture xy = Roots(psf.xy);
    const SamplePicture xz = Roots(psf.xz);
    const float white = LargestOf(xy);
    std::string html =
        "<figure class=\"psf\">" + Element("h3", psf.name.empty() ? "PSF" : psf.name) +
        "<div class=\"pair\"><div class=\"sections\" style=\"--aspect:" + AspectOfRow(geometry) + "\">" +
        PsfPanel(geometry, Plane::XY, xy, white, geometry.deep() ? "" : geometry.Bar(Plane::XY));
    if (geometry.deep()) html += PsfPanel(geometry, Plane::XZ, xz, white, geometry.Bar(Plane::XZ));
    html += "</div>" + WidthsTable(psf) + "</div><figcaption>";
    if (!psf.source.empty()) html += Escaped("From: " + psf.source + ". ");
    html +=
        "Sections through the largest sample. Grey goes with the square root of intensity (gamma 0.5), black "
        "0, white the peak.";
    if (!psf.voxel.x) html += " The voxel size is unknown: there is no scale bar.";
    return html + "</figcaption></figure>";
}

}  // namespace rydecon
