// SPDX-License-Identifier: MIT
#pragma once

// Frames times a transfer function: what a forward transform, a product of packed spectra and an inverse transform
// of fft/ippi.h give, bit for bit, without the packed frame in between.

#include <fft/ippi.h>

#include <algorithm>
#include <cstddef>

namespace gnr::fft {

/// A product with the transfer function, or with its conjugate.
enum class TransferUse { kPlain, kConjugate };

/// Bytes from row to row of a frame without gaps.
inline int DenseStep(const IppiSize& size) {
    return size.width * static_cast<int>(sizeof(float));
}

/// The three operations one by one.
inline IppStatus MultiplyByPackedSpectrum(float* dst, const float* src, const float* spectrum,
                                          TransferUse use, const IppiSize& size, const FFT2DSpec_R_32f* pSpec,
                                          unsigned char* pBuffer) {
    const int step = DenseStep(size);
    if (src != dst) std::copy_n(src, static_cast<std::ptrdiff_t>(size.width) * size.height, dst);
    IppStatus status = ippiFFTFwd_RToPack_32f_C1IR(dst, step, pSpec, pBuffer);
    if (status != ippStsNoErr) return status;
    status = use == TransferUse::kConjugate
                 ? ippiMulPackConj_32f_C1R(dst, step, spectrum, step, dst, step, size)
                 : ippiMulPack_32f_C1IR(spectrum, step, dst, step, size);
    return status != ippStsNoErr ? status : ippiFFTInv_PackToR_32f_C1IR(dst, step, pSpec, pBuffer);
}

// Frames have the size of the plan and no gaps between rows; status as in fft/ippi.h. src stays as it is, and may be
// dst. Where the status is not 0, what is written to may hold anything.

#if defined(GNR_FFT_DFTI)

inline IppStatus MakeTransfer(float* frame, const IppiSize& size, const FFT2DSpec_R_32f* pSpec,
                              unsigned char* pBuffer) {
    return ippiFFTFwd_RToPack_32f_C1IR(frame, DenseStep(size), pSpec, pBuffer);
}

inline IppStatus MultiplyByTransfer(float* dst, const float* src, const float* transfer, TransferUse use,
                                    const IppiSize& size, const FFT2DSpec_R_32f* pSpec,
                                    unsigned char* pBuffer) {
    return MultiplyByPackedSpectrum(dst, src, transfer, use, size, pSpec, pBuffer);
}

#else

/// frame := F(frame), as MultiplyByTransfer wants it and nothing else can read it.
IppStatus MakeTransfer(float* frame, const IppiSize& size, const FFT2DSpec_R_32f* pSpec,
                       unsigned char* pBuffer);

/// dst := F^-1(F(src) transfer)
IppStatus MultiplyByTransfer(float* dst, const float* src, const float* transfer, TransferUse use,
                             const IppiSize& size, const FFT2DSpec_R_32f* pSpec, unsigned char* pBuffer);

#endif

}  // namespace gnr::fft
