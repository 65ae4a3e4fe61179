// SPDX-License-Identifier: MIT
#include "cleaning/plane_filters.h"

#include <algorithm>
#include <cmath>

namespace rydecon {

namespace {

constexpr int kReach = 2;  // of a local mean

/// Share of the squares that may come from what is no noise: defects, edges.
constexpr double kTrimmed = 0.01;

/// out[n] := sum of in[m] with |m - n| up to kReach, for `count` values `stride` apart.
void SumAlong(const double* in, double* out, int count, std::ptrdiff_t stride) {
    double sum = 0.0;
    for (int n = 0; n < std::min(kReach, count); ++n) sum += in[n * stride];
    for (int n = 0; n < count; ++n) {
        if (n + kReach < count) sum += in[(n + kReach) * stride];
        if (n - kReach - 1 >= 0) sum -= in[(n - kReach - 1) * stride];
        out[n * stride] = sum;
    }
}

int Covered(int n, int count) {
    return std::min(n + kReach, count - 1) - std::max(n - kReach, 0) + 1;
}

}  // namespace

std::vector<float> LocalMeans(const float* plane, int width, int height) {
    const std::size_t samples = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<double> sums(plane, plane + samples);
    std::vector<double> rows(samples);
    for (int j = 0; j < height; ++j) {
        const std::ptrdiff_t row = std::ptrdiff_t{j} * width;
        SumAlong(sums.data() + row, rows.data() + row, width, 1);
    }
    for (int i = 0; i < width; ++i) SumAlong(rows.data() + i, sums.data() + i, height, width);
    std::vector<float> means(samples);
    for (int j = 0; j < height; ++j) {
        for (int i = 0; i < width; ++i) {
            const std::size_t n =
                static_cast<std::size_t>(j) * static_cast<std::size_t>(width) + static_cast<std::size_t>(i);
            means[n] = static_cast<float>(sums[n] / (Covered(i, width) * Covered(j, height)));
        }
    }
    return means;
}

void TrimmedSquares::Add(double value) {
    constexpr int kOctaves = static_cast<int>(kBins) / 8;
    const double square = value * value;
    const double bin = square > 0.0 ? 8.0 * (std::log2(square) + kOctaves / 2.0) : 0.0;
    Bin& of = bins_[static_cast<std::size_t>(std::clamp(bin, 0.0, kBins - 1.0))];
    of.sum += square;
    of.count += 1.0;
}

double TrimmedSquares::Rms() const {
    double left = 0.0;
    for (const Bin& bin : bins_) left += bin.count;
    left *= 1.0 - kTrimmed;
    double sum = 0.0;
    double count = 0.0;
    for (const Bin& bin : bins_) {
        if (bin.count == 0.0) continue;
        const double taken = std::min(bin.count, left - count);
        sum += bin.sum * taken / bin.count;
        count += taken;
        if (count >= left) break;
    }
    return count > 0.0 ? std::sqrt(sum / count) : 0.0;
}

}  // namespace rydecon
