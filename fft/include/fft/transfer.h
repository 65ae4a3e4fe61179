// SPDX-License-Identifier: MIT
#pragma once

// Frames times a transfer function: what a forward transform, a product of packed spectra and an inverse transform
// of fft/ippi.h give, bit for bit, without the packed frame in between.

#include <fft/ippi.h>
#include <fft/transfer_use.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

namespace gnr::fft {

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

class TransferPasses {
  public:
    TransferPasses(const IppiSize& size, const FFT2DSpec_R_32f* pSpec, unsigned char* pBuffer)
        : size_(size),
          spec_(pSpec),
          buffer_(pBuffer),
          frame_(new (std::nothrow) float[static_cast<std::size_t>(size.width) *
                                          static_cast<std::size_t>(size.height)]) {}

    explicit operator bool() const { return frame_ != nullptr; }
    std::ptrdiff_t RowsTogether() const { return std::min<std::ptrdiff_t>(size_.height, 16); }
    std::ptrdiff_t Chunks() const { return size_.height / RowsTogether(); }
    float* Samples(std::ptrdiff_t row) const { return frame_.get() + row * size_.width; }
    void Transform(std::ptrdiff_t /*chunk*/) const {}
    void Multiply(const float* transfer, TransferUse use) const {
        MultiplyByPackedSpectrum(frame_.get(), frame_.get(), transfer, use, size_, spec_, buffer_);
    }
    void Invert(std::ptrdiff_t /*chunk*/) const {}

  private:
    IppiSize size_;
    const FFT2DSpec_R_32f* spec_;
    unsigned char* buffer_;
    std::unique_ptr<float[]> frame_;
};

#else

/// frame := F(frame), as MultiplyByTransfer wants it and nothing else can read it.
IppStatus MakeTransfer(float* frame, const IppiSize& size, const FFT2DSpec_R_32f* pSpec,
                       unsigned char* pBuffer);

/// dst := F^-1(F(src) transfer)
IppStatus MultiplyByTransfer(float* dst, const float* src, const float* transfer, TransferUse use,
                             const IppiSize& size, const FFT2DSpec_R_32f* pSpec, unsigned char* pBuffer);

/// The passes of MultiplyByTransfer one by one, for loops that work on rows while these are in the cache: fill the
/// samples of a chunk of rows and transform it; with all chunks transformed, multiply; invert a chunk and read its
/// samples. The work buffer belongs to the passes meanwhile. Different chunks may be worked on from different
/// threads at once.
class TransferPasses {
  public:
    TransferPasses(const IppiSize& size, const FFT2DSpec_R_32f* pSpec, unsigned char* pBuffer);
    TransferPasses(const TransferPasses&) = delete;
    TransferPasses& operator=(const TransferPasses&) = delete;
    ~TransferPasses();

    /// Room was had; nothing else may be called without.
    explicit operator bool() const { return run_ != nullptr; }

    std::ptrdiff_t RowsTogether() const;  ///< rows of a chunk
    std::ptrdiff_t Chunks() const;        ///< of a frame
    /// The samples of a row.
    float* Samples(std::ptrdiff_t row) const;

    void Transform(std::ptrdiff_t chunk) const;
    /// On all threads that the plan knows of. `transfer` is what MakeTransfer made.
    void Multiply(const float* transfer, TransferUse use) const;
    void Invert(std::ptrdiff_t chunk) const;

  private:
    struct State;
    std::unique_ptr<State> run_;
};

#endif

}  // namespace gnr::fft
