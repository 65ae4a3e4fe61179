// SPDX-License-Identifier: MIT
#pragma once

// Natural and decimal logarithm without branches or tables, so that a loop over samples becomes vector code,
// and two narrower forms for sweeps that they bound.
//
//   x = 2^k (1 + f),  1 + f in [sqrt(1/2), sqrt(2))
//   s = f / (2 + f),  ln(1 + f) = f - f^2 / 2 + s (f^2 / 2 + R(s^2))
//
// with R the minimax polynomial of (ln((1 + s) / (1 - s)) - 2 s) / s. Error below 1 unit in the last place in
// both precisions. 0 gives -infinity, a negative number or a NaN gives NaN, infinity itself. Source: the
// scheme and the coefficients of K. C. Ng's log of the freely distributable math library, 1993
// (docs/bibliography.md).

#include <processor/multiply_add.h>

#include <bit>
#include <cstdint>
#include <limits>

namespace gnr::detail {

/// x = 2^k (1 + f) in float, and ln(1 + f) = f - halfSquare + rest.
struct FloatLogParts {
    float k;
    float f;
    float halfSquare;
    float rest;
};

inline FloatLogParts SplitForLog(float x) {
    constexpr float Lg1 = 0xaaaaaa.0p-24f;
    constexpr float Lg2 = 0xccce13.0p-25f;
    constexpr float Lg3 = 0x91e9ee.0p-25f;
    constexpr float Lg4 = 0xf89e26.0p-26f;
    constexpr std::uint32_t one = 0x3f800000;
    constexpr std::uint32_t sqrtHalf = 0x3f3504f3;

    // Subnormals are brought into the normal range by 2^25. The mask is arithmetic and no choice: a compiler
    // that parts the way there computes the whole logarithm twice.
    const std::uint32_t ifSubnormal = 0u - static_cast<std::uint32_t>(x < std::numeric_limits<float>::min());
    const float lift = std::bit_cast<float>(one + (ifSubnormal & (25u << 23)));
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(x * lift) + (one - sqrtHalf);
    const auto exponent = static_cast<std::int32_t>((bits >> 23) - (ifSubnormal & 25u)) - 0x7f;
    const auto k = static_cast<float>(exponent);
    const float f = std::bit_cast<float>((bits & 0x007fffffu) + sqrtHalf) - 1.0f;

    const float s = f / (2.0f + f);
    const float z = s * s;
    const float w = z * z;
    const float R = z * (Lg1 + w * Lg3) + w * (Lg2 + w * Lg4);
    const float halfSquare = 0.5f * f * f;
    return {k, f, halfSquare, s * (halfSquare + R)};
}

/// `ofFinite` for positive finite x, and what a logarithm is elsewhere.
inline float WithSpecialLogs(float x, float ofFinite) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const float ofSpecial = x == 0.0f ? -infinity : std::numeric_limits<float>::quiet_NaN();
    const float ofPositive = x < infinity ? ofFinite : x;
    return x > 0.0f ? ofPositive : ofSpecial;
}

inline float NaturalLog(float x) {
    constexpr float ln2High = 6.9313812256e-01f;
    constexpr float ln2Low = 9.0580006145e-06f;
    const auto [k, f, halfSquare, rest] = SplitForLog(x);
    return WithSpecialLogs(x, rest + k * ln2Low - halfSquare + f + k * ln2High);
}

/// ln(1 + f) is split into a part of twelve bits, whose product with the upper part of 1 / ln(10) is exact, and
/// what is left.
inline float DecimalLog(float x) {
    constexpr float perLn10High = 4.3432617188e-01f;
    constexpr float perLn10Low = -3.1689971365e-05f;
    constexpr float log2High = 3.0102920532e-01f;
    constexpr float log2Low = 7.9034151668e-07f;
    const auto [k, f, halfSquare, rest] = SplitForLog(x);
    const float high = std::bit_cast<float>(std::bit_cast<std::uint32_t>(f - halfSquare) & 0xfffff000u);
    const float low = (f - high) - halfSquare + rest;
    return WithSpecialLogs(
        x, k * log2Low + (low + high) * perLn10Low + low * perLn10High + high * perLn10High + k * log2High);
}

/// Of a normal positive float or infinity; of anything else the value is no logarithm. Without a division:
///
///   ln(1 + f) = f - f^2 / 2 + f^3 P(f),  1 + f in [2/3, 4/3)
///
/// with P through the function's values at the nine Chebyshev nodes of the interval.
template <class MultiplyAdd = PlainMultiplyAdd>
inline float NaturalLogOfNormal(float x) {
    constexpr float ln2High = 6.9313812256e-01f;
    constexpr float ln2Low = 9.0580006145e-06f;
    constexpr float P0 = 0x1.555556p-2f;
    constexpr float P1 = -0x1.ffffb6p-3f;
    constexpr float P2 = 0x1.999954p-3f;
    constexpr float P3 = -0x1.557832p-3f;
    constexpr float P4 = 0x1.24b28cp-3f;
    constexpr float P5 = -0x1.f75896p-4f;
    constexpr float P6 = 0x1.bf1afp-4f;
    constexpr float P7 = -0x1.fcd036p-4f;
    constexpr float P8 = 0x1.d01a22p-4f;
    constexpr std::uint32_t twoThirds = 0x3f2aaaab;

    const std::uint32_t bits = std::bit_cast<std::uint32_t>(x) - twoThirds;
    const auto k = static_cast<float>(static_cast<std::int32_t>(bits) >> 23);
    const float f = std::bit_cast<float>((bits & 0x007fffffu) + twoThirds) - 1.0f;

    const float z = f * f;
    const auto add = [](float a, float b, float c) { return MultiplyAdd::Of(a, b, c); };
    const float even = add(z, add(z, add(z, add(z, P8, P6), P4), P2), P0);
    const float odd = add(z, add(z, add(z, P7, P5), P3), P1);
    const float P = add(f, odd, even);
    const float y = add(-0.5f, z, add(f * z, P, k * ln2Low)) + f + k * ln2High;
    return x < std::numeric_limits<float>::infinity() ? y : x;
}

/// Of a normal double, as every float is and every quotient of floats lifted by 1e-20.
inline double NaturalLogOfNormal(double x) {
    constexpr double ln2High = 6.93147180369123816490e-01;
    constexpr double ln2Low = 1.90821492927058770002e-10;
    constexpr double Lg1 = 6.666666666666735130e-01;
    constexpr double Lg2 = 3.999999999940941908e-01;
    constexpr double Lg3 = 2.857142874366239149e-01;
    constexpr double Lg4 = 2.222219843214978396e-01;
    constexpr double Lg5 = 1.818357216161805012e-01;
    constexpr double Lg6 = 1.531383769920937332e-01;
    constexpr double Lg7 = 1.479819860511658591e-01;
    constexpr std::uint64_t one = 0x3ff0000000000000;
    constexpr std::uint64_t sqrtHalf = 0x3fe6a09e00000000;
    constexpr std::uint64_t fraction = 0x000fffffffffffff;
    constexpr double infinity = std::numeric_limits<double>::infinity();

    const std::uint64_t bits = std::bit_cast<std::uint64_t>(x) + (one - sqrtHalf);
    // The biased exponent becomes a double without a conversion: as the low bits of 2^52.
    const double k =
        std::bit_cast<double>((bits >> 52) | std::uint64_t{0x4330000000000000}) - (0x1p52 + 1023.0);
    const double f = std::bit_cast<double>((bits & fraction) + sqrtHalf) - 1.0;

    const double s = f / (2.0 + f);
    const double z = s * s;
    const double w = z * z;
    const double R = z * (Lg1 + w * (Lg3 + w * (Lg5 + w * Lg7))) + w * (Lg2 + w * (Lg4 + w * Lg6));
    const double halfSquare = 0.5 * f * f;
    const double y = s * (halfSquare + R) + k * ln2Low - halfSquare + f + k * ln2High;

    const double ofSpecial = x == 0.0 ? -infinity : std::numeric_limits<double>::quiet_NaN();
    const double ofPositive = x < infinity ? y : x;
    return x > 0.0 ? ofPositive : ofSpecial;
}

/// ln(a / b) of two doubles of one sign and between 2^-250 and 2^250 in magnitude; NaN where the signs differ or
/// one is infinite. The quotient, which would be rounded, is not formed: with 2^-k a / b in [2/3, 3/2],
///
///   s = (2^-k a - b) / (2^-k a + b),  ln(a / b) = k ln 2 + 2 s + s^3 P(s^2)
///
/// with P through the function's values at the eight Chebyshev nodes of [0, 0.0402]. Error below 2 units in the
/// last place, next to a = b too.
template <class MultiplyAdd = PlainMultiplyAdd>
inline double NaturalLogOfQuotient(double a, double b) {
    constexpr double ln2High = 6.93147180369123816490e-01;
    constexpr double ln2Low = 1.90821492927058770002e-10;
    constexpr double P0 = 0x1.5555555555555p-1;
    constexpr double P1 = 0x1.9999999999f4ap-2;
    constexpr double P2 = 0x1.24924923d8d53p-2;
    constexpr double P3 = 0x1.c71c72e6a0bf3p-3;
    constexpr double P4 = 0x1.745caa083f891p-3;
    constexpr double P5 = 0x1.3b2a29705fb2cp-3;
    constexpr double P6 = 0x1.0e857c4765545p-3;
    constexpr double P7 = 0x1.16d0d0a09926bp-3;
    constexpr std::uint64_t fraction = 0x000fffffffffffff;
    constexpr std::uint64_t half = 0x0008000000000000;
    /// What the field of k is lifted by, so that it stays positive.
    constexpr std::uint64_t lift = std::uint64_t{1024} << 52;

    // Bits as a number are 2^52 times a logarithm to base 2 that is off by less than 0.09.
    const auto bitsOfA = std::bit_cast<std::uint64_t>(a);
    const std::uint64_t lifted = bitsOfA - std::bit_cast<std::uint64_t>(b) + (lift + half);
    const double k =
        std::bit_cast<double>((lifted >> 52) | std::uint64_t{0x4330000000000000}) - (0x1p52 + 1024.0);
    const double scaled = std::bit_cast<double>(bitsOfA + lift - (lifted & ~fraction));

    const double s = (scaled - b) / (scaled + b);
    const double z = s * s;
    const double w = z * z;
    const auto add = [](double x, double y, double c) { return MultiplyAdd::Of(x, y, c); };
    const double even = add(w, add(w, add(w, P6, P4), P2), P0);
    const double odd = add(w, add(w, add(w, P7, P5), P3), P1);
    const double P = add(z, odd, even);
    const double y = add(k, ln2High, add(2.0, s, add(s * z, P, k * ln2Low)));
    // Two signs or an infinity make a k beyond those of numbers.
    return k * k < 0x1p18 ? y : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace gnr::detail
