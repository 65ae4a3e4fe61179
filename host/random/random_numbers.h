// SPDX-License-Identifier: MIT
#pragma once

// Random numbers that are the same for a seed with every standard library: the engine of <random> is
// specified to the bit, its distributions are not.

#include <cstdint>
#include <random>

namespace rydecon {

class RandomNumbers {
  public:
    /// Streams of one seed are independent of each other.
    RandomNumbers(std::uint64_t seed, std::uint64_t stream);

    /// In [0, 1), a multiple of 2^-53.
    double Uniform();

    /// In [low, high).
    double Uniform(double low, double high) { return low + (high - low) * Uniform(); }

    /// Mean 0, standard deviation 1 (Box and Muller 1958).
    double Normal();

    /// Exact for every mean, which is finite and not negative. Below 10 the product of uniforms (Knuth, The
    /// Art of Computer Programming 2, section 3.4.1), above the transformed rejection PTRS (Hoermann 1993).
    double Poisson(double mean);

    /// Heads among `count` throws of a fair coin, exact for every whole count from 0 to 2^53. Up to 256 one
    /// random bit a throw, above the transformed rejection BTRS (Hoermann 1993).
    double FairHeads(double count);

  private:
    double PoissonByProduct(double mean);
    double PoissonByRejection(double mean);
    double HeadsByBits(int count);
    double HeadsByRejection(double count);

    std::mt19937_64 engine_;
};

}  // namespace rydecon
