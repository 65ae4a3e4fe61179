// SPDX-License-Identifier: MIT

// Focal field of an aplanatic lens. Richards and Wolf 1959 (docs/bibliography.md).

#include <gnr_deconvolution/psf_2d.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "detail/bessel.h"
#include "detail/two_pi.h"
#include "kernels/frame_blocks.h"

namespace {

using namespace gnr::detail;

/// Phasors are kept for all columns up to this many, and computed for each sample beyond.
constexpr std::uint64_t kMostPhasors = std::uint64_t{1} << 22;

/// The factors of one pupil angle that depend on the radial coordinate: of I0, I1 and I2.
struct Weights {
    double a0;
    double a1;
    double a2;
};

/// exp(i psi), the factor that depends on the axial coordinate.
struct Phasor {
    double re;
    double im;
};

/// The sums over the pupil angles t = i alpha / n.
class FocalIntegrals {
  public:
    FocalIntegrals(double alpha, double waveNumber, unsigned steps)
        : alpha_(alpha), waveNumber_(waveNumber), steps_(steps) {}

    Weights WeightsAt(double v, unsigned i) const {
        const double t = Angle(i);
        const double sine = std::sin(t);
        const double cosine = std::cos(t);
        const double r = waveNumber_ * kTwoPi * v * sine;
        const double root = std::sqrt(cosine);
        return {BesselJ0(r) * root * sine * (cosine + 1.0), BesselJ1(r) * root * sine * sine,
                BesselJ2(r) * root * sine * (1.0 - cosine)};
    }
    Phasor PhasorAt(double u, unsigned i) const {
        const double psi = waveNumber_ * kTwoPi * u * std::cos(Angle(i));
        return {std::cos(psi), std::sin(psi)};
    }

    /// Intensity from weights(i) and phasor(i).
    template <class WeightsOf, class PhasorOf>
    float Intensity(WeightsOf weights, PhasorOf phasor) const {
        double re[3] = {};
        double im[3] = {};
        for (unsigned i = 0; i < steps_; ++i) {
            const Weights a = weights(i);
            const Phasor e = phasor(i);
            re[0] += e.re * a.a0;
            im[0] += e.im * a.a0;
            re[1] += e.re * a.a1;
            im[1] += e.im * a.a1;
            re[2] += e.re * a.a2;
            im[2] += e.im * a.a2;
        }
        const auto square = [this](double part) {
            const auto value = static_cast<float>(part * alpha_ / steps_);
            return value * value;
        };
        return 2.0f * (square(re[1]) + square(im[1])) + square(re[0]) + square(im[0]) + square(re[2]) +
               square(im[2]);
    }

    unsigned steps() const { return steps_; }

  private:
    double Angle(unsigned i) const { return i * alpha_ / steps_; }

    double alpha_;
    double waveNumber_;
    unsigned steps_;
};

/// Coordinate of sample i of a side of n samples, 0 in the middle.
double CoordinateOf(unsigned i, unsigned n, double span) {
    return ((i - n * 0.5) * span) / n;
}

}  // namespace

void FloatPSF2D::GeneratePSFOrtho(float* pf, unsigned w, unsigned h, double dSpan, double dAlpha,
                                  double dWaveNumber, unsigned uiSteps) {
    const FocalIntegrals integrals(dAlpha, dWaveNumber, uiSteps);
    const unsigned focus = w / 2;
    const std::size_t n = uiSteps;

    // Both tables only spare evaluations: without them every sample makes its own.
    const FrameBlock<Weights> weights = NewFrame<Weights>(uiSteps, 1, Contents::kUnknown);
    const bool keepsPhasors = (std::uint64_t{focus} + 1) * n <= kMostPhasors;
    const FrameBlock<Phasor> phasors =
        keepsPhasors ? NewFrame<Phasor>(uiSteps, focus + 1, Contents::kUnknown) : nullptr;
    for (unsigned x = 0; phasors != nullptr && x <= focus; ++x) {
        const double u = CoordinateOf(x, w, dSpan);
        for (unsigned i = 0; i < uiSteps; ++i) phasors[x * n + i] = integrals.PhasorAt(u, i);
    }

    for (unsigned y = 0; y < h; ++y) {
        const double v = CoordinateOf(y, h, dSpan);
        for (unsigned i = 0; weights != nullptr && i < uiSteps; ++i) weights[i] = integrals.WeightsAt(v, i);
        float* const row = pf + std::size_t{y} * w;
        for (unsigned x = 0; x < w; ++x) {
            if (x > focus) {
                row[x] = 0.0f;
                continue;
            }
            const double u = CoordinateOf(x, w, dSpan);
            row[x] = integrals.Intensity(
                [&](unsigned i) { return weights != nullptr ? weights[i] : integrals.WeightsAt(v, i); },
                [&](unsigned i) {
                    return phasors != nullptr ? phasors[x * n + i] : integrals.PhasorAt(u, i);
                });
        }
    }
}
