// SPDX-License-Identifier: MIT
#pragma once

// Four floats side by side: one register of SSE2 or NEON, written once with the vector extensions that g++
// and clang++ share. Every operation is the scalar one, lane by lane, with the same rounding.

#include <cstdint>
#include <cstring>

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

}  // namespace gnr::detail
