// SPDX-License-Identifier: MIT
#pragma once

// GNR_VECTOR_CLONES before a function compiles its loops for the vector widths of newer processors as well
// and picks the fitting one at run time. Contraction is off, so that every clone gives the same bits, but for
// one trap: g++ 12 makes multiply-add-subtract instructions of loops that store a difference and a sum in
// turn, as a complex product does. Such loops keep real and imaginary parts apart.
// Such a function has internal linkage: the symbols of its choice would be visible in the shared library.
// The choice is made before sanitizers are ready, so that their builds go without it.

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
#define GNR_VECTOR_CLONES __attribute__((target_clones("default", "avx2", "avx512f")))
#define GNR_HAS_VECTOR_CLONES
#else
#define GNR_VECTOR_CLONES
#endif
