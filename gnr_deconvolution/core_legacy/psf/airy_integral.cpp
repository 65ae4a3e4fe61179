// SPDX-License-Identifier: MIT
#include "psf/airy_integral.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "detail/parallel.h"
#include "psf/airy_reach.h"
#include "psf/bessel.h"
#include "psf/truncation.h"

namespace gnr::detail {

namespace {

/// Radii that share one set of nodes at most, so that runs spread over the threads.
constexpr int kLongestRun = 8;
/// Nodes held at a time.
constexpr int kNodeBlock = 256;

/// Composite Simpson rule on [0, M h] without the node at 0: even nodes, odd nodes, end, in this order.
class SimpsonNodes {
  public:
    explicit SimpsonNodes(std::int64_t intervals)
        : M_(intervals),
          even_(std::max<std::int64_t>(M_ / 2 - 1, 0)),
          odd_(std::max<std::int64_t>(M_ / 2, 0)) {}

    std::int64_t Count() const { return even_ + odd_ + 1; }
    double Weight(std::int64_t n) const { return n < even_ ? 2.0 : n < even_ + odd_ ? 4.0 : 1.0; }
    /// Node n of the interval [0, T].
    double Position(std::int64_t n, double T) const {
        const double h = T / static_cast<double>(M_);
        if (n < even_) return static_cast<double>(2 * (n + 1)) * h;
        if (n < even_ + odd_) return static_cast<double>(2 * (n - even_) + 1) * h;
        return T;
    }

  private:
    std::int64_t M_;
    std::int64_t even_;
    std::int64_t odd_;
};

}  // namespace

AiryIntegral::AiryIntegral(const SDiffractionParams& optics, float scale)
    : T_(HalfAngleTangent(optics)),
      k_(optics.dRefractiveIndex * (2 * std::numbers::pi) / optics.dWavelength),
      aberration_(optics.dSphericalAberration),
      pitch_(optics.dXYPitch),
      planePitch_(optics.dZPitch),
      scale_(scale) {}

double AiryIntegral::LateralArgument(int radius) const {
    return radius * k_ * pitch_ * scale_;
}

/// Grows in steps of 16 with defocus and radius, so that the oscillation of the integrand stays sampled. What
/// leaves 32 bits wraps around: an aperture at the refractive index then takes 16 intervals, not all of 2^32.
int AiryIntegral::Intervals(int planes, int radius) const {
    const auto oneMore = [](double v) { return WrapToInt32(1 - std::int64_t{TruncateToInt32(-v)}); };
    const std::int32_t forDefocus = oneMore(0.36 * std::abs(planes * k_ * planePitch_) * T_ / 6.0);
    const std::int32_t forRadius = oneMore(T_ * LateralArgument(radius) / 3.0);
    return WrapToInt32(std::int64_t{8} * std::max(forDefocus, forRadius) * 2);
}

AiryIntegral::Node AiryIntegral::WeightedNode(double t, double weight, double defocus) const {
    const double c = std::sqrt(t * t + 1);
    const double fraction = t / T_;
    const double phase = (aberration_ * (fraction * fraction * fraction * fraction) + defocus) * k_ / c;
    const double amplitude = weight * 0.5 * t;
    return {t, c, amplitude * std::cos(phase), amplitude * std::sin(phase)};
}

void AiryIntegral::TabulateRun(const RadiusRun& run, double defocus, double* entries) const {
    const SimpsonNodes simpson(run.intervals);
    std::array<Node, kNodeBlock> nodes;
    std::array<double, kLongestRun> re{};
    std::array<double, kLongestRun> im{};
    for (std::int64_t first = 0; first < simpson.Count(); first += kNodeBlock) {
        const auto count =
            static_cast<std::size_t>(std::min<std::int64_t>(kNodeBlock, simpson.Count() - first));
        for (std::size_t n = 0; n < count; ++n) {
            const std::int64_t node = first + static_cast<std::int64_t>(n);
            nodes[n] = WeightedNode(simpson.Position(node, T_), simpson.Weight(node), defocus);
        }
        for (int r = 0; r < run.count; ++r) {
            const auto radius = static_cast<std::size_t>(r);
            const double v = LateralArgument(run.first + r);
            for (std::size_t n = 0; n < count; ++n) {
                const double bessel = BesselJ0(nodes[n].t * v / nodes[n].c);
                re[radius] += nodes[n].re * bessel;
                im[radius] += nodes[n].im * bessel;
            }
        }
    }
    const double h = T_ / run.intervals;
    for (int r = 0; r < run.count; ++r) {
        const auto radius = static_cast<std::size_t>(r);
        entries[run.first + r] = (re[radius] * re[radius] + im[radius] * im[radius]) * h * h / 9.0;
    }
}

void AiryIntegral::Tabulate(int planes, double reach, RadialTable& table) const {
    const int entries = static_cast<int>(table.size());
    std::vector<RadiusRun> runs;
    int radius = 0;
    for (; radius < entries && !(radius > reach); ++radius) {
        const int intervals = Intervals(planes, radius);
        if (runs.empty() || runs.back().intervals != intervals || runs.back().count == kLongestRun) {
            runs.push_back({radius, 0, intervals});
        }
        ++runs.back().count;
    }
    std::fill(table.begin() + radius, table.end(), 0.0);

    const double defocus = planes * planePitch_;
    ParallelInTurn(static_cast<std::int64_t>(runs.size()), [&, this](std::int64_t i) {
        TabulateRun(runs[static_cast<std::size_t>(i)], defocus, table.data());
    });
}

}  // namespace gnr::detail
