// SPDX-License-Identifier: MIT
#include "restoration/blocks/axis_cut.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace rydecon {

AxisCut::AxisCut(int side, int count, const Overlap& overlap)
    : side_(side), count_(count), overlap_(overlap) {
    for (int i = 0; i < overlap.ramp; ++i) {
        const double phase = std::numbers::pi * (i + 0.5) / overlap.ramp;
        rise_.push_back(static_cast<float>(0.5 * (1.0 - std::cos(phase))));
    }
}

Span AxisCut::Read(int n) const {
    // Without the last overlap the axis falls into `count` strides; a part is a stride and an overlap.
    const auto at = [this](int part) {
        const std::int64_t strides = side_ - overlap_.length();
        const auto first = static_cast<int>(strides * part / count_);
        return first - first % overlap_.step;
    };
    return {n == 0 ? 0 : at(n), n + 1 == count_ ? side_ : at(n + 1) + overlap_.length()};
}

Span AxisCut::Used(int n) const {
    const Span read = Read(n);
    return {n == 0 ? 0 : read.begin + overlap_.guard, n + 1 == count_ ? side_ : read.end - overlap_.guard};
}

float AxisCut::Weight(int n, int position) const {
    const Span used = Used(n);
    if (position < used.begin || position >= used.end) return 0.0f;
    if (n > 0 && position - used.begin < overlap_.ramp) {
        return rise_[static_cast<std::size_t>(position - used.begin)];
    }
    if (n + 1 < count_ && used.end - position <= overlap_.ramp) {
        return 1.0f - rise_[static_cast<std::size_t>(position - (used.end - overlap_.ramp))];
    }
    return 1.0f;
}

int AxisCut::LongestPart() const {
    int longest = 0;
    for (int n = 0; n < count_; ++n) longest = std::max(longest, Read(n).length());
    return longest;
}

int AxisCut::Owner(int position) const {
    for (int n = 0; n < count_; ++n) {
        if (Weight(n, position) >= 0.5f) return n;
    }
    return count_ - 1;
}

int AxisCut::MostParts(int side, const Overlap& overlap) {
    const int shared = std::max(overlap.length(), 1);
    return std::max(1, (side - shared) / (shared + overlap.step - 1));
}

}  // namespace rydecon
