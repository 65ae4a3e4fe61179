// SPDX-License-Identifier: MIT

#include "random/random_numbers.h"

#include <bit>
#include <cmath>
#include <numbers>

namespace rydecon {
namespace {

// Smallest mean for which PTRS is valid.
constexpr double kRejectionFrom = 10.0;

// Throws of a coin that are cheaper bit by bit.
constexpr double kMostBits = 256.0;

// Finalizer of SplitMix64 (Steele, Lea and Flood 2014): neighbouring numbers become unlike ones.
std::uint64_t Scrambled(std::uint64_t word) {
    word += 0x9e3779b97f4a7c15U;
    word = (word ^ (word >> 30)) * 0xbf58476d1ce4e5b9U;
    word = (word ^ (word >> 27)) * 0x94d049bb133111ebU;
    return word ^ (word >> 31);
}

// ln(n!) by Stirling's series, which is exact to double from 10 on; std::lgamma writes to a global.
double LogFactorial(double n) {
    if (n < 10.0) return std::log(std::tgamma(n + 1.0));
    const double m = n + 1.0;
    const double inverse = 1.0 / m;
    const double square = inverse * inverse;
    const double series =
        inverse * (1.0 / 12.0 - square * (1.0 / 360.0 - square * (1.0 / 1260.0 - square / 1680.0)));
    return (m - 0.5) * std::log(m) - m + 0.5 * std::log(2.0 * std::numbers::pi) + series;
}

}  // namespace

RandomNumbers::RandomNumbers(std::uint64_t seed, std::uint64_t stream)
    : engine_(Scrambled(Scrambled(seed) + stream)) {}

double RandomNumbers::Uniform() {
    return static_cast<double>(engine_() >> 11) * 0x1p-53;
}

double RandomNumbers::Normal() {
    const double radius = std::sqrt(-2.0 * std::log(1.0 - Uniform()));
    return radius * std::cos(2.0 * std::numbers::pi * Uniform());
}

double RandomNumbers::Poisson(double mean) {
    return mean < kRejectionFrom ? PoissonByProduct(mean) : PoissonByRejection(mean);
}

double RandomNumbers::PoissonByProduct(double mean) {
    const double bound = std::exp(-mean);
    double product = Uniform();
    double count = 0.0;
    while (product > bound) {
        product *= Uniform();
        ++count;
    }
    return count;
}

double RandomNumbers::PoissonByRejection(double mean) {
    // Names as in the publication: a, b shape the hat function, vr bounds the quick acceptance.
    const double b = 0.931 + 2.53 * std::sqrt(mean);
    const double a = -0.059 + 0.02483 * b;
    const double inverseAlpha = 1.1239 + 1.1328 / (b - 3.4);
    const double vr = 0.9277 - 3.6224 / (b - 2.0);
    const double logMean = std::log(mean);
    for (;;) {
        const double u = Uniform() - 0.5;
        const double v = Uniform();
        const double us = 0.5 - std::abs(u);
        const double k = std::floor((2.0 * a / us + b) * u + mean + 0.43);
        if (us >= 0.07 && v <= vr) return k;
        if (k < 0.0 || (us < 0.013 && v > us)) continue;
        const double height = std::log(v * inverseAlpha / (a / (us * us) + b));
        if (height <= k * logMean - mean - LogFactorial(k)) return k;
    }
}

double RandomNumbers::FairHeads(double count) {
    return count <= kMostBits ? HeadsByBits(static_cast<int>(count)) : HeadsByRejection(count);
}

double RandomNumbers::HeadsByBits(int count) {
    int heads = 0;
    for (; count >= 64; count -= 64) heads += std::popcount(engine_());
    if (count > 0) heads += std::popcount(engine_() >> (64 - count));
    return heads;
}

double RandomNumbers::HeadsByRejection(double count) {
    // Names as in the publication, for p = 1/2: a, b shape the hat function, vr bounds the quick acceptance, m
    // is the mode.
    const double deviation = 0.5 * std::sqrt(count);
    const double b = 1.15 + 2.53 * deviation;
    const double a = -0.0873 + 0.0248 * b + 0.01 * 0.5;
    const double vr = 0.92 - 4.2 / b;
    const double alpha = (2.83 + 5.1 / b) * deviation;
    const double m = std::floor((count + 1.0) / 2.0);
    const double logOfMode = LogFactorial(m) + LogFactorial(count - m);
    for (;;) {
        const double u = Uniform() - 0.5;
        const double v = Uniform();
        const double us = 0.5 - std::abs(u);
        const double k = std::floor((2.0 * a / us + b) * u + 0.5 * count + 0.5);
        if (us >= 0.07 && v <= vr) return k;
        if (k < 0.0 || k > count) continue;
        const double height = std::log(v * alpha / (a / (us * us) + b));
        if (height <= logOfMode - LogFactorial(k) - LogFactorial(count - k)) return k;
    }
}

}  // namespace rydecon
