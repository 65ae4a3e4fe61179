// SPDX-License-Identifier: MIT
#pragma once

// The series of distances from a known truth, and the text that it is written as.

#include <gnr_deconvolution/object_frame.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "support/ref/padded_volume.h"

namespace gnr::ref {

using QualityVector = std::vector<std::pair<unsigned, double>>;

/// Root mean square of scale * image - truth over the box.
inline double RootMeanSquareError(const PaddedVolume& image, const PaddedVolume& truth, const SRyIRect3D& box,
                                  double scale) {
    double sum = 0;
    for (int z = box.iMinZ; z < box.iMaxZ; ++z) {
        for (int y = box.iMinY; y < box.iMaxY; ++y) {
            for (int x = box.iMinX; x < box.iMaxX; ++x) {
                const double d = scale * image.at(x, y, z) - truth.at(x, y, z);
                sum += d * d;
            }
        }
    }
    return std::sqrt(sum / (static_cast<double>(box.iMaxX - box.iMinX) * (box.iMaxY - box.iMinY) *
                            (box.iMaxZ - box.iMinZ)));
}

/// One line an index below `count`, empty where the series has no pair; ends behind the last pair.
inline std::string QualityText(const QualityVector& series, unsigned count) {
    std::string text;
    std::size_t next = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (series[next].first == i) {
            char digits[400];
            std::snprintf(digits, sizeof digits, "%lf", series[next].second);
            text += digits;
            ++next;
            if (next == series.size()) break;
        }
        text += "\n";
    }
    return text;
}

}  // namespace gnr::ref
