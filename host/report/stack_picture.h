// SPDX-License-Identifier: MIT
#pragma once

// The picture of a stack: its projections with equal scales along all axes, and a scale bar.

#include <string>
#include <vector>

#include "report/grey_picture.h"
#include "report/projections.h"

namespace rydecon {

/// Sides of the projections in pixels.
struct PictureLayout {
    int width = 0;
    int height = 0;
    int depth = 0;               // of the XZ projection
    double pixelsPerSample = 1;  // along x
    bool toScale = true;         // false where the pitches differ too much for a picture
};

/// Stretches the axes of coarser pitch to the finest one, and magnifies small stacks by a whole number. An
/// axis whose pitch the file does not tell keeps its samples; so do all where the pitches differ too much for
/// a picture.
PictureLayout LayOutPicture(const StackHeader& header);

/// `samples`, in rows of `width`, stretched linearly to a picture of other sides. What is not finite is
/// black.
GreyPicture Render(const std::vector<float>& samples, int width, int height, int toWidth, int toHeight,
                   const Contrast& contrast);

/// Label (none if empty), XY projection, XZ projection below it with z downwards, scale bar.
GreyPicture DrawStack(const Projections& projections, const std::string& label);

/// Pictures in a row, aligned at the top.
GreyPicture SideBySide(const std::vector<GreyPicture>& pictures);

}  // namespace rydecon
