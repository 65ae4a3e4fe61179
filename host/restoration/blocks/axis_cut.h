// SPDX-License-Identifier: MIT
#pragma once

// One axis of an image cut into overlapping parts whose weights sum to 1.

#include <vector>

namespace rydecon {

/// Positions begin to end - 1.
struct Span {
    int begin = 0;
    int end = 0;
    int length() const { return end - begin; }
    friend bool operator==(const Span&, const Span&) = default;
};

/// How two neighbours overlap. A sample nearer to an inner face than `guard` counts only in the neighbour,
/// which has it deeper inside; between the guards the weight goes from one to the other.
struct Overlap {
    int guard = 0;
    int ramp = 0;
    int step = 1;  ///< parts begin at multiples of it
    int length() const { return 2 * guard + ramp; }
    friend bool operator==(const Overlap&, const Overlap&) = default;
};

/// `count` parts of `side` samples, as equal as they can be, each overlapping the next by overlap.length().
class AxisCut {
  public:
    /// The parts must be as long as MostParts asks.
    AxisCut(int side, int count, const Overlap& overlap);

    int count() const { return count_; }

    /// What part n is computed from.
    Span Read(int n) const;

    /// Where its weight is above 0.
    Span Used(int n) const;

    /// Raised cosine in a ramp, 1 between; the weights of all parts at one position sum to 1.
    float Weight(int n, int position) const;

    /// Length of the longest part.
    int LongestPart() const;

    /// The part that has most weight at a position.
    int Owner(int position) const;

    /// Most parts such that each is as long as two overlaps, so that it has samples of its own and no two ramps
    /// meet; at least 1.
    static int MostParts(int side, const Overlap& overlap);

  private:
    int side_;
    int count_;
    Overlap overlap_;
    std::vector<float> rise_;  // weights of the later part along a ramp
};

}  // namespace rydecon
