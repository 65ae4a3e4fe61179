// SPDX-License-Identifier: MIT
#pragma once

// A figure of each iteration of a run, as it is kept, judged and written.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace rydecon {

struct Curve {
    std::string label;               ///< one line for people
    std::string column;              ///< one word for tables
    std::vector<double> values{};    ///< of iteration `before` + 1 and on
    unsigned before = 0;             ///< iterations of an earlier run that this one went on from
    std::optional<unsigned> best{};  ///< the iteration taken for it, where one was
};

/// The means of each value and the two to both sides, as far as there are such.
std::vector<double> Smoothed(const std::vector<double>& values);

/// The iteration, from 1, where the smoothed curve is lowest; the first of several. 0 for an empty curve.
unsigned LowestOf(const std::vector<double>& values);

/// Whether the smoothed curve has risen for good: its lowest point lies back by more than ten iterations and by
/// more than a third of its own number.
bool HasTurned(const std::vector<double>& values);

/// Lines "iteration,<column>" and then "1,0.25". The file is replaced in one step.
void WriteCurve(const std::filesystem::path& path, bool overwrite, const Curve& curve);

}  // namespace rydecon
