// SPDX-License-Identifier: MIT
#pragma once

// Loops over a buffer in groups of four floats or four complex numbers, written once for full and partial
// groups: a body sees groups only, and no group reads or writes outside the stated count.
//
// Where says who runs the groups: CallingThread here, AllThreads in parallel.h.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "detail/extremes.h"
#include "detail/lanes4.h"

namespace gnr::detail {

/// Loads and stores of four elements.
struct FullGroup {
    static Lanes4 Load(const float* p) { return Lanes4::Load(p); }
    static void Store(float* p, Lanes4 v) { v.Store(p); }
    static Complex4 LoadComplex(const float* p) { return Complex4::Load(p); }
    static void Store(float* p, Complex4 v) { v.Store(p); }
};

/// Loads and stores of the one to three elements that are left at the end of a run. Lanes without an element
/// load 0 and are never stored.
struct PartialGroup {
    std::size_t count;

    Lanes4 Load(const float* p) const { return LoadFloats<Lanes4, Lanes4::kCount>(p, count); }
    void Store(float* p, Lanes4 v) const { StoreFloats<Lanes4::kCount>(p, v, count); }
    Complex4 LoadComplex(const float* p) const {
        return LoadFloats<Complex4, Complex4::kFloats>(p, 2 * count);
    }
    void Store(float* p, Complex4 v) const { StoreFloats<Complex4::kFloats>(p, v, 2 * count); }

  private:
    template <class Value, std::size_t kFloats>
    static Value LoadFloats(const float* p, std::size_t floats) {
        std::array<float, kFloats> padded{};
        std::memcpy(padded.data(), p, floats * sizeof(float));
        return Value::Load(padded.data());
    }
    template <std::size_t kFloats, class Value>
    static void StoreFloats(float* p, Value v, std::size_t floats) {
        std::array<float, kFloats> padded;
        v.Store(padded.data());
        std::memcpy(p, padded.data(), floats * sizeof(float));
    }
};

/// Runs a loop on the calling thread, in ascending order.
struct CallingThread {
    template <class Body>
    static void For(std::int64_t count, Body body) {
        for (std::int64_t i = 0; i < count; ++i) body(i);
    }
    template <class Body>
    static Extremes ExtremesOf(std::int64_t count, Body body) {
        Extremes all;
        for (std::int64_t i = 0; i < count; ++i) all.Join(body(i));
        return all;
    }
};

/// body(first element, group) for the groups of n elements; nothing for n <= 0.
template <class Where, class Body>
void EachGroup(std::int64_t n, Body body) {
    const std::int64_t groups = n / Lanes4::kCount;
    const std::int64_t rest = n - groups * Lanes4::kCount;
    Where::For(groups, [body](std::int64_t g) { body(g * Lanes4::kCount, FullGroup{}); });
    if (rest > 0) body(n - rest, PartialGroup{static_cast<std::size_t>(rest)});
}

/// p[i] := value for n floats.
template <class Where>
void FillGroups(float* p, std::int64_t n, float value) {
    const Lanes4 lanes(value);
    EachGroup<Where>(n, [p, lanes](std::int64_t i, auto group) { group.Store(p + i, lanes); });
}

/// p[i] := f(p[i]) for n floats; f maps Lanes4.
template <class Where, class F>
void MapGroups(float* p, std::int64_t n, F f) {
    EachGroup<Where>(n, [p, f](std::int64_t i, auto group) { group.Store(p + i, f(group.Load(p + i))); });
}

/// a[i] := f(a[i], b[i]) for n floats; f maps two Lanes4. a and b may be the same buffer.
template <class Where, class F>
void MapGroups(float* a, const float* b, std::int64_t n, F f) {
    EachGroup<Where>(n, [a, b, f](std::int64_t i, auto group) {
        group.Store(a + i, f(group.Load(a + i), group.Load(b + i)));
    });
}

/// The same on the n / 2 complex numbers of n floats, f mapping Complex4. The lone last float of an odd n
/// stays as it is.
template <class Where, class F>
void MapComplexGroups(float* p, std::int64_t n, F f) {
    EachGroup<Where>(n / 2, [p, f](std::int64_t pair, auto group) {
        group.Store(p + 2 * pair, f(group.LoadComplex(p + 2 * pair)));
    });
}
template <class Where, class F>
void MapComplexGroups(float* a, const float* b, std::int64_t n, F f) {
    EachGroup<Where>(n / 2, [a, b, f](std::int64_t pair, auto group) {
        const std::int64_t i = 2 * pair;
        group.Store(a + i, f(group.LoadComplex(a + i), group.LoadComplex(b + i)));
    });
}

}  // namespace gnr::detail
