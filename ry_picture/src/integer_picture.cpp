// SPDX-License-Identifier: MIT
#include <ry_picture/integer_picture.h>
#include <ry_system/alloc.h>

#include <limits>

#include "rectangle.h"
#include "result_codes.h"
#include "storage.h"

namespace {

using namespace gnr::detail;

std::uint64_t BytesPerSample(std::uint8_t bits) {
    return bits == 8 ? 1 : 2;
}

}  // namespace

void CRyPicBufAPI::Init(SRyPicBuf* pPic) {
    *pPic = SRyPicBuf{};
}

int CRyPicBufAPI::Reinit(SRyPicBuf* pPic, std::uint32_t uiWidth, std::uint32_t uiHeight,
                         std::uint32_t /*uiReserved*/, std::uint8_t ucBits, std::uint32_t uiComponents,
                         bool /*bClear*/) {
    Free(pPic);
    constexpr std::uint64_t kMostPitch = std::numeric_limits<std::uint32_t>::max();
    const auto pitch = ProductWithin(kMostPitch, {uiWidth, uiComponents, BytesPerSample(ucBits)});
    if (!pitch) return kPictureNoMemory;
    const auto bytes = ProductWithin(kMostBytes, {*pitch, uiHeight});
    if (!bytes) return kPictureNoMemory;
    void* const samples = ZeroedBytes(*bytes);
    if (samples == nullptr) return kPictureNoMemory;
    *pPic = {uiWidth, uiHeight, static_cast<std::uint32_t>(*pitch), ucBits, uiComponents, *bytes, samples};
    return kPictureDone;
}

int CRyPicBufAPI::CopyRect(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                           std::uint32_t uiHeight, SRyPicBuf* pDst, std::uint32_t uiSrcX,
                           std::uint32_t uiSrcY, const SRyPicBuf* pSrc) {
    const std::uint64_t bytesPerSample = BytesPerSample(pDst->ucBits);
    if (bytesPerSample != BytesPerSample(pSrc->ucBits) || pDst->uiComponents != pSrc->uiComponents) {
        return kPictureBadArgument;
    }
    CopyClipped(
        {static_cast<std::byte*>(pDst->pData), pDst->uiPitch, pDst->uiWidth, pDst->uiHeight, uiDstX, uiDstY},
        {static_cast<const std::byte*>(pSrc->pData), pSrc->uiPitch, pSrc->uiWidth, pSrc->uiHeight, uiSrcX,
         uiSrcY},
        uiWidth, uiHeight, pDst->uiComponents * bytesPerSample);
    return kPictureDone;
}

void CRyPicBufAPI::Free(SRyPicBuf* pPic) {
    CRyAlloc::Free(pPic->pData);
    Init(pPic);
}
