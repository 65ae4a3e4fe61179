// SPDX-License-Identifier: MIT
#pragma once

// All tolerances of comparisons that are not bit for bit, each with its reason.

#include <cmath>
#include <limits>

namespace gnr::test {

/// Single-precision transforms against a double-precision one: rounding grows with the number of butterfly
/// stages, so the bound is c eps log2 N relative to the largest value; c = 4 leaves room for prime lengths.
inline double TransformTolerance(double samples, double largest) {
    const double eps = std::numeric_limits<float>::epsilon();
    return 4.0 * eps * (std::log2(samples) + 1.0) * largest;
}

/// Parallel sums in double, rounded to float: one rounding at the end, the order of additions is far below
/// it.
inline constexpr double kParallelSumRelative = 1.2e-7;

/// Means in double of some thousand terms of one magnitude, against extended precision: about one rounding a
/// term, most of which cancel.
inline constexpr double kIDivergenceRelative = 1e-12;

/// Direct Wiener filter in float against double, relative to the largest restored sample before the cut:
/// three transforms of a few thousand samples (2e-6 each at the most) and a filter that amplifies by at most
/// 1 / (2 sqrt(K)) = 5 what the first two leave.
inline constexpr double kWienerRelative = 1e-5;

/// Iterated restorations against a double-precision twin: every step makes two or three pairs of transforms,
/// each pair good to a fraction of the transform bound, relative to the largest sample; steps add up. For
/// over-relaxed steps `steps` is the growth of errors that their lengths make.
inline double RestorationTolerance(double samples, double steps, double largest) {
    return 0.25 * (1.0 + steps) * TransformTolerance(samples, largest);
}

/// Where a comparison decides how an algorithm goes on, the twin must see its two sides at least this far
/// apart, relatively: ten times what single precision moves them in the cases compared.
inline constexpr double kDecisionMargin = 1e-4;

/// Back-projections on either side of the bound below which an exponent leaves a sample out must be this far
/// from it, relative to the largest: ten times the rounding of two pairs of transforms.
inline constexpr double kSkipMargin = 1e-5;

/// Blurred estimates that are divided by must be this large, relative to the largest: the rounding of their
/// transforms then stays a small part of the quotient.
inline constexpr double kBlurMargin = 1e-4;

/// Trials of a line search are told apart for certain where their gains differ by this part of the bound of
/// their rounding: the roundings of many samples cancel for the most part.
inline constexpr double kGainMargin = 0.5;

/// The bound of the step is 1 / (1 - r) with r the smallest factor of the plain step, so it magnifies the
/// rounding of r by itself.
inline constexpr double kBoundMargin = 5e-3;

/// Terms of the damped likelihood in single precision: a few roundings of each summand, one of the logarithm.
inline constexpr double kDampedTerm = 4e-7;

/// Damped ratios where observed and estimate lie a tenth apart or more: u keeps four digits, and an exponent
/// N - 1 of up to 6.5 multiplies their error.
inline constexpr double kDampedRatio = 2e-4;

/// Sums of likelihood terms: random roundings of the terms.
inline constexpr double kLikelihoodRelative = 1e-6;

/// Exponents below 1 divide by a power of u, which vanishes where observed and estimate agree; twins can be
/// compared only where they lie this far apart, relatively.
inline constexpr double kDampingContrast = 0.01;

/// What is left of that there: u, about the square of the contrast, is good to a few last digits of 1.
inline double WeakDampingTolerance(double contrast, double largest) {
    return std::numeric_limits<float>::epsilon() / (contrast * contrast) * largest;
}

/// PSF patterns against their plain loops, relative to the peak: both integrate in double, what differs is the
/// order of products, and one rounding to float (6e-8).
inline constexpr double kPsfToPeak = 2e-7;

}  // namespace gnr::test
