// SPDX-License-Identifier: MIT
#pragma once

// A picture whose truth is known, blurred without a transform, for tests that restore it with the program.

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/restore_scene.h"

namespace rydecon::test {

inline const std::vector<std::string>& PictureMethodNames() {
    static const std::vector<std::string> names = {
        "rltm", "rltv", "rltv-real", "landweber", "landweber-plain", "blind"};
    return names;
}

/// Gaussian of one plane, 2 * reach + 1 pixels to each side, times `gain`.
inline Stack PlanePsf(double sigma = 1.5, int reach = 5, double gain = 1.0) {
    return MakeStack(2 * reach + 1, 2 * reach + 1, 1, [=](int i, int j, int) {
        return gain *
               std::exp(-((i - reach) * (i - reach) + (j - reach) * (j - reach)) / (2 * sigma * sigma));
    });
}

/// Bars and rings of different brightness on a grey ground, in every part of the picture.
inline Stack PictureTruth(int width, int height, const VoxelSize& voxel = {}) {
    return MakeStack(
        width, height, 1,
        [](int i, int j, int) {
            const int a = i % 24;
            const int b = j % 20;
            const bool bar = (a == 5 || a == 6 || a == 10 || a == 11) && b > 4 && b < 16;
            const double r = std::hypot(a - 17.0, b - 10.0);
            return 100.0 + (bar ? 900.0 + i : 0.0) + (r > 2.5 && r < 4.0 ? 700.0 + 2 * j : 0.0);
        },
        voxel);
}

/// The picture as seen through a centred PSF of odd sides, its border continued outwards.
inline Stack BlurredPicture(const Stack& truth, const Stack& psf) {
    const int reachX = psf.header.width / 2;
    const int reachY = psf.header.height / 2;
    const double sum = psf.Sum();
    const auto clamp = [](int at, int side) { return std::clamp(at, 0, side - 1); };
    return MakeStack(
        truth.header.width, truth.header.height, 1,
        [&](int i, int j, int) {
            double light = 0.0;
            for (int b = -reachY; b <= reachY; ++b) {
                for (int a = -reachX; a <= reachX; ++a) {
                    light += double{psf.At(a + reachX, b + reachY, 0)} *
                             truth.At(clamp(i - a, truth.header.width), clamp(j - b, truth.header.height), 0);
                }
            }
            return light / sum;
        },
        truth.header.voxel);
}

/// Plane k of a stack as a picture.
inline Stack PlaneOf(const Stack& stack, int k) {
    return MakeStack(
        stack.header.width, stack.header.height, 1, [&](int i, int j, int) { return stack.At(i, j, k); },
        stack.header.voxel);
}

}  // namespace rydecon::test
