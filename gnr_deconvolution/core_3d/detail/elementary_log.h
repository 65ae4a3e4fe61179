// SPDX-License-Identifier: MIT
#pragma once

// Natural and decimal logarithm without branches or tables, so that a loop over samples becomes vector code.
//
//   x = 2^k (1 + f),  1 + f in [sqrt(1/2), sqrt(2))
//   s = f / (2 + f),  ln(1 + f) = f - f^2 / 2 + s (f^2 / 2 + R(s^2))
//
// with R the minimax polynomial of (ln((1 + s) / (1 - s)) - 2 s) / s. Error below 1 unit in the last place in
// both precisions. 0 gives -infinity, a negative number or a NaN gives NaN, infinity itself. Source: the
// scheme and the coefficients of K. C. Ng's log of the freely distributable math library, 1993
// (docs/bibliography.md).

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
    constexpr std::uint32_t sqrtHalf = 0x3f3504f3;

    // Subnormals are brought into the normal range by 2^25.
    const bool subnormal = x < std::numeric_limits<float>::min();
    const float scaled = x * (subnormal ? 0x1p25f : 1.0f);
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(scaled) + (0x3f800000u - sqrtHalf);
    const float k =
        static_cast<float>(static_cast<std::int32_t>(bits >> 23) - 0x7f) - (subnormal ? 25.0f : 0.0f);
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

/// Of a double that is not subnormal, as no float is and no quotient of floats lifted by 1e-20.
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

}  // namespace gnr::detail
