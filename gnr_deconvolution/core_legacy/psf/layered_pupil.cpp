// SPDX-License-Identifier: MIT
#include "psf/layered_pupil.h"

#include <cmath>
#include <cstddef>

#include "detail/two_pi.h"

namespace gnr::detail {

namespace {

using Complex = std::complex<double>;

constexpr double kMetresPerMicrometre = 1e-06;
constexpr double kMetresPerNanometre = 1e-09;

}  // namespace

LayeredOptics::LayeredOptics(const SDiffractionParamsEx& params)
    : aperture(params.dNA),
      immersionIndex(params.dRefractiveIndex),
      sampleIndex(params.dSampleRefractiveIndex),
      k(kTwoPi / (params.dEmissionWavelength * kMetresPerMicrometre)),
      depth(params.dDepthNm * kMetresPerNanometre),
      alpha(std::asin(params.dNA / params.dRefractiveIndex)),
      g(alpha / params.dNA),
      pitch(params.dXYPitch * kMetresPerMicrometre),
      planePitch(params.dZPitch * kMetresPerMicrometre),
      inverted(params.bInvertZ) {}

LayeredPupil::LayeredPupil(const LayeredOptics& optics, int nodes)
    : k_(optics.k), depth_(optics.depth), g_(optics.g), nodes_(static_cast<std::size_t>(nodes)) {
    const double NA = optics.aperture;
    for (int q = 0; q < nodes; ++q) {
        const double rho = Rho(q);
        const double A = optics.sampleIndex * optics.sampleIndex - NA * NA * rho * rho;
        const double B = optics.immersionIndex * optics.immersionIndex - NA * NA * rho * rho;
        nodes_[static_cast<std::size_t>(q)] = {A >= 0 && B >= 0, std::sqrt(Complex(A, 0.0)),
                                               std::sqrt(Complex(B, 0.0))};
    }
}

Complex LayeredPupil::Phasor(int q, double z) const {
    const Node& node = nodes_[static_cast<std::size_t>(q)];
    if (node.propagating) {
        const double angle = (node.sample.real() * depth_ - node.immersion.real() * z) * k_;
        return {std::cos(angle), std::sin(angle)};
    }
    const Complex path = depth_ * node.sample - z * node.immersion;
    return std::exp(Complex(-k_ * path.imag(), k_ * path.real()));
}

Complex LayeredPupil::OnAxis(double z) const {
    Complex sum = 0.0;
    for (int q = 0; q < Nodes(); ++q) sum += Phasor(q, z) * Rho(q);
    return sum / static_cast<double>(Nodes()) * 1.0 / g_;
}

}  // namespace gnr::detail
