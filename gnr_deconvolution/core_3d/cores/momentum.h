// SPDX-License-Identifier: MIT
#pragma once

// The momentum of accelerated gradient steps.

#include <cmath>

namespace gnr::detail {

/// t' = (1 + sqrt(1 + 4 t^2)) / 2, from t = 1; an iterate is extrapolated by (t - 1) / t'.
/// Source   Nesterov 1983 (docs/bibliography.md)
class Momentum {
  public:
    /// The factor of this iteration; 0 in the first one.
    float NextFactor() {
        const double next = (std::sqrt(4.0 * t_ * t_ + 1.0) + 1.0) * 0.5;
        const auto factor = static_cast<float>((t_ - 1.0) / next);
        t_ = next;
        return factor;
    }
    void Restart() { t_ = 1.0; }

  private:
    double t_ = 1.0;
};

}  // namespace gnr::detail
