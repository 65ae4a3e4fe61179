// SPDX-License-Identifier: MIT
#pragma once

// The automatic stop of the plain Landweber method on pictures.

#include "cores/divergence_stop.h"

namespace gnr::detail {

/// As DivergenceStop, but a divergence of 0, which has no ratio, changes nothing after the first.
class ZeroSkippingStop {
  public:
    explicit ZeroSkippingStop(double stopRatio) : stop_(stopRatio) {}

    /// To be asked at the head of each iteration i above 0; true where it shall be the last.
    bool IsLast(unsigned i, double divergence) {
        return (i == 1 || divergence != 0.0) && stop_.IsLast(i, divergence);
    }

  private:
    DivergenceStop stop_;
};

}  // namespace gnr::detail
