// SPDX-License-Identifier: MIT
#include "psf/airy_integral.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "detail/bessel.h"
#include "detail/parallel.h"
#include "psf/airy_reach.h"
#include "psf/truncation.h"

namespace gnr::detail {

namespace {

constexpr int kRadiiOfRun = 8;
constexpr std::size_t kNodesOfBlock = 256;
constexpr std::int64_t kNoIntervals = std::numeric_limits<std::int64_t>::max();

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

/// Some nodes of one interval count, and the factors of the integrand at them.
struct AiryIntegral::NodeBlock {
    using PerNode = std::array<double, kNodesOfBlock>;

    std::int64_t intervals;
    std::size_t count;
    PerNode t;
    PerNode c;          ///< sqrt(1 + t^2)
    PerNode amplitude;  ///< Simpson weight times t / 2
    PerNode re;         ///< amplitude times the phasor of the plane at hand
    PerNode im;
    std::array<PerNode, kRadiiOfRun> bessel;

    void Place(const SimpsonNodes& simpson, std::int64_t first, double T) {
        count = static_cast<std::size_t>(
            std::min<std::int64_t>(std::int64_t{kNodesOfBlock}, simpson.Count() - first));
        for (std::size_t n = 0; n < count; ++n) {
            const std::int64_t node = first + static_cast<std::int64_t>(n);
            t[n] = simpson.Position(node, T);
            c[n] = std::sqrt(t[n] * t[n] + 1);
            amplitude[n] = simpson.Weight(node) * 0.5 * t[n];
        }
    }

    void AddTo(std::complex<double>& sum, int radiusOfRun) const {
        const PerNode& factor = bessel[static_cast<std::size_t>(radiusOfRun)];
        double sumRe = sum.real();
        double sumIm = sum.imag();
        for (std::size_t n = 0; n < count; ++n) {
            sumRe += re[n] * factor[n];
            sumIm += im[n] * factor[n];
        }
        sum = {sumRe, sumIm};
    }
};

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
int AiryIntegral::Intervals(int offset, int radius) const {
    const auto oneMore = [](double v) { return WrapToInt32(1 - std::int64_t{TruncateToInt32(-v)}); };
    const std::int32_t forDefocus = oneMore(0.36 * std::abs(offset * k_ * planePitch_) * T_ / 6.0);
    const std::int32_t forRadius = oneMore(T_ * LateralArgument(radius) / 3.0);
    return WrapToInt32(std::int64_t{8} * std::max(forDefocus, forRadius) * 2);
}

/// Whether the plane needs this radius, on the nodes of this interval count.
bool AiryIntegral::Shares(const AiryPlane& plane, int radius, std::int64_t intervals) const {
    return !(radius > plane.reach) && Intervals(plane.offset, radius) == intervals;
}

/// The least interval count above `after` that any plane needs in the run.
std::int64_t AiryIntegral::NextIntervals(const std::vector<AiryPlane>& planes, const RadiusRun& run,
                                         std::int64_t after) const {
    std::int64_t next = kNoIntervals;
    for (const AiryPlane& plane : planes) {
        for (int r = run.first; r < run.first + run.count && !(r > plane.reach); ++r) {
            const std::int64_t intervals = Intervals(plane.offset, r);
            if (intervals > after) next = std::min(next, intervals);
        }
    }
    return next;
}

void AiryIntegral::EvaluatePhasors(int offset, NodeBlock& block) const {
    const double defocus = offset * planePitch_;
    for (std::size_t n = 0; n < block.count; ++n) {
        const double fraction = block.t[n] / T_;
        const double bulge = aberration_ * (fraction * fraction * fraction * fraction);
        const double phase = (bulge + defocus) * k_ / block.c[n];
        block.re[n] = block.amplitude[n] * std::cos(phase);
        block.im[n] = block.amplitude[n] * std::sin(phase);
    }
}

/// Adds the nodes of the block to every sum that shares them.
void AiryIntegral::AddNodes(const std::vector<AiryPlane>& planes, const RadiusRun& run, NodeBlock& block,
                            std::vector<Sums>& sums) const {
    for (int r = 0; r < run.count; ++r) {
        const int radius = run.first + r;
        const auto shares = [&](const AiryPlane& plane) { return Shares(plane, radius, block.intervals); };
        if (std::none_of(planes.begin(), planes.end(), shares)) continue;
        const double v = LateralArgument(radius);
        NodeBlock::PerNode& bessel = block.bessel[static_cast<std::size_t>(r)];
        for (std::size_t n = 0; n < block.count; ++n) bessel[n] = BesselJ0(block.t[n] * v / block.c[n]);
    }
    for (std::size_t p = 0; p < planes.size(); ++p) {
        bool evaluated = false;
        for (int r = 0; r < run.count; ++r) {
            if (!Shares(planes[p], run.first + r, block.intervals)) continue;
            if (!evaluated) EvaluatePhasors(planes[p].offset, block);
            evaluated = true;
            block.AddTo(*(sums[p].begin() + run.first + r), r);
        }
    }
}

void AiryIntegral::IntegrateRun(const std::vector<AiryPlane>& planes, const RadiusRun& run,
                                std::vector<Sums>& sums) const {
    NodeBlock block;
    block.intervals = NextIntervals(planes, run, -kNoIntervals);
    while (block.intervals != kNoIntervals) {
        const SimpsonNodes simpson(block.intervals);
        for (std::int64_t first = 0; first < simpson.Count(); first += kNodesOfBlock) {
            block.Place(simpson, first, T_);
            AddNodes(planes, run, block, sums);
        }
        block.intervals = NextIntervals(planes, run, block.intervals);
    }
}

void AiryIntegral::Tabulate(std::vector<AiryPlane>& planes, std::size_t entries) const {
    std::vector<Sums> sums(planes.size(), Sums(entries));
    int radii = 0;
    for (AiryPlane& plane : planes) {
        plane.table.assign(entries, 0.0);
        while (radii < static_cast<int>(entries) && !(radii > plane.reach)) ++radii;
    }
    ParallelInTurn((radii + kRadiiOfRun - 1) / kRadiiOfRun, [&, this](std::int64_t i) {
        const int first = static_cast<int>(i) * kRadiiOfRun;
        IntegrateRun(planes, {first, std::min(kRadiiOfRun, radii - first)}, sums);
    });
    for (std::size_t p = 0; p < planes.size(); ++p) {
        for (int r = 0; r < radii && !(r > planes[p].reach); ++r) {
            const auto entry = static_cast<std::size_t>(r);
            const double h = T_ / Intervals(planes[p].offset, r);
            planes[p].table[entry] = std::norm(sums[p][entry]) * h * h / 9.0;
        }
    }
}

}  // namespace gnr::detail
