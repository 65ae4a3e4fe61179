// SPDX-License-Identifier: MIT
#pragma once

// Running extremes of a field that 0 always belongs to.

#include <algorithm>

#include "detail/lanes4.h"

namespace gnr::detail {

/// Least and greatest of 0 and the values met. A NaN is never taken.
struct Extremes {
    float least = 0.0f;
    float greatest = 0.0f;

    void Join(const Extremes& other) {
        least = std::min(least, other.least);
        greatest = std::max(greatest, other.greatest);
    }
};

/// The same for four lanes at a time. Lanes of a partial group that hold 0 change nothing.
class LaneExtremes {
  public:
    void Take(Lanes4 v) {
        least_ = Min(v, least_);
        greatest_ = Max(v, greatest_);
    }
    Extremes AllLanes() const { return {LeastLane(least_), GreatestLane(greatest_)}; }

  private:
    Lanes4 least_{0.0f};
    Lanes4 greatest_{0.0f};
};

}  // namespace gnr::detail
