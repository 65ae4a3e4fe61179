// SPDX-License-Identifier: MIT
#include "restoration/curve.h"

#include <algorithm>
#include <cstdio>

#include "io/temporary_file.h"

namespace rydecon {

namespace {

constexpr unsigned kLeastPatience = 10;
constexpr std::size_t kReach = 2;  // of a smoothed value to both sides

}  // namespace

std::vector<double> Smoothed(const std::vector<double>& values) {
    std::vector<double> means(values.size());
    for (std::size_t n = 0; n < values.size(); ++n) {
        const std::size_t first = n > kReach ? n - kReach : 0;
        const std::size_t last = std::min(n + kReach, values.size() - 1);
        double sum = 0.0;
        for (std::size_t m = first; m <= last; ++m) sum += values[m];
        means[n] = sum / static_cast<double>(last - first + 1);
    }
    return means;
}

unsigned LowestOf(const std::vector<double>& values) {
    if (values.empty()) return 0;
    const std::vector<double> means = Smoothed(values);
    return static_cast<unsigned>(std::min_element(means.begin(), means.end()) - means.begin()) + 1;
}

bool HasTurned(const std::vector<double>& values) {
    const unsigned lowest = LowestOf(values);
    return values.size() > lowest + std::max(kLeastPatience, lowest / 3);
}

void WriteCurve(const std::filesystem::path& path, bool overwrite, const Curve& curve) {
    std::string text = "iteration," + curve.column + "\n";
    for (std::size_t n = 0; n < curve.values.size(); ++n) {
        char line[64];
        text.append(line, static_cast<std::size_t>(std::snprintf(line, sizeof line, "%zu,%.9g\n",
                                                                 curve.before + n + 1, curve.values[n])));
    }
    TemporaryFile file(path, overwrite);
    file.Write(text.data(), text.size());
    file.Commit();
}

}  // namespace rydecon
