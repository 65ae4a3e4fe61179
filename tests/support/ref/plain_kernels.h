// SPDX-License-Identifier: MIT
#pragma once

// The element-wise kernels as plain loops over single floats.

#include <cstddef>

namespace gnr::ref {

inline float Add(float a, float b) {
    return b + a;
}
inline float Subtract(float a, float b) {
    return a - b;
}
inline float Multiply(float a, float b) {
    return b * a;
}
inline float DivideOrKeep(float a, float b) {
    if (a == 0.0f) return a;
    return b / a;
}
inline float DivideOrZero(float a, float b) {
    if (a == 0.0f) return 0.0f;
    return b / a;
}
inline float DivideOffOrKeep(float a, float b, float off) {
    if (a == 0.0f) return a;
    const float numerator = b + off;
    const float denominator = a + off;
    return numerator / denominator;
}

/// a[i] := op(a[i], b[i])
template <class Floats, class Op>
Floats Each(Floats a, const Floats& b, Op op) {
    for (std::size_t i = 0; i < a.size(); ++i) a[i] = op(a[i], b[i]);
    return a;
}

/// a := a b, or a conj(b), pair by pair
template <class Floats>
Floats ComplexMultiply(Floats a, const Floats& b, bool adjoint) {
    for (std::size_t i = 0; i + 1 < a.size(); i += 2) {
        const float ar = a[i];
        const float ai = a[i + 1];
        const float br = b[i];
        const float bi = b[i + 1];
        const float rr = br * ar;
        const float ii = bi * ai;
        const float ri = br * ai;
        const float ir = bi * ar;
        a[i] = adjoint ? ii + rr : rr - ii;
        a[i + 1] = adjoint ? ri - ir : ri + ir;
    }
    return a;
}

}  // namespace gnr::ref
