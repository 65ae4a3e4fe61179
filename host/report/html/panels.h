// SPDX-License-Identifier: MIT
#pragma once

// The panels of a figure: pictures of one volume seen along its axes, all at one scale.

#include <string>

#include "report/grey_picture.h"
#include "report/html/volume_views.h"
#include "report/projections.h"
#include "report/scale_bar.h"
#include "report/stack_picture.h"

namespace rydecon {

enum class Plane { XY, YZ, XZ };

const char* NameOf(Plane plane);

/// Sides of the panels, and the bar that tells their scale.
class PanelGeometry {
  public:
    explicit PanelGeometry(const StackHeader& header);

    bool deep() const { return deep_; }
    bool toScale() const { return layout_.toScale; }
    int Width(Plane plane) const { return plane == Plane::YZ ? layout_.depth : layout_.width; }
    int Height(Plane plane) const { return plane == Plane::XZ ? layout_.depth : layout_.height; }

    /// Width over height of all panels together.
    double Aspect() const;
    /// XY and YZ as columns of a grid.
    std::string Columns() const;
    /// "W/H" of one panel.
    std::string AspectOf(Plane plane) const;
    /// True where the panel has room for letters.
    bool Lettered(Plane plane) const;
    /// The bar over a panel that has x to the right; nothing where the pitch is not known.
    std::string Bar(Plane plane) const;

  private:
    PictureLayout layout_;
    bool deep_;
    ScaleBar bar_;  // of 0 pixels where there is none
};

/// One pixel a sample; the page stretches it.
GreyPicture Drawn(const SamplePicture& picture, const Contrast& contrast);

/// An "<img>" of the class `style`.
std::string Image(const std::string& address, const std::string& style, const std::string& description);

}  // namespace rydecon
