// SPDX-License-Identifier: MIT
#pragma once

// The Richardson-Lucy entries of the 2D family behind one call each, for tests that go through all of them.

#include <gnr_deconvolution/deconvolution_2d.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <vector>

#include "support/pictures.h"
#include "support/progress_log.h"
#include "support/ref/richardson_lucy_2d.h"

namespace gnr::test {

enum class RichardsonLucy { kTikhonovMiller, kVariation, kDirection };

inline std::ostream& operator<<(std::ostream& out, RichardsonLucy method) {
    constexpr const char* kNames[] = {"TM", "TV", "RealTV"};
    return out << kNames[static_cast<int>(method)];
}

/// What a call is made with.
struct PictureCall {
    std::vector<float> psf = LopsidedPsf(6);
    unsigned psfSide = 6;
    unsigned iterations = 3;
    double lambda = 0.0;
    int strength = 0;
    ProgressLog* log = nullptr;
};

/// The _NoSplit_x1 entry; `done` takes the count where the entry tells it.
template <class Record>
int RestoreWhole(RichardsonLucy method, Record* pDst, Record* pSrc, PictureCall call,
                 unsigned* done = nullptr) {
    using Family = CRy2DDeconvolutionFamily;
    const RyProgressCallback pfn = call.log != nullptr ? &ProgressLog::Record : nullptr;
    switch (method) {
        case RichardsonLucy::kTikhonovMiller:
            return Family::AccRLTMAddProcessImage_NoSplit_x1(pDst, pSrc, call.psf.data(), call.psfSide, pfn,
                                                             call.log, 7, call.iterations, true, call.lambda,
                                                             done);
        case RichardsonLucy::kVariation:
            return Family::AccRLTVAddProcessImage_NoSplit_x1(pDst, pSrc, call.psf.data(), call.psfSide, pfn,
                                                             call.log, 7, call.iterations, true,
                                                             call.strength);
        default:
            return Family::AccRLTVRealAddProcessImage_NoSplit_x1(pDst, pSrc, call.psf.data(), call.psfSide,
                                                                 pfn, call.log, 7, call.iterations, true,
                                                                 call.strength);
    }
}

/// The _x1 entry; the range is taken by the Tikhonov-Miller form only.
template <class Record>
int RestoreTiles(RichardsonLucy method, Record* pDst, Record* pSrc, PictureCall call, unsigned tilesX,
                 unsigned tilesY, CRyUintRange* range = nullptr) {
    using Family = CRy2DDeconvolutionFamily;
    const RyProgressCallback pfn = call.log != nullptr ? &ProgressLog::Record : nullptr;
    switch (method) {
        case RichardsonLucy::kTikhonovMiller:
            return Family::AccRLTMAddProcessImage_x1(pDst, pSrc, call.psf.data(), call.psfSide, pfn, call.log,
                                                     7, call.iterations, true, call.lambda, tilesX, tilesY,
                                                     range);
        case RichardsonLucy::kVariation:
            return Family::AccRLTVAddProcessImage_x1(pDst, pSrc, call.psf.data(), call.psfSide, pfn, call.log,
                                                     7, call.iterations, true, call.strength, tilesX, tilesY);
        default:
            return Family::AccRLTVRealAddProcessImage_x1(pDst, pSrc, call.psf.data(), call.psfSide, pfn,
                                                         call.log, 7, call.iterations, true, call.strength,
                                                         tilesX, tilesY);
    }
}

/// The picture as the references take it.
template <class Picture>
ref::RealVolume PlainPicture(Picture& picture) {
    const auto& record = picture.record();
    ref::RealVolume plain(static_cast<int>(record.uiWidth), static_cast<int>(record.uiHeight), 1);
    for (unsigned y = 0; y < record.uiHeight; ++y) {
        for (unsigned x = 0; x < record.uiWidth; ++x) {
            plain.at(static_cast<int>(x), static_cast<int>(y), 0) = picture.Get(x, y);
        }
    }
    return plain;
}

/// What the reference makes of the same call.
template <class Picture>
ref::PictureResult ReferenceOf(RichardsonLucy method, Picture& source, const PictureCall& call,
                               int stopAtCall = -1) {
    ref::PictureJob job;
    job.kind = std::is_same_v<typename Picture::Record, SRyPicBuf> ? ref::PictureKind::kInteger
                                                                   : ref::PictureKind::kFloat;
    job.iterations = call.iterations;
    job.lambda = call.lambda;
    job.strength = call.strength;
    job.stopAtCall = stopAtCall;
    const auto side = static_cast<int>(call.psfSide);
    if (method == RichardsonLucy::kTikhonovMiller) {
        return ref::PictureTM(PlainPicture(source), call.psf, side, job);
    }
    const auto term = method == RichardsonLucy::kVariation ? ref::VariationTerm::kLaplacian
                                                           : ref::VariationTerm::kDirection;
    return ref::PictureTV(term, PlainPicture(source), call.psf, side, job);
}

}  // namespace gnr::test
