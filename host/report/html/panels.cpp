// SPDX-License-Identifier: MIT

#include "report/html/panels.h"

#include <algorithm>
#include <cstdio>

#include "report/html/markup.h"

namespace rydecon {
namespace {

constexpr double kLeastLettered = 0.12;  // side of a panel, of the width of XY, that has room for letters

std::string Percent(double part) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f%%", 100.0 * part);
    return text;
}

}  // namespace

const char* NameOf(Plane plane) {
    return plane == Plane::XY ? "XY" : plane == Plane::YZ ? "YZ" : "XZ";
}

PanelGeometry::PanelGeometry(const StackHeader& header)
    : layout_(LayOutPicture(header)), deep_(header.planes() > 1) {
    if (!header.voxel.x) return;
    bar_ = ChooseScaleBar(layout_.width, layout_.pixelsPerSample, header.voxel.x, "µm");
}

double PanelGeometry::Aspect() const {
    const int depth = deep_ ? layout_.depth : 0;
    return static_cast<double>(layout_.width + depth) / (layout_.height + depth);
}

std::string PanelGeometry::Columns() const {
    std::string columns = "minmax(0," + std::to_string(layout_.width) + "fr)";
    if (deep_) columns += " minmax(0," + std::to_string(layout_.depth) + "fr)";
    return columns;
}

std::string PanelGeometry::AspectOf(Plane plane) const {
    return std::to_string(Width(plane)) + "/" + std::to_string(Height(plane));
}

bool PanelGeometry::Lettered(Plane plane) const {
    return std::min(Width(plane), Height(plane)) >= kLeastLettered * layout_.width;
}

std::string PanelGeometry::Bar(Plane plane) const {
    if (bar_.pixels == 0 || plane == Plane::YZ || !Lettered(plane)) return "";
    return "<div class=\"bar\" style=\"width:" + Percent(static_cast<double>(bar_.pixels) / layout_.width) +
           "\"><span>" + Escaped(bar_.label) + "</span></div>";
}

GreyPicture Drawn(const SamplePicture& picture, const Contrast& contrast) {
    return Render(picture.samples, picture.width, picture.height, picture.width, picture.height, contrast);
}

std::string Image(const std::string& address, const std::string& style, const std::string& description) {
    return "<img class=\"" + style + "\" alt=\"" + Escaped(description) + "\" src=\"" + address + "\">";
}

}  // namespace rydecon
