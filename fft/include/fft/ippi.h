// SPDX-License-Identifier: MIT
#pragma once

// The ippi operations that the 2D kernels call: real transforms of pictures in packed format, and plain array
// arithmetic.
//
// One CMake choice (GNR_FFT) decides who stands behind these names: this folder, over FFTW, or a package that
// brings the interface itself. A picture is an array of floats with a row every `step` bytes. A spectrum lies
// in the picture's own samples: of a transform of W by H real samples, F(u, v) with u along the row,
//
//   columns 2 u - 1 and 2 u of row v, 1 <= u < W / 2     real and imaginary part of F(u, v)
//   column 0, rows 0 and H - 1                           F(0, 0) and F(0, H / 2), both real
//   column 0, rows 2 v - 1 and 2 v, 1 <= v < H / 2       real and imaginary part of F(0, v)
//   column W - 1                                         the same for F(W / 2, v)
//
// which is the whole of it, for F(W - u, H - v) is the conjugate of F(u, v).
//
// All return 0, or a negative status: -6 a size, -8 a null pointer, -9 memory exhausted, -14 a step shorter
// than the row, -15 an order, -16 a flag. A plan may be used from several threads at once, each with a buffer
// of its own.

#if defined(GNR_FFT_DFTI)

// The package's record of a size has no name of its own, which a header that only mentions it could declare.
#define IppiSize UnnamedIppiSize
#include <ippi.h>
#undef IppiSize
struct IppiSize : UnnamedIppiSize {};

#else

/// Plan of one size; holds no samples.
struct FFT2DSpec_R_32f;

struct IppiSize {
    int width;   ///< samples a row
    int height;  ///< rows
};

using IppStatus = int;
using Ipp8u = unsigned char;
using Ipp32f = float;
using Ipp64f = double;

inline constexpr IppStatus ippStsNoErr = 0;
inline constexpr IppStatus ippStsSizeErr = -6;
inline constexpr IppStatus ippStsNullPtrErr = -8;
inline constexpr IppStatus ippStsMemAllocErr = -9;
inline constexpr IppStatus ippStsStepErr = -14;
inline constexpr IppStatus ippStsFftOrderErr = -15;
inline constexpr IppStatus ippStsFftFlagErr = -16;

/// Which direction divides by the number of samples.
inline constexpr int IPP_FFT_DIV_FWD_BY_N = 1;
inline constexpr int IPP_FFT_DIV_INV_BY_N = 2;
inline constexpr int IPP_FFT_DIV_BY_SQRTN = 4;  ///< both, by its root
inline constexpr int IPP_FFT_NODIV_BY_ANY = 8;

enum IppHintAlgorithm { ippAlgHintNone = 0, ippAlgHintFast = 1, ippAlgHintAccurate = 2 };

// ---- transforms ------------------------------------------------------------------------------------------

/// Plan for pictures of 2^orderX by 2^orderY samples, orders 0 to 28. The hint has no effect. The plan keeps
/// the number of threads that OpenMP would use now.
IppStatus ippiFFTInitAlloc_R_32f(FFT2DSpec_R_32f** ppSpec, int orderX, int orderY, int flag,
                                 IppHintAlgorithm hint);
IppStatus ippiFFTFree_R_32f(FFT2DSpec_R_32f* pSpec);

/// Bytes of the work buffer. A null buffer is allowed: each transform then allocates its own.
IppStatus ippiFFTGetBufSize_R_32f(const FFT2DSpec_R_32f* pSpec, int* pSize);

/// In place: samples to packed spectrum, exponent exp(-i ...).
IppStatus ippiFFTFwd_RToPack_32f_C1IR(Ipp32f* pSrcDst, int step, const FFT2DSpec_R_32f* pSpec,
                                      Ipp8u* pBuffer);
/// In place: packed spectrum to samples.
IppStatus ippiFFTInv_PackToR_32f_C1IR(Ipp32f* pSrcDst, int step, const FFT2DSpec_R_32f* pSpec,
                                      Ipp8u* pBuffer);

// ---- packed spectra --------------------------------------------------------------------------------------
// One complex product a frequency, in float; a buffer may take the place of another.

/// b := a b
IppStatus ippiMulPack_32f_C1IR(const Ipp32f* pA, int stepA, Ipp32f* pB, int stepB, IppiSize size);
/// dst := a conj(b)
IppStatus ippiMulPackConj_32f_C1R(const Ipp32f* pA, int stepA, const Ipp32f* pB, int stepB, Ipp32f* pDst,
                                  int stepDst, IppiSize size);

// ---- arithmetic ------------------------------------------------------------------------------------------
// One float operation a sample.

/// The sum, in double, in an order of its own that does not depend on threads. The hint has no effect.
IppStatus ippiSum_32f_C1R(const Ipp32f* pSrc, int step, IppiSize size, Ipp64f* pSum, IppHintAlgorithm hint);
/// dst := value
IppStatus ippiSet_32f_C1R(Ipp32f value, Ipp32f* pDst, int step, IppiSize size);
/// dst := dst src
IppStatus ippiMul_32f_C1IR(const Ipp32f* pSrc, int stepSrc, Ipp32f* pDst, int stepDst, IppiSize size);
/// dst := dst value
IppStatus ippiMulC_32f_C1IR(Ipp32f value, Ipp32f* pDst, int step, IppiSize size);
/// dst := dst - src
IppStatus ippiSub_32f_C1IR(const Ipp32f* pSrc, int stepSrc, Ipp32f* pDst, int stepDst, IppiSize size);

#endif
