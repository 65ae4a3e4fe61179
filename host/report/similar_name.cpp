// SPDX-License-Identifier: MIT
#include "report/similar_name.h"

#include <algorithm>
#include <string_view>

namespace rydecon {

namespace {

constexpr std::size_t kSimilarNames = 2;  // letters that a mistyped name may differ in

/// Insertions, deletions and replacements of one letter, and swaps of two neighbours, that turn a into b
/// (optimal string alignment).
std::size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) steps[i][0] = i;
    for (std::size_t j = 0; j <= b.size(); ++j) steps[0][j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            steps[i][j] = std::min({replaced, steps[i - 1][j] + 1, steps[i][j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
            }
        }
    }
    return steps[a.size()][b.size()];
}

/// The name most like `given`; empty if none is similar.
std::string MostSimilar(const std::string& given, const std::vector<std::string>& names) {
    std::string best;
    std::size_t least = kSimilarNames + 1;
    for (const auto& name : names) {
        const std::size_t distance = EditDistance(given, name);
        if (distance >= least) continue;
        least = distance;
        best = name;
    }
    return best;
}

}  // namespace

std::string DidYouMean(const std::string& given, const std::vector<std::string>& names) {
    const std::string similar = MostSimilar(given, names);
    return similar.empty() ? std::string() : " (did you mean '" + similar + "'?)";
}

}  // namespace rydecon
