// SPDX-License-Identifier: MIT
#pragma once

// The rectangle rule over the normalised pupil radius that both layered and simple defocus models use:
//
//   S(r, z) = sum over q = 0 .. 1023 of e(rho_q, z) J0(w(rho_q, r)) rho_q,   rho_q = q / 1024
//
// The phasor e knows the plane and not the radius, the Bessel factor knows the radius and not the plane, so
// each is evaluated once and the sum over pairs is left with two products.

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "detail/bessel.h"

namespace gnr::detail {

inline constexpr int kPupilNodes = 1024;

constexpr double PupilRadius(int q) {
    return q * (1.0 / kPupilNodes);
}

/// e(rho_q, z) of one plane.
struct PupilPhasors {
    std::array<double, kPupilNodes> re;
    std::array<double, kPupilNodes> im;
};

/// J0(w(rho_q, r)) rho_q for a run of radii; half a megabyte, which stays in the second-level cache.
class BesselTile {
  public:
    static constexpr int kRadii = 64;

    /// Throws std::bad_alloc.
    BesselTile() : weights_(std::size_t{kRadii} * kPupilNodes) {}

    /// argument(rho, r) for radii r from first to first + count - 1, count <= kRadii.
    /// Where: AllThreads or CallingThread, who evaluates the nodes.
    template <class Where, class Argument>
    void Fill(int first, int count, Argument argument) {
        filled_ = count;
        Where::For(kPupilNodes, [=, this](std::int64_t node) {
            const int q = static_cast<int>(node);
            const double rho = PupilRadius(q);
            for (int r = 0; r < count; ++r) {
                weights_[Index(q, r)] = BesselJ0(argument(rho, first + r)) * rho;
            }
        });
    }

    /// Radii that the last Fill evaluated.
    int Filled() const { return filled_; }

    /// sums[r] = S of the tile's first count radii.
    void Sum(const PupilPhasors& e, int count, std::complex<double>* sums) const {
        for (int first = 0; first < count; first += kLanes) {
            const Lanes block = SumBlock(e, weights_.data() + Index(0, first));
            for (int l = 0; l < kLanes && first + l < count; ++l) {
                const auto lane = static_cast<std::size_t>(l);
                sums[first + l] = {block.re[lane], block.im[lane]};
            }
        }
    }

  private:
    /// Radii summed side by side, each in the order of the nodes.
    static constexpr int kLanes = 8;

    struct Lanes {
        std::array<double, kLanes> re{};
        std::array<double, kLanes> im{};
    };

    static constexpr std::size_t Index(int q, int r) {
        const int blockNode = r / kLanes * kPupilNodes + q;
        return std::size_t{kLanes} * static_cast<std::size_t>(blockNode) +
               static_cast<std::size_t>(r % kLanes);
    }

    static Lanes SumBlock(const PupilPhasors& e, const double* weights) {
        Lanes sum;
        for (std::size_t q = 0; q < kPupilNodes; ++q) {
            const double* const weight = weights + q * kLanes;
            for (std::size_t l = 0; l < kLanes; ++l) {
                sum.re[l] += e.re[q] * weight[l];
                sum.im[l] += e.im[q] * weight[l];
            }
        }
        return sum;
    }

    int filled_ = 0;
    std::vector<double> weights_;  // blocks of kLanes radii; in a block, kLanes radii of each node
};

}  // namespace gnr::detail
