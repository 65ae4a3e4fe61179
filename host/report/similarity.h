// SPDX-License-Identifier: MIT
#pragma once

// How much two stacks of one shape have in common, gathered plane by plane.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace rydecon {

/// Numbers that tell how far a stack A lies from its reference B; empty where they are not defined.
struct Similarity {
    double rmse = 0.0;                // sqrt(mean((A - B)^2))
    std::optional<double> psnr;       // 20 log10(max(B) / rmse), dB; infinite for equal stacks
    std::optional<double> pearson;    // correlation of the samples; empty if A or B is constant
    std::optional<double> fluxRatio;  // sum(A) / sum(B); empty if sum(B) is 0
};

/// Sums over both stacks, all in double. The moments of each plane are taken about the plane's own mean and
/// then merged, so that a high background costs no digits (Chan, Golub and LeVeque 1983).
class SimilaritySums {
  public:
    /// Adds the samples of one plane, at least one; those that are not finite only count.
    void AddPlane(const float* a, const float* b, std::size_t samples);

    std::uint64_t nonFiniteA() const { return nonFiniteA_; }
    std::uint64_t nonFiniteB() const { return nonFiniteB_; }

    /// Of all planes so far, which held finite samples only.
    Similarity Result() const;

  private:
    struct Range {
        float least = std::numeric_limits<float>::infinity();
        float largest = -std::numeric_limits<float>::infinity();
        void Add(float sample);
        bool Constant() const { return !(least < largest); }
    };

    double count_ = 0.0;
    double sumA_ = 0.0;
    double sumB_ = 0.0;
    double squareA_ = 0.0;  // sums about the means
    double squareB_ = 0.0;
    double product_ = 0.0;
    double squaredDifference_ = 0.0;
    Range rangeA_;
    Range rangeB_;
    std::uint64_t nonFiniteA_ = 0;
    std::uint64_t nonFiniteB_ = 0;
};

}  // namespace rydecon
