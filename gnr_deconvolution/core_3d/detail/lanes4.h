// SPDX-License-Identifier: MIT
#pragma once

// Four floats side by side: one register of SSE2 or NEON, written once with the vector extensions that g++
// and clang++ share. Every operation is the scalar one, lane by lane, with the same rounding.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace gnr::detail {

/// Result of a comparison: all bits of a lane set where it holds.
struct Mask4 {
    using Register [[gnu::vector_size(16)]] = std::int32_t;
    Register bits;
};

struct Lanes4 {
    using Register [[gnu::vector_size(16)]] = float;
    static constexpr int kCount = 4;

    Register v;

    Lanes4() = default;
    explicit Lanes4(Register r) : v(r) {}
    explicit Lanes4(float all) : v{all, all, all, all} {}

    /// Loads and stores need no alignment beyond that of a float.
    static Lanes4 Load(const float* p) {
        Lanes4 r;
        std::memcpy(&r.v, p, sizeof r.v);
        return r;
    }
    void Store(float* p) const { std::memcpy(p, &v, sizeof v); }

    friend Lanes4 operator+(Lanes4 a, Lanes4 b) { return Lanes4(a.v + b.v); }
    friend Lanes4 operator-(Lanes4 a, Lanes4 b) { return Lanes4(a.v - b.v); }
    friend Lanes4 operator*(Lanes4 a, Lanes4 b) { return Lanes4(a.v * b.v); }
    friend Lanes4 operator/(Lanes4 a, Lanes4 b) { return Lanes4(a.v / b.v); }

    /// Ordered comparisons: false where a lane is NaN; != is true there.
    friend Mask4 operator<(Lanes4 a, Lanes4 b) { return {a.v < b.v}; }
    friend Mask4 operator>(Lanes4 a, Lanes4 b) { return {a.v > b.v}; }
    friend Mask4 operator!=(Lanes4 a, Lanes4 b) { return {a.v != b.v}; }

    /// Flips every sign bit, that of a zero and of a NaN too.
    friend Lanes4 operator-(Lanes4 a) { return Lanes4(-a.v); }
};

/// Lanes of `yes` where the mask is set, of `no` elsewhere.
inline Lanes4 Select(Mask4 mask, Lanes4 yes, Lanes4 no) {
    return Lanes4(
        (Lanes4::Register)((mask.bits & (Mask4::Register)yes.v) | (~mask.bits & (Mask4::Register)no.v)));
}

/// Lanes of `yes` where the mask is set, +0 elsewhere.
inline Lanes4 SelectOrZero(Mask4 mask, Lanes4 yes) {
    return Lanes4((Lanes4::Register)(mask.bits & (Mask4::Register)yes.v));
}

/// The smaller and the greater lane; b where a lane of either is NaN.
inline Lanes4 Min(Lanes4 a, Lanes4 b) {
    return Select(a < b, a, b);
}
inline Lanes4 Max(Lanes4 a, Lanes4 b) {
    return Select(a > b, a, b);
}

/// The smallest and the greatest of the four lanes, none of which is NaN.
inline float LeastLane(Lanes4 a) {
    return std::min(std::min(a.v[0], a.v[1]), std::min(a.v[2], a.v[3]));
}
inline float GreatestLane(Lanes4 a) {
    return std::max(std::max(a.v[0], a.v[1]), std::max(a.v[2], a.v[3]));
}

/// Correctly rounded square roots.
inline Lanes4 Sqrt(Lanes4 a) {
#if defined(__SSE2__)
    return Lanes4((Lanes4::Register)_mm_sqrt_ps((__m128)a.v));
#elif defined(__aarch64__)
    return Lanes4((Lanes4::Register)vsqrtq_f32((float32x4_t)a.v));
#else
    return Lanes4(
        Lanes4::Register{std::sqrt(a.v[0]), std::sqrt(a.v[1]), std::sqrt(a.v[2]), std::sqrt(a.v[3])});
#endif
}

/// Four complex numbers, real and imaginary parts apart.
struct Complex4 {
    static constexpr int kFloats = 2 * Lanes4::kCount;

    Lanes4 re;
    Lanes4 im;

    /// From and to interleaved pairs, real part first.
    static Complex4 Load(const float* p) {
        const Lanes4 low = Lanes4::Load(p);
        const Lanes4 high = Lanes4::Load(p + Lanes4::kCount);
        return {Lanes4(__builtin_shufflevector(low.v, high.v, 0, 2, 4, 6)),
                Lanes4(__builtin_shufflevector(low.v, high.v, 1, 3, 5, 7))};
    }
    void Store(float* p) const {
        Lanes4(__builtin_shufflevector(re.v, im.v, 0, 4, 1, 5)).Store(p);
        Lanes4(__builtin_shufflevector(re.v, im.v, 2, 6, 3, 7)).Store(p + Lanes4::kCount);
    }
};

}  // namespace gnr::detail
