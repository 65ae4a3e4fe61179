// SPDX-License-Identifier: MIT
#include "kernels/convolution.h"

#include <fft/ippi.h>
#include <fft/transfer.h>

#include "kernels/frame_arithmetic.h"
#include "kernels/frame_steps.h"

namespace gnr::detail {

void ForwardTransform(float* frame, unsigned W, unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec) {
    ippiFFTFwd_RToPack_32f_C1IR(frame, StepOf(W), pSpec, pBuffer);
}

void InverseTransform(float* frame, unsigned W, unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec) {
    ippiFFTInv_PackToR_32f_C1IR(frame, StepOf(W), pSpec, pBuffer);
}

void MultiplySpectra(const float* otf, float* a, unsigned W, unsigned H) {
    ippiMulPack_32f_C1IR(otf, StepOf(W), a, StepOf(W), SizeOf(W, H));
}

void ConvolveWithOTF(float* dst, const float* src, const float* otf, unsigned W, unsigned H,
                     unsigned char* pBuffer, int /*iBufferSize*/, FFT2DSpec_R_32f* pSpec) {
    CopyFrame(dst, src, W, H);
    ForwardTransform(dst, W, pBuffer, pSpec);
    MultiplySpectra(otf, dst, W, H);
    InverseTransform(dst, W, pBuffer, pSpec);
}

void CorrelateWithOTF(float* dst, float* src, const float* otf, unsigned W, unsigned H,
                      unsigned char* pBuffer, int /*iBufferSize*/, FFT2DSpec_R_32f* pSpec) {
    ForwardTransform(src, W, pBuffer, pSpec);
    ippiMulPackConj_32f_C1R(src, StepOf(W), otf, StepOf(W), dst, StepOf(W), SizeOf(W, H));
    InverseTransform(dst, W, pBuffer, pSpec);
}

void MakeTransfer(float* frame, unsigned W, unsigned H, unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec) {
    fft::MakeTransfer(frame, SizeOf(W, H), pSpec, pBuffer);
}

void BlurByTransfer(float* dst, const float* src, const float* transfer, unsigned W, unsigned H,
                    unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec) {
    fft::MultiplyByTransfer(dst, src, transfer, fft::TransferUse::kPlain, SizeOf(W, H), pSpec, pBuffer);
}

void BackProjectByTransfer(float* dst, const float* src, const float* transfer, unsigned W, unsigned H,
                           unsigned char* pBuffer, FFT2DSpec_R_32f* pSpec) {
    fft::MultiplyByTransfer(dst, src, transfer, fft::TransferUse::kConjugate, SizeOf(W, H), pSpec, pBuffer);
}

}  // namespace gnr::detail
