// SPDX-License-Identifier: MIT
#pragma once

// The DFTI operations that the kernels call: descriptor, settings, commit, compute, free.
//
// One CMake choice (GNR_FFT) decides who stands behind these names: this folder, over FFTW, or a package that
// brings the interface itself. The subset is: single precision, real domain, one to three dimensions, both
// placements, forward and backward scale, input and output strides, conjugate-even storage as complex
// numbers.
//
// A descriptor belongs to one thread at a time; different descriptors may be used from different threads at
// once. Nothing outlives a descriptor.

#if defined(GNR_FFT_DFTI)

#include <mkl_dfti.h>

#else

/// Integer of lengths, strides and status values.
using MKL_LONG = long;

struct DFTI_DESCRIPTOR;
using DFTI_DESCRIPTOR_HANDLE = DFTI_DESCRIPTOR*;

enum DFTI_CONFIG_PARAM {
    DFTI_FORWARD_SCALE,           ///< double, 1.0
    DFTI_BACKWARD_SCALE,          ///< double, 1.0
    DFTI_PLACEMENT,               ///< DFTI_INPLACE
    DFTI_PACKED_FORMAT,           ///< DFTI_CCE_FORMAT
    DFTI_CONJUGATE_EVEN_STORAGE,  ///< DFTI_COMPLEX_COMPLEX
    DFTI_REAL_STORAGE,            ///< DFTI_REAL_REAL
    DFTI_INPUT_STRIDES,           ///< MKL_LONG[dimensions + 1]: offset, then a stride an axis, slowest first;
    DFTI_OUTPUT_STRIDES,          ///< real strides count floats, complex strides complex numbers
};

enum DFTI_CONFIG_VALUE {
    DFTI_SINGLE,
    DFTI_REAL,
    DFTI_INPLACE,
    DFTI_NOT_INPLACE,
    DFTI_CCE_FORMAT,
    DFTI_COMPLEX_COMPLEX,
    DFTI_REAL_REAL,
};

/// Status values; 0 is success.
inline constexpr MKL_LONG DFTI_NO_ERROR = 0;
inline constexpr MKL_LONG DFTI_MEMORY_ERROR = 1;
inline constexpr MKL_LONG DFTI_INVALID_CONFIGURATION = 2;
inline constexpr MKL_LONG DFTI_INCONSISTENT_CONFIGURATION = 3;
inline constexpr MKL_LONG DFTI_BAD_DESCRIPTOR = 5;
inline constexpr MKL_LONG DFTI_UNIMPLEMENTED = 6;

/// Makes a descriptor of `dimensions` lengths, slowest axis first. DFTI_SINGLE, DFTI_REAL, 1 to 3 dimensions.
MKL_LONG DftiCreateDescriptor(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE precision,
                              DFTI_CONFIG_VALUE domain, MKL_LONG dimensions, const MKL_LONG* lengths);

MKL_LONG DftiSetValue(DFTI_DESCRIPTOR_HANDLE handle, DFTI_CONFIG_PARAM parameter, double value);
MKL_LONG DftiSetValue(DFTI_DESCRIPTOR_HANDLE handle, DFTI_CONFIG_PARAM parameter, DFTI_CONFIG_VALUE value);
MKL_LONG DftiSetValue(DFTI_DESCRIPTOR_HANDLE handle, DFTI_CONFIG_PARAM parameter, const MKL_LONG* strides);

/// Checks the settings: lengths above 0, strides not below 0.
MKL_LONG DftiCommitDescriptor(DFTI_DESCRIPTOR_HANDLE handle);

/// Real to half spectrum, exponent exp(-i ...), times the forward scale. Imaginary parts at frequencies that
/// are their own conjugates are exactly 0.
MKL_LONG DftiComputeForward(DFTI_DESCRIPTOR_HANDLE handle, void* inOut);
MKL_LONG DftiComputeForward(DFTI_DESCRIPTOR_HANDLE handle, void* in, void* out);

/// Half spectrum to real, times the backward scale. In place, the floats between the samples of one real row
/// and the next are set to 0 where the row stride leaves some.
MKL_LONG DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE handle, void* inOut);
MKL_LONG DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE handle, void* in, void* out);

/// Frees the descriptor and nulls the handle.
MKL_LONG DftiFreeDescriptor(DFTI_DESCRIPTOR_HANDLE* handle);

#endif
