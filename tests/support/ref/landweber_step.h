// SPDX-License-Identifier: MIT
#pragma once

// What all Landweber forms share: the gradient step, the momentum sequence, and a disturbance that shows how
// far rounding can carry a run.

#include <algorithm>
#include <cmath>
#include <random>

#include "support/ref/padded_volume.h"

namespace gnr::ref {

/// Step length of the forms without momentum, in single precision.
inline constexpr double kOverRelaxation = 1.7f;

/// Random errors, relative to the largest value, as single precision would make them. With none a run is
/// exact; the distance of a disturbed run from the exact one is what rounding may do to it.
struct Disturbance {
    double relative = 0;
    unsigned seed = 1;
};

class Disturber {
  public:
    explicit Disturber(const Disturbance& disturbance)
        : relative_(disturbance.relative), engine_(disturbance.seed) {}

    void operator()(PaddedVolume& v) { Disturb(v.values); }
    void operator()(RealVolume& v) { Disturb(v.values); }

  private:
    void Disturb(std::vector<double>& values) {
        if (relative_ == 0) return;
        double largest = 0;
        for (const double value : values) largest = std::max(largest, std::abs(value));
        std::uniform_real_distribution<double> error(-relative_ * largest, relative_ * largest);
        for (double& value : values) value += error(engine_);
    }

    double relative_;
    std::mt19937 engine_;
};

inline PaddedVolume Difference(const PaddedVolume& a, const PaddedVolume& b) {
    PaddedVolume d = a;
    for (std::size_t n = 0; n < d.values.size(); ++n) d.values[n] -= b.values[n];
    return d;
}

inline void AddScaled(PaddedVolume& a, double factor, const PaddedVolume& b) {
    for (std::size_t n = 0; n < a.values.size(); ++n) a.values[n] += factor * b.values[n];
}

/// H^T (g - H y).
inline PaddedVolume Gradient(const PaddedVolume& observed, const PaddedVolume& y, const ComplexVolume& otf,
                             Disturber& disturb) {
    PaddedVolume blurred = Blur(y, otf);
    disturb(blurred);
    PaddedVolume gradient = BlurAdjoint(Difference(observed, blurred), otf);
    disturb(gradient);
    return gradient;
}

/// Nesterov 1983: t' = (1 + sqrt(1 + 4 t^2)) / 2.
inline double NextMomentum(double t) {
    return (std::sqrt(4 * t * t + 1) + 1) * 0.5;
}

}  // namespace gnr::ref
