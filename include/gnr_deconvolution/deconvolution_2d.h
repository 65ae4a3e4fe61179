// SPDX-License-Identifier: MIT
#pragma once

// Restoration of pictures: one entry a method in two layers, each for integer and for float pictures.
//
// Common to all entries:
//
//   pDst       takes the result; of the size of pSrc, and distinct from it
//   pSrc       the picture to restore, one component, at least 16 by 16; only read
//   pfPsf      uiPsfSize by uiPsfSize floats, rows adjacent, the centre at index uiPsfSize / 2 in both
//              directions; only read. The last row and column of an odd size have no effect. Of a PSF that is
//              larger than the frame only the middle is used
//   pfn        progress and stop, may be null; called on the caller's thread with eProgressPoll, or in the
//              inner loops of the blind method eProgressPollBlind2D, and the values 0: it counts nothing
//   uiReserved, bReserved   without effect
//
// A _NoSplit_x1 entry lays the picture into a frame with a replicated margin of 40 pixels (15 in the blind
// method) and zeros to the right and below, restores the frame, and writes the picture's place back: integer
// samples cut to their range and truncated, float samples cut at 0. All working buffers live for the call.
//
// A _x1 entry cuts the picture into uiTilesX by uiTilesY tiles, overlapping by 50 pixels to each side, and
// restores one after the other. A grid of 1 by 1 is the _NoSplit_x1 entry itself; a side of 0, or above
// 2^31 - 1, restores nothing and returns 0. Tiles should be at least 50 pixels wide and high: narrower ones
// come out displaced. A tile that fails or is stopped ends the grid and leaves its own place in pDst black,
// the blind method apart; earlier tiles are delivered, later ones untouched.
//
// Returns   0 done; -2 not one component or a side below 16; -9 without memory, for a size that cannot be had,
//           where a transform failed, and when stopped
// Threads   a call runs on its caller's thread; transforms and element-wise steps fork OpenMP threads and join
//           them. Calls on different pictures may overlap

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/object_frame.h>
#include <gnr_deconvolution/ranges.h>
#include <ry_picture/ry_picture.h>

struct FFT2DSpec_R_32f;
struct IppiSize;
namespace gnr::test {
struct PictureAccess;
}

/// All methods, static and without state.
class GNR_API CRy2DDeconvolutionFamily {
  public:
    // ---- Richardson-Lucy with a Tikhonov-Miller term -------------------------------------------------
    // x := max(0, x H^T(g / (H x)) / (1 + lambda L(x)) / sum of PSF), g and H blurred by a small Gaussian
    // beforehand, L the four-neighbour Laplacian, lambda = -2 dLambda^2 at first and smaller where the
    // iteration would not be stable. Ends by itself, at the sixth iteration or later, where the I-divergence
    // from g settles.
    //
    // pIterationRange    takes least and most iterations of the tiles, extended by 0 unless the grid is
    //                    1 by 1; may be null
    // puiIterationsDone  takes the count of iterations; may be null
    // Source   van der Voort and Strasters 1995; Dey et al. 2006 (docs/bibliography.md)

    static int AccRLTMAddProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize,
                                         RyProgressCallback pfn, void* pData, unsigned uiReserved,
                                         unsigned uiIterations, bool bReserved, double dLambda,
                                         unsigned uiTilesX, unsigned uiTilesY, CRyUintRange* pIterationRange);
    static int AccRLTMAddProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                         unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                         unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                         double dLambda, unsigned uiTilesX, unsigned uiTilesY,
                                         CRyUintRange* pIterationRange);
    /// A stopped iteration counts in puiIterationsDone here ...
    static int AccRLTMAddProcessImage_NoSplit_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                 unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                 unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                                 double dLambda, unsigned* puiIterationsDone);
    /// ... and does not count here.
    static int AccRLTMAddProcessImage_NoSplit_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                                 unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                 unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                                 double dLambda, unsigned* puiIterationsDone);

    // ---- Richardson-Lucy with total-variation terms --------------------------------------------------
    // x := x H^T(g / (H x)) R(x) / sum of PSF, negatives cut before each iteration, s = 3 iTVStrength:
    //
    //   AccRLTVAdd      R = 1 / (1 + u), u = -2e-5 s^2 L(x) within +-0.2, L the four-neighbour Laplacian
    //   AccRLTVRealAdd  R = 1 / (1 - 1e-4 s^2 (dx + dy) / |(dx, dy)|), dx and dy forward differences of x
    //
    // Source   Dey et al. 2006 (docs/bibliography.md)

    static int AccRLTVAddProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize,
                                         RyProgressCallback pfn, void* pData, unsigned uiReserved,
                                         unsigned uiIterations, bool bReserved, int iTVStrength,
                                         unsigned uiTilesX, unsigned uiTilesY);
    static int AccRLTVAddProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                         unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                         unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                         int iTVStrength, unsigned uiTilesX, unsigned uiTilesY);
    static int AccRLTVAddProcessImage_NoSplit_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                 unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                 unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                                 int iTVStrength);
    static int AccRLTVAddProcessImage_NoSplit_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                                 unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                 unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                                 int iTVStrength);

    static int AccRLTVRealAddProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                             unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                             unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                             int iTVStrength, unsigned uiTilesX, unsigned uiTilesY);
    static int AccRLTVRealAddProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                             unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                             unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                             int iTVStrength, unsigned uiTilesX, unsigned uiTilesY);
    static int AccRLTVRealAddProcessImage_NoSplit_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                     unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                     unsigned uiReserved, unsigned uiIterations,
                                                     bool bReserved, int iTVStrength);
    static int AccRLTVRealAddProcessImage_NoSplit_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                                     unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                     unsigned uiReserved, unsigned uiIterations,
                                                     bool bReserved, int iTVStrength);

    // ---- Landweber on wavelet coefficients, with momentum --------------------------------------------
    // Accelerated iterative shrinkage of a pyramid of three levels, with a step of its own for each subband,
    // from the PSF's pyramid in a frame of uiBoundWidth by uiBoundHeight, both divisible by 8. The shrinkage
    // goes with iSmoothing^2 and the picture's range.
    //
    // Source   Beck and Teboulle 2009; subband steps: Vonesch and Unser 2008 (docs/bibliography.md)

    static int AccLandweberProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize,
                                           RyProgressCallback pfn, void* pData, unsigned uiReserved,
                                           unsigned uiIterations, bool bReserved, int iSmoothing,
                                           unsigned uiBoundWidth, unsigned uiBoundHeight, unsigned uiTilesX,
                                           unsigned uiTilesY);
    static int AccLandweberProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                           unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                           unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                           int iSmoothing, unsigned uiBoundWidth, unsigned uiBoundHeight,
                                           unsigned uiTilesX, unsigned uiTilesY);
    static int AccLandweberProcessImage_NoSplit_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                   unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                   unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                                   int iSmoothing, unsigned uiBoundWidth,
                                                   unsigned uiBoundHeight);
    static int AccLandweberProcessImage_NoSplit_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                                   unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                   unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                                   int iSmoothing, unsigned uiBoundWidth,
                                                   unsigned uiBoundHeight);

    // ---- Landweber on wavelet coefficients, plain ----------------------------------------------------
    // One step of 1.7 and one threshold for all subbands, no momentum; picture and PSF blurred by a small
    // Gaussian beforehand; ends by itself as Richardson-Lucy with the Tikhonov-Miller term does.
    // pIterationRange and puiIterationsDone as there; a stopped iteration does not count.
    //
    // Source   Daubechies, Defrise and De Mol 2004 (docs/bibliography.md)

    static int LandweberProcessImage_Unaccel_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                                double dThreshold, unsigned uiTilesX, unsigned uiTilesY,
                                                CRyUintRange* pIterationRange);
    static int LandweberProcessImage_Unaccel_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                                unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
                                                unsigned uiReserved, unsigned uiIterations, bool bReserved,
                                                double dThreshold, unsigned uiTilesX, unsigned uiTilesY,
                                                CRyUintRange* pIterationRange);
    /// Starts from the coefficients of the blurred picture ...
    static int LandweberProcessImage_Unaccel_NoSplit_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                        unsigned uiPsfSize, RyProgressCallback pfn,
                                                        void* pData, unsigned uiReserved,
                                                        unsigned uiIterations, bool bReserved,
                                                        double dThreshold, unsigned* puiIterationsDone);
    /// ... and here from those of the picture as it came.
    static int LandweberProcessImage_Unaccel_NoSplit_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc,
                                                        float* pfPsf, unsigned uiPsfSize,
                                                        RyProgressCallback pfn, void* pData,
                                                        unsigned uiReserved, unsigned uiIterations,
                                                        bool bReserved, double dThreshold,
                                                        unsigned* puiIterationsDone);

    // ---- blind ---------------------------------------------------------------------------------------
    // Alternates ten accelerated Richardson-Lucy steps on the picture with five on the PSF, whose first guess
    // is pfPsf; each tile starts from it again. fEnergyRatio balances both; 0 or below lets all steps run.
    // Delivers what was reached after a stop as well: one at the head of a cycle returns 0, one between the
    // two kinds of steps -9, one inside them only ends the steps.
    //
    // Source   Fish et al. 1995; acceleration: Biggs and Andrews 1997 (docs/bibliography.md)

    static int AccIBDProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize,
                                     float fEnergyRatio, RyProgressCallback pfn, void* pData,
                                     unsigned uiReserved, unsigned uiBlindCycles, bool bReserved,
                                     unsigned uiTilesX, unsigned uiTilesY);
    static int AccIBDProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                     unsigned uiPsfSize, float fEnergyRatio, RyProgressCallback pfn,
                                     void* pData, unsigned uiReserved, unsigned uiBlindCycles, bool bReserved,
                                     unsigned uiTilesX, unsigned uiTilesY);
    static int AccIBDProcessImage_NoSplit_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                             unsigned uiPsfSize, float fEnergyRatio, RyProgressCallback pfn,
                                             void* pData, unsigned uiReserved, unsigned uiBlindCycles,
                                             bool bReserved);
    /// Negative samples of picture and PSF are cut first.
    static int AccIBDProcessImage_NoSplit_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf,
                                             unsigned uiPsfSize, float fEnergyRatio, RyProgressCallback pfn,
                                             void* pData, unsigned uiReserved, unsigned uiBlindCycles,
                                             bool bReserved);

    // ---- prefilter -----------------------------------------------------------------------------------

    /// The small Gaussian that some methods blur picture and PSF with: deviation 0.8, a separable square of
    /// sum 1, at most 7 by 7, in a frame of W by H smaller where a side is below 8. Along an axis that the
    /// frame makes shorter the rim of the square is 0. pfKernel is released with CRyAlloc::Free; null, and
    /// uiSize 0, where memory is exhausted.
    static void GetPrefilterKernel(unsigned W, unsigned H, float*& pfKernel, unsigned& uiSize);

  private:
    friend struct gnr::test::PictureAccess;

    /// Convolves both frames with the kernel, in place, and cuts negatives. The plan divides in its inverse
    /// direction. 0, or -9 without memory; then the frames are as they were.
    static int PrefilterImageAndPSF(unsigned W, unsigned H, float* pfImage, float* pfPsf,
                                    FFT2DSpec_R_32f* pSpec, unsigned char* pBuffer, IppiSize& size,
                                    float fUnused);

    // ---- accelerated Richardson-Lucy -----------------------------------------------------------------
    // Frames of W by H floats: x estimate, in and out; h PSF, or in the blind form the partner; y observed;
    // the others are scratch. Always 0, also when stopped.
    //
    //   x := x (x / x before)^alpha, then x H^T(y / (H x)) / sum of h
    //
    // Source   Biggs and Andrews 1997 (docs/bibliography.md)

    /// y is filled with the start of x, or with h where bFromImage is false.
    static int AccRLProcessInner(float* x, float* h, unsigned W, unsigned H, unsigned uiIterations,
                                 bool bFromImage, unsigned uiReserved, float* y, float* otf, float* b,
                                 float* c, float* d, float* e, float* f, unsigned char* pBuffer,
                                 int iBufferSize, FFT2DSpec_R_32f* pSpec, RyProgressCallback pfn, void* pData,
                                 bool bReserved);
    /// y is the caller's. Where fStop is above 0, the steps on the image end when the energy of the PSF over
    /// that of the image falls below it, and the steps on the PSF when it rises above it.
    static int AccIBDProcessInner(float* x, float* h, unsigned W, unsigned H, unsigned uiIterations,
                                  bool bImageStep, float fStop, float* y, float* otf, float* b, float* c,
                                  float* d, float* e, float* f, unsigned char* pBuffer, int iBufferSize,
                                  FFT2DSpec_R_32f* pSpec, RyProgressCallback pfn, void* pData);
};
