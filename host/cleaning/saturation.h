// SPDX-License-Identifier: MIT
#pragma once

// Samples that lost what was above the top of their scale.

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace rydecon {

struct Saturation {
    long long samples = 0;  ///< 0: none is told, which a single one never is
    double level = 0.0;
};

/// Counts the levels of a stack. Only integer types have a top; of those of 32 bits the type's own alone.
class LevelCount {
  public:
    /// sampleType       "uint16", ..., as in a stack's header
    /// significantBits  where the file tells that fewer bits than the type's are used
    explicit LevelCount(const std::string& sampleType, std::optional<int> significantBits = {});

    /// Whether the type has a top at all.
    bool counts() const { return top_ > 0.0; }

    void Add(const float* samples, std::size_t count);

    /// Samples at the top of the type or of its significant bits where there are two or more; else those at
    /// the largest level where they stand apart: a plateau has at least ten times as many samples as the
    /// levels of the 64th part below it, twice as many where it lies at 2^n - 1, and no more than half of all.
    Saturation Find() const;

  private:
    long long CountFrom(double level) const;
    long long CountBetween(int from, int to) const;

    double top_ = 0.0;           // of the type; 0 for floats
    double told_ = 0.0;          // of the significant bits; 0: as the type
    std::vector<long long> at_;  // each level of a type up to 16 bits, from kLeastLevel on
    long long atTop_ = 0;
    long long all_ = 0;
};

}  // namespace rydecon
