// SPDX-License-Identifier: MIT
#include <ry_math/wavelet_2d.h>

#include "arguments.h"
#include "picture_passes.h"
#include "result_codes.h"
#include "scratch_block.h"

using namespace gnr::detail;

int CRyWavelet2D::WaveletDecompositionImage(double*& a, double*& b, double*& c, double*& d, unsigned& uiOutW,
                                            unsigned& uiOutH, double* pIn, unsigned w, unsigned h,
                                            double* pMother, double* pFather, unsigned uiLength) {
    if (AnyNull({a, b, c, d, pIn, pMother, pFather}) || !AreEvenSides({w, h}) || !IsFilterLength(uiLength)) {
        return kWaveletBadArgument;
    }
    const PictureGeometry s{w / 2, h / 2};
    const ScratchBlock<double> work = NewScratch<double>(s.ScratchSize());
    if (work == nullptr) return kWaveletNoMemory;
    AnalyzePicture<double>(s, AnalysisPair(pMother, pFather, uiLength), pIn, {a, b, c, d}, work.get());
    uiOutW = w / 2;
    uiOutH = h / 2;
    return kWaveletDone;
}

int CRyWavelet2D::WaveletReconstructionImage(double*& pOut, unsigned& uiOutW, unsigned& uiOutH, double* a,
                                             double* b, double* c, double* d, unsigned w, unsigned h,
                                             double* pMother, double* pFather, unsigned uiLength) {
    if (AnyNull({pOut, a, b, c, d, pMother, pFather}) || !AreBandSides({w, h}) || !IsFilterLength(uiLength)) {
        return kWaveletBadArgument;
    }
    const PictureGeometry s{w, h};
    const ScratchBlock<double> work = NewScratch<double>(s.ScratchSize());
    if (work == nullptr) return kWaveletNoMemory;
    SynthesizePicture<double>(s, SynthesisPair(pMother, pFather, uiLength), {a, b, c, d}, pOut, work.get());
    uiOutW = 2 * w;
    uiOutH = 2 * h;
    return kWaveletDone;
}
