// SPDX-License-Identifier: MIT
#pragma once

// The Landweber entries of the 2D family behind one call each, for tests that go through all of them.

#include <gnr_deconvolution/deconvolution_2d.h>

#include <vector>

#include "support/pictures.h"
#include "support/progress_log.h"

namespace gnr::test {

/// What a Landweber entry is called with, and what it counted.
struct LandweberPictureCall {
    std::vector<float> psf = LopsidedPsf(6);
    unsigned psfSide = 6;
    unsigned iterations = 3;
    int smoothing = 2;
    double threshold = 1.0;
    unsigned boundWidth = 24;
    unsigned boundHeight = 16;
    ProgressLog* log = nullptr;
    unsigned done = 77;

    template <class Record>
    int Accelerated(Record* pDst, Record* pSrc) {
        return CRy2DDeconvolutionFamily::AccLandweberProcessImage_NoSplit_x1(
            pDst, pSrc, psf.data(), psfSide, Callback(), log, 9, iterations, true, smoothing, boundWidth,
            boundHeight);
    }
    template <class Record>
    int Accelerated(Record* pDst, Record* pSrc, unsigned tilesX, unsigned tilesY) {
        return CRy2DDeconvolutionFamily::AccLandweberProcessImage_x1(
            pDst, pSrc, psf.data(), psfSide, Callback(), log, 9, iterations, true, smoothing, boundWidth,
            boundHeight, tilesX, tilesY);
    }
    template <class Record>
    int Plain(Record* pDst, Record* pSrc) {
        return CRy2DDeconvolutionFamily::LandweberProcessImage_Unaccel_NoSplit_x1(
            pDst, pSrc, psf.data(), psfSide, Callback(), log, 9, iterations, true, threshold, &done);
    }
    template <class Record>
    int Plain(Record* pDst, Record* pSrc, unsigned tilesX, unsigned tilesY, CRyUintRange* range) {
        return CRy2DDeconvolutionFamily::LandweberProcessImage_Unaccel_x1(
            pDst, pSrc, psf.data(), psfSide, Callback(), log, 9, iterations, true, threshold, tilesX, tilesY,
            range);
    }

    /// Either method.
    template <class Record>
    int Run(bool accelerated, Record* pDst, Record* pSrc) {
        return accelerated ? Accelerated(pDst, pSrc) : Plain(pDst, pSrc);
    }
    template <class Record>
    int Run(bool accelerated, Record* pDst, Record* pSrc, unsigned tilesX, unsigned tilesY) {
        return accelerated ? Accelerated(pDst, pSrc, tilesX, tilesY)
                           : Plain(pDst, pSrc, tilesX, tilesY, nullptr);
    }

  private:
    RyProgressCallback Callback() const { return log != nullptr ? &ProgressLog::Record : nullptr; }
};

/// One sample of this height in the middle of a PSF of 4 by 4.
inline std::vector<float> SinglePoint(float height) {
    std::vector<float> psf(16, 0.0f);
    psf[10] = height;
    return psf;
}

}  // namespace gnr::test
