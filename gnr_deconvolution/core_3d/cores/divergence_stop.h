// SPDX-License-Identifier: MIT
#pragma once

// The automatic stop on the I-divergence between estimate and observed image.

namespace gnr::detail {

/// D grows while the restoration sharpens, so r = D(1) / D falls from 1; the end comes when that stops.
class DivergenceStop {
  public:
    explicit DivergenceStop(double stopRatio) : stopRatio_(stopRatio) {}

    /// To be asked at the head of each iteration k above 0, with the mean I-divergence of x from g over the
    /// image box. True where iteration k shall be the last.
    bool IsLast(unsigned k, double divergence) {
        if (k == 1) {
            first_ = divergence;
            return false;
        }
        const double r = first_ / divergence;
        // The second clause follows from the first for a positive r and a stop ratio above 1.
        const bool last = k >= 5 && (r > before_ || r / before_ > stopRatio_);
        before_ = r;
        return last;
    }

  private:
    double stopRatio_;
    double first_ = 0.0;
    double before_ = 1.0;
};

}  // namespace gnr::detail
