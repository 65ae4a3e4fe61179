// SPDX-License-Identifier: MIT
#pragma once

// GNR_VECTOR_CLONES before a function of internal linkage compiles its loops for the vector widths of newer
// processors as well and picks the fitting one at run time; every clone gives the same bits. The deconvolution
// lies above and has a header of its own for this.

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
#define GNR_VECTOR_CLONES __attribute__((target_clones("default", "avx2", "avx512f")))
#else
#define GNR_VECTOR_CLONES
#endif
