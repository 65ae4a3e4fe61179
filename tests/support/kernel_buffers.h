// SPDX-License-Identifier: MIT
#pragma once

// Buffers, contents and comparisons for tests of the kernels.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "support/threads.h"

namespace gnr::test {

/// Blocks of exactly the bytes asked for, aligned to 16 bytes and no more: an address sanitizer sees the
/// first float beyond.
template <class T>
struct ExactAllocator {
    using value_type = T;
    static constexpr std::align_val_t kAlignment{16};

    ExactAllocator() = default;
    template <class U>
    ExactAllocator(const ExactAllocator<U>&) {}
    T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), kAlignment)); }
    void deallocate(T* p, std::size_t) { ::operator delete(p, kAlignment); }
    bool operator==(const ExactAllocator&) const { return true; }
};
using Buffer = std::vector<float, ExactAllocator<float>>;

inline constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// Seeded floats in [-2, 3).
inline Buffer RandomFloats(std::size_t n, unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> sample(-2.0f, 3.0f);
    Buffer floats(n);
    for (float& v : floats) v = sample(engine);
    return floats;
}

/// Seeded floats, about half of them values at which arithmetic is special.
inline Buffer AwkwardFloats(std::size_t n, unsigned seed) {
    using Limits = std::numeric_limits<float>;
    const float special[] = {0.0f,          -0.0f,          kNaN, kInfinity, -kInfinity, Limits::denorm_min(),
                             Limits::max(), -Limits::max(), 1.0f, -1.0f,     1e-20f,     1e-10f};
    std::mt19937 engine(seed);
    std::uniform_int_distribution<std::size_t> pick(0, 2 * std::size(special) - 1);
    Buffer floats = RandomFloats(n, seed + 1);
    for (float& v : floats) {
        const std::size_t i = pick(engine);
        if (i < std::size(special)) v = special[i];
    }
    return floats;
}

/// Equal bits, or both NaN.
inline bool Same(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}

template <class FloatsA, class FloatsB>
testing::AssertionResult SameFloats(const FloatsA& a, const FloatsB& b) {
    if (a.size() != b.size())
        return testing::AssertionFailure() << a.size() << " and " << b.size() << " floats";
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!Same(a[i], b[i]))
            return testing::AssertionFailure() << "at " << i << ": " << a[i] << ", " << b[i];
    }
    return testing::AssertionSuccess();
}

}  // namespace gnr::test
