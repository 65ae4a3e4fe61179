// SPDX-License-Identifier: MIT

// The entries of Richardson-Lucy with total-variation terms.

#include <gnr_deconvolution/deconvolution_2d.h>

#include "algorithms/total_variation.h"
#include "driver/tiles.h"

using namespace gnr::detail;

namespace {

template <AnyPicture P>
int Restore(P* pDst, P* pSrc, const PsfSquare& psf, const Progress& progress, const TotalVariationRun& run) {
    if (const int code = CheckPicture(*pSrc); code != gnr::kSuccess) return code;
    const RichardsonLucyFrames frames(*pSrc, psf);
    if (!frames) return gnr::kNotReady;
    frames.Observe();
    if (!IterateTotalVariation(frames, run, progress, ClippingOf<P>(run.term))) return gnr::kNotReady;
    const bool delivered = Deliver(*pDst, *pSrc, kMargin, frames.Size(), frames.x());
    return delivered ? gnr::kSuccess : gnr::kNotReady;
}

}  // namespace

int CRy2DDeconvolutionFamily::AccRLTVAddProcessImage_NoSplit_x1(
    SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
    unsigned /*uiReserved*/, unsigned uiIterations, bool /*bReserved*/, int iTVStrength) {
    return Restore(pDst, pSrc, {pfPsf, uiPsfSize}, {kPictureDeconvolution, pfn, pData},
                   {TotalVariationTerm::kLaplacian, iTVStrength, uiIterations});
}

int CRy2DDeconvolutionFamily::AccRLTVAddProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                        unsigned uiPsfSize, RyProgressCallback pfn,
                                                        void* pData, unsigned uiReserved,
                                                        unsigned uiIterations, bool bReserved,
                                                        int iTVStrength, unsigned uiTilesX,
                                                        unsigned uiTilesY) {
    return RestoreInTiles(pDst, pSrc, {uiTilesX, uiTilesY}, [&](SRyPicBuf* destination, SRyPicBuf* source) {
        return AccRLTVAddProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize, pfn, pData,
                                                 uiReserved, uiIterations, bReserved, iTVStrength);
    });
}

int CRy2DDeconvolutionFamily::AccRLTVAddProcessImage_NoSplit_x1(
    SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn,
    void* pData, unsigned /*uiReserved*/, unsigned uiIterations, bool /*bReserved*/, int iTVStrength) {
    return Restore(pDst, pSrc, {pfPsf, uiPsfSize}, {kPictureDeconvolution, pfn, pData},
                   {TotalVariationTerm::kLaplacian, iTVStrength, uiIterations});
}

int CRy2DDeconvolutionFamily::AccRLTVAddProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc,
                                                        float* pfPsf, unsigned uiPsfSize,
                                                        RyProgressCallback pfn, void* pData,
                                                        unsigned uiReserved, unsigned uiIterations,
                                                        bool bReserved, int iTVStrength, unsigned uiTilesX,
                                                        unsigned uiTilesY) {
    return RestoreInTiles(
        pDst, pSrc, {uiTilesX, uiTilesY}, [&](SRyFloatPicBuf* destination, SRyFloatPicBuf* source) {
            return AccRLTVAddProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize, pfn, pData,
                                                     uiReserved, uiIterations, bReserved, iTVStrength);
        });
}

int CRy2DDeconvolutionFamily::AccRLTVRealAddProcessImage_NoSplit_x1(
    SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn, void* pData,
    unsigned /*uiReserved*/, unsigned uiIterations, bool /*bReserved*/, int iTVStrength) {
    return Restore(pDst, pSrc, {pfPsf, uiPsfSize}, {kPictureDeconvolution, pfn, pData},
                   {TotalVariationTerm::kDirection, iTVStrength, uiIterations});
}

int CRy2DDeconvolutionFamily::AccRLTVRealAddProcessImage_x1(SRyPicBuf* pDst, SRyPicBuf* pSrc, float* pfPsf,
                                                            unsigned uiPsfSize, RyProgressCallback pfn,
                                                            void* pData, unsigned uiReserved,
                                                            unsigned uiIterations, bool bReserved,
                                                            int iTVStrength, unsigned uiTilesX,
                                                            unsigned uiTilesY) {
    return RestoreInTiles(pDst, pSrc, {uiTilesX, uiTilesY}, [&](SRyPicBuf* destination, SRyPicBuf* source) {
        return AccRLTVRealAddProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize, pfn, pData,
                                                     uiReserved, uiIterations, bReserved, iTVStrength);
    });
}

int CRy2DDeconvolutionFamily::AccRLTVRealAddProcessImage_NoSplit_x1(
    SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc, float* pfPsf, unsigned uiPsfSize, RyProgressCallback pfn,
    void* pData, unsigned /*uiReserved*/, unsigned uiIterations, bool /*bReserved*/, int iTVStrength) {
    return Restore(pDst, pSrc, {pfPsf, uiPsfSize}, {kPictureDeconvolution, pfn, pData},
                   {TotalVariationTerm::kDirection, iTVStrength, uiIterations});
}

int CRy2DDeconvolutionFamily::AccRLTVRealAddProcessImage_x1(SRyFloatPicBuf* pDst, SRyFloatPicBuf* pSrc,
                                                            float* pfPsf, unsigned uiPsfSize,
                                                            RyProgressCallback pfn, void* pData,
                                                            unsigned uiReserved, unsigned uiIterations,
                                                            bool bReserved, int iTVStrength,
                                                            unsigned uiTilesX, unsigned uiTilesY) {
    return RestoreInTiles(
        pDst, pSrc, {uiTilesX, uiTilesY}, [&](SRyFloatPicBuf* destination, SRyFloatPicBuf* source) {
            return AccRLTVRealAddProcessImage_NoSplit_x1(destination, source, pfPsf, uiPsfSize, pfn, pData,
                                                         uiReserved, uiIterations, bReserved, iTVStrength);
        });
}
