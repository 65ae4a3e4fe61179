// SPDX-License-Identifier: MIT
#pragma once

// How strongly the bands of a wavelet pyramid are coupled with one another, and the steps that follow.

#include <array>
#include <cstddef>

namespace gnr::detail {

/// Couplings of all pairs of bands, numbered level by level; those never set are 0.
template <std::size_t kMostBands>
class CouplingTable {
  public:
    /// A coupling holds in both directions.
    void Set(std::size_t a, std::size_t b, double coupling) {
        couplings_[a][b] = couplings_[b][a] = coupling;
    }

    /// The step of a band is 1 over this: its couplings summed, plus 0.01, at least 0.25 and so for a NaN.
    double Divisor(std::size_t band) const {
        double sum = 0.0;
        for (const double coupling : couplings_[band]) sum += coupling;
        const double divisor = sum + 0.01;
        return divisor > 0.25 ? divisor : 0.25;
    }

  private:
    std::array<std::array<double, kMostBands>, kMostBands> couplings_{};
};

}  // namespace gnr::detail
