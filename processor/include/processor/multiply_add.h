// SPDX-License-Identifier: MIT
#pragma once

// a b + c with one rounding or with two. A formula whose roundings are its own affair, such as a polynomial for a
// logarithm, takes the way as a type; a loop over it is compiled twice, and the caller chooses:
//
//   template <class MultiplyAdd> void LoopBy(...);
//   GNR_FUSED_LOOP void FusedLoop(...) { LoopBy<FusedMultiplyAdd>(...); }
//   GNR_VECTOR_CLONES void PlainLoop(...) { LoopBy<PlainMultiplyAdd>(...); }
//
//   kFusesMultiplyAdd ? FusedLoop(...) : PlainLoop(...);

#include <processor/vector_clones.h>

namespace gnr {

struct PlainMultiplyAdd {
    template <class T>
    static T Of(T a, T b, T c) {
        return a * b + c;
    }
};

/// Slow, but right, where no instruction does it.
struct FusedMultiplyAdd {
    static float Of(float a, float b, float c) { return __builtin_fmaf(a, b, c); }
    static double Of(double a, double b, double c) { return __builtin_fma(a, b, c); }
};

// Loops compiled for processors that have the instruction, and whether this is one: what is asked here is what the
// choice of a clone asks, since the default clone would call a function for every operation.
#if defined(GNR_HAS_VECTOR_CLONES)
#define GNR_FUSED_LOOP __attribute__((target_clones("default", "arch=x86-64-v3", "arch=x86-64-v4")))
inline const bool kFusesMultiplyAdd = __builtin_cpu_supports("x86-64-v3");
#elif defined(__x86_64__)
#define GNR_FUSED_LOOP __attribute__((target("avx2,fma")))
inline const bool kFusesMultiplyAdd = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#elif defined(__FP_FAST_FMA) && defined(__FP_FAST_FMAF)
#define GNR_FUSED_LOOP
inline constexpr bool kFusesMultiplyAdd = true;
#else
#define GNR_FUSED_LOOP
inline constexpr bool kFusesMultiplyAdd = false;
#endif

}  // namespace gnr
