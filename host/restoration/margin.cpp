// SPDX-License-Identifier: MIT
#include "restoration/margin.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace rydecon {

namespace {

/// Mean of the outermost samples of the image.
float BorderMean(const PaddedVolume& volume, const Extent& image) {
    double sum = 0.0;
    long long count = 0;
    for (int k = 0; k < image.z; ++k) {
        const bool faceZ = image.z > 1 && (k == 0 || k == image.z - 1);
        for (int j = 0; j < image.y; ++j) {
            const float* const row = volume.Row(j, k);
            if (faceZ || j == 0 || j == image.y - 1) {
                for (int i = 0; i < image.x; ++i) sum += row[i];
                count += image.x;
            } else {
                sum += static_cast<double>(row[0]) + row[image.x - 1];
                count += 2;
            }
        }
    }
    return static_cast<float>(sum / static_cast<double>(count));
}

/// Where a sample of the gap takes its value from, and how much of it is left.
struct MirroredSample {
    int source;
    float weight;
};

/// The gap of one axis: positions n to side - 1, mirrored at the nearer border of [0, n).
std::vector<MirroredSample> MirrorGap(int n, int side) {
    std::vector<MirroredSample> gap;
    const double half = (side - n + 1) / 2.0;
    for (int position = n; position < side; ++position) {
        const int behindEnd = position - n + 1;
        const int beforeStart = side - position;
        const bool nearEnd = behindEnd <= beforeStart;
        const int distance = nearEnd ? behindEnd : beforeStart;
        // Half-sample symmetry with period 2 n, so that gaps longer than the image keep reflecting.
        const int reflected = (distance - 1) % (2 * n);
        const int inside = reflected < n ? reflected : 2 * n - 1 - reflected;
        const double weight = 0.5 * (1.0 + std::cos(std::numbers::pi * distance / half));
        gap.push_back(
            {nearEnd ? n - 1 - inside : inside, static_cast<float>(distance < half ? weight : 0.0)});
    }
    return gap;
}

/// target[i] := mean + weight (source[i] - mean) for count floats.
void Fade(float* target, const float* source, int count, float weight, float mean) {
    for (int i = 0; i < count; ++i) target[i] = mean + weight * (source[i] - mean);
}

}  // namespace

void FillMargin(const PaddedVolume& volume, const Extent& image) {
    FillMargin(volume, image, BorderMean(volume, image));
}

void FillMargin(const PaddedVolume& volume, const Extent& image, float mean) {
    const std::int32_t rowLength = volume.sizes().rowLength;
    const Extent side = volume.logical();
    const auto gapX = MirrorGap(image.x, side.x);
    const auto gapY = MirrorGap(image.y, side.y);
    const auto gapZ = MirrorGap(image.z, side.z);
    for (int k = 0; k < image.z; ++k) {
        for (int j = 0; j < image.y; ++j) {
            float* const row = volume.Row(j, k);
            for (int i = image.x; i < side.x; ++i) {
                const auto [source, weight] = gapX[static_cast<std::size_t>(i - image.x)];
                row[i] = mean + weight * (row[source] - mean);
            }
            std::fill(row + side.x, row + rowLength, mean);
        }
        for (int j = image.y; j < side.y; ++j) {
            const auto [source, weight] = gapY[static_cast<std::size_t>(j - image.y)];
            Fade(volume.Row(j, k), volume.Row(source, k), rowLength, weight, mean);
        }
    }
    for (int k = image.z; k < side.z; ++k) {
        const auto [source, weight] = gapZ[static_cast<std::size_t>(k - image.z)];
        for (int j = 0; j < side.y; ++j) {
            Fade(volume.Row(j, k), volume.Row(j, source), rowLength, weight, mean);
        }
    }
}

}  // namespace rydecon
