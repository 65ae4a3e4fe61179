// SPDX-License-Identifier: MIT
#include "cleaning/background.h"

#include <algorithm>
#include <vector>

#include "cleaning/plane_filters.h"

namespace rydecon {

namespace {

constexpr double kShareBelow = 0.05;
constexpr std::size_t kBins = 65536;

}  // namespace

double EstimateBackground(PlaneSource& from, double least, double largest) {
    const Extent shape = from.shape();
    const double perBin = (largest - least) / static_cast<double>(kBins);
    std::vector<long long> counts(kBins);
    long long all = 0;
    ForEachPlane(from, [&](const float* plane, int) {
        for (const float mean : LocalMeans(plane, shape.x, shape.y)) {
            const double bin = (double{mean} - least) / perBin;
            ++counts[static_cast<std::size_t>(std::clamp(bin, 0.0, static_cast<double>(kBins - 1)))];
            ++all;
        }
    });
    const auto wanted = static_cast<long long>(kShareBelow * static_cast<double>(all));
    long long below = 0;
    std::size_t bin = 0;
    while (bin + 1 < kBins && below + counts[bin] <= wanted) below += counts[bin++];
    return least + perBin * static_cast<double>(bin);
}

}  // namespace rydecon
