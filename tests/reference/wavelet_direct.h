// SPDX-License-Identifier: MIT
#pragma once

// The wavelet transforms by their definition: one sum over all taps of all axes for each coefficient, in
// double.

#include <array>
#include <cstddef>
#include <vector>

namespace gnr::ref {

struct WaveletPair {
    std::vector<double> father, mother;

    const std::vector<double>& Filter(bool low) const { return low ? father : mother; }
};

/// f(sample, coefficient, weight) for every weight that ties a sample of a volume of sides `n` to a
/// coefficient of band `band`, once each.
template <class F>
void ForEachWeight(const WaveletPair& pair, std::array<std::size_t, 3> n, unsigned band, F f) {
    const auto& fx = pair.Filter((band & 1) != 0);
    const auto& fy = pair.Filter((band & 2) != 0);
    const auto& fz = pair.Filter((band & 4) != 0);
    std::size_t coefficient = 0;
    for (std::size_t k = 0; k < n[2]; k += 2) {
        for (std::size_t j = 0; j < n[1]; j += 2) {
            for (std::size_t i = 0; i < n[0]; i += 2, ++coefficient) {
                for (std::size_t c = 0; c < fz.size(); ++c) {
                    for (std::size_t b = 0; b < fy.size(); ++b) {
                        for (std::size_t a = 0; a < fx.size(); ++a) {
                            const std::size_t plane = (k + c) % n[2];
                            const std::size_t row = (j + b) % n[1];
                            const std::size_t column = (i + a) % n[0];
                            f((plane * n[1] + row) * n[0] + column, coefficient, fx[a] * fy[b] * fz[c]);
                        }
                    }
                }
            }
        }
    }
}

/// Band `band` of a volume of sides `n`.
inline std::vector<double> DirectBand(const WaveletPair& pair, const std::vector<double>& volume,
                                      std::array<std::size_t, 3> n, unsigned band) {
    std::vector<double> coefficients(volume.size() / 8, 0.0);
    ForEachWeight(pair, n, band, [&](std::size_t sample, std::size_t coefficient, double weight) {
        coefficients[coefficient] += weight * volume[sample];
    });
    return coefficients;
}

/// Adds what band `band` contributes to a volume of sides `n`.
inline void AddDirectBand(const WaveletPair& pair, const std::vector<double>& coefficients, unsigned band,
                          std::array<std::size_t, 3> n, std::vector<double>& volume) {
    ForEachWeight(pair, n, band, [&](std::size_t sample, std::size_t coefficient, double weight) {
        volume[sample] += weight * coefficients[coefficient];
    });
}

}  // namespace gnr::ref
