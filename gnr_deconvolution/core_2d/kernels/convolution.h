// SPDX-License-Identifier: MIT
#pragma once

// Circular convolution and correlation of frames through the spectrum. otf is the packed spectrum of the
// wrapped PSF; spectra lie in the frames themselves (fft/ippi.h). Transform statuses are not looked at.

struct FFT2DSpec_R_32f;

namespace gnr::detail {

/// frame := its packed spectrum
void ForwardTransform(float* frame, unsigned W, unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec);
/// Packed spectrum back to samples.
void InverseTransform(float* frame, unsigned W, unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec);

/// a := otf a, on packed spectra
void MultiplySpectra(const float* otf, float* a, unsigned W, unsigned H);

/// dst := F^-1(otf F(src)); src keeps its samples. iBufferSize is not read.
void ConvolveWithOTF(float* dst, const float* src, const float* otf, unsigned W, unsigned H,
                     unsigned char* pBuffer, int iBufferSize, FFT2DSpec_R_32f* pSpec);
/// dst := F^-1(F(src) conj(otf)); src is left holding its spectrum. iBufferSize is not read.
void CorrelateWithOTF(float* dst, float* src, const float* otf, unsigned W, unsigned H,
                      unsigned char* pBuffer, int iBufferSize, FFT2DSpec_R_32f* pSpec);

// What loops use, since no packed frame is made on the way (fft/transfer.h):

/// frame := its spectrum, for the next two alone
void MakeTransfer(float* frame, unsigned W, unsigned H, unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec);
/// ConvolveWithOTF by a transfer frame, bit for bit. dst may be src.
void BlurByTransfer(float* dst, const float* src, const float* transfer, unsigned W, unsigned H,
                    unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec);
/// CorrelateWithOTF by a transfer frame, bit for bit, but that src keeps its samples. dst may be src.
void BackProjectByTransfer(float* dst, const float* src, const float* transfer, unsigned W, unsigned H,
                           unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec);

}  // namespace gnr::detail
