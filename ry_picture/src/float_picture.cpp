// SPDX-License-Identifier: MIT
#include <ry_picture/float_picture.h>
#include <ry_system/alloc.h>

#include "rectangle.h"
#include "result_codes.h"
#include "storage.h"

namespace {

using namespace gnr::detail;

std::uint64_t Pitch(const SRyFloatPicBuf& pic) {
    return std::uint64_t{pic.uiWidth} * pic.uiComponents * sizeof(float);
}

}  // namespace

void CRyFloatPicBufAPI::Init(SRyFloatPicBuf* pPic) {
    *pPic = SRyFloatPicBuf{};
}

int CRyFloatPicBufAPI::Reinit(SRyFloatPicBuf* pPic, std::uint32_t uiWidth, std::uint32_t uiHeight,
                              std::uint32_t /*uiReserved*/, std::uint32_t uiComponents, bool /*bClear*/) {
    Free(pPic);
    const auto bytes = ProductWithin(kMostBytes, {uiWidth, uiHeight, uiComponents, sizeof(float)});
    if (!bytes) return kPictureNoMemory;
    auto* const samples = static_cast<float*>(ZeroedBytes(*bytes));
    if (samples == nullptr) return kPictureNoMemory;
    *pPic = {0, uiWidth, uiHeight, 0, uiComponents, samples};
    return kPictureDone;
}

int CRyFloatPicBufAPI::CopyRect(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                                std::uint32_t uiHeight, SRyFloatPicBuf* pDst, std::uint32_t uiSrcX,
                                std::uint32_t uiSrcY, const SRyFloatPicBuf* pSrc) {
    if (pDst->uiComponents != pSrc->uiComponents) return kPictureBadArgument;
    CopyClipped({reinterpret_cast<std::byte*>(pDst->pData), Pitch(*pDst), pDst->uiWidth, pDst->uiHeight,
                 uiDstX, uiDstY},
                {reinterpret_cast<const std::byte*>(pSrc->pData), Pitch(*pSrc), pSrc->uiWidth, pSrc->uiHeight,
                 uiSrcX, uiSrcY},
                uiWidth, uiHeight, std::uint64_t{pDst->uiComponents} * sizeof(float));
    return kPictureDone;
}

void CRyFloatPicBufAPI::Free(SRyFloatPicBuf* pPic) {
    CRyAlloc::Free(pPic->pData);
    Init(pPic);
}
