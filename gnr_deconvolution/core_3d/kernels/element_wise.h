// SPDX-License-Identifier: MIT
#pragma once

// The formulas of the element-wise kernels, one for all forms: a is the operand that takes the result, b the
// one that is only read. Serial and parallel kernels differ in who runs the groups and in the divide's guard.

#include "detail/lanes4.h"

namespace gnr::detail {

inline constexpr auto kAdd = [](Lanes4 a, Lanes4 b) { return b + a; };
inline constexpr auto kSubtract = [](Lanes4 a, Lanes4 b) { return a - b; };
inline constexpr auto kMultiply = [](Lanes4 a, Lanes4 b) { return b * a; };

/// a b
inline constexpr auto kComplexMultiply = [](Complex4 a, Complex4 b) {
    return Complex4{b.re * a.re - b.im * a.im, b.re * a.im + b.im * a.re};
};
/// a conj(b)
inline constexpr auto kComplexMultiplyAdjoint = [](Complex4 a, Complex4 b) {
    return Complex4{b.im * a.im + b.re * a.re, b.re * a.im - b.im * a.re};
};

// deliberate: both divides take the first operand as the denominator, so that a re-blurred estimate turns
// into the ratio observed / estimate in place. Where it is 0 the serial one keeps it with its sign and the
// parallel one gives +0; a NaN differs from 0 and is divided.
inline constexpr auto kDivideOrKeep = [](Lanes4 a, Lanes4 b) { return Select(a != Lanes4(0.0f), b / a, a); };
inline constexpr auto kDivideOrZero = [](Lanes4 a, Lanes4 b) {
    return SelectOrZero(a != Lanes4(0.0f), b / a);
};

/// (b + off) / (a + off), guarded by a alone.
struct DivideOffOrKeep {
    Lanes4 off;
    // deliberate: a and not a + off is compared with 0
    Lanes4 operator()(Lanes4 a, Lanes4 b) const {
        return Select(a != Lanes4(0.0f), (b + off) / (a + off), a);
    }
};

}  // namespace gnr::detail
