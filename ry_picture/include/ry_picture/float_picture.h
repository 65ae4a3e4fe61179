// SPDX-License-Identifier: MIT
#pragma once

// A picture of float samples.

#include <ry_picture/export.h>

#include <cstdint>

/// Picture of float samples, rows without gaps: component k of pixel (x, y) is sample
/// (y * uiWidth + x) * uiComponents + k. A plain record: a host may point it at memory of its own, as long as
/// it then calls neither Reinit nor Free on it.
struct SRyFloatPicBuf {
    std::uint32_t uiFlags;       ///< the host's own, never read
    std::uint32_t uiWidth;       ///< pixels a row
    std::uint32_t uiHeight;      ///< rows
    std::uint32_t uiReserved;    ///< never read
    std::uint32_t uiComponents;  ///< samples a pixel
    float* pData;                ///< the samples
};

/// Operations on SRyFloatPicBuf. They return 0 when done. Records are not shared between threads by
/// themselves.
class RY_PICTURE_API CRyFloatPicBufAPI {
  public:
    /// Makes a record empty: all fields 0, no samples. Nothing is released.
    static void Init(SRyFloatPicBuf* pPic);

    /// Releases what the record holds and gives it zeroed samples of this geometry. uiReserved and bClear
    /// have no effect. -3 where the size cannot be had; the record is then empty.
    static int Reinit(SRyFloatPicBuf* pPic, std::uint32_t uiWidth, std::uint32_t uiHeight,
                      std::uint32_t uiReserved, std::uint32_t uiComponents, bool bClear);

    /// Copies the rectangle of uiWidth by uiHeight pixels at (uiSrcX, uiSrcY) of pSrc to (uiDstX, uiDstY) of
    /// pDst, as far as both pictures reach; parts that do not exist are left out on both sides. The pictures
    /// are distinct. -4, and nothing copied, where they differ in components.
    static int CopyRect(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                        std::uint32_t uiHeight, SRyFloatPicBuf* pDst, std::uint32_t uiSrcX,
                        std::uint32_t uiSrcY, const SRyFloatPicBuf* pSrc);

    /// Releases the samples that Reinit gave and makes the record empty; an empty record is harmless.
    static void Free(SRyFloatPicBuf* pPic);
};
