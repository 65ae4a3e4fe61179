// SPDX-License-Identifier: MIT
#pragma once

// A picture of 8- or 16-bit samples.

#include <ry_picture/export.h>

#include <cstdint>

/// Picture of integer samples: component k of pixel (x, y) is sample x * uiComponents + k of the row that
/// begins at byte y * uiPitch. A plain record: a host may point it at memory of its own, as long as it then
/// calls neither Reinit nor Free on it.
struct SRyPicBuf {
    std::uint32_t uiWidth;       ///< pixels a row
    std::uint32_t uiHeight;      ///< rows
    std::uint32_t uiPitch;       ///< bytes from one row to the next; may exceed the samples of a row
    std::uint8_t ucBits;         ///< significant bits of a sample; 8: one byte a sample, any other: two bytes
    std::uint32_t uiComponents;  ///< samples a pixel
    std::uint64_t ullSize;       ///< bytes of the samples
    void* pData;                 ///< the samples
};

/// Operations on SRyPicBuf. They return 0 when done. Records are not shared between threads by themselves.
class RY_PICTURE_API CRyPicBufAPI {
  public:
    /// Makes a record empty: all fields 0, no samples. Nothing is released.
    static void Init(SRyPicBuf* pPic);

    /// Releases what the record holds and gives it zeroed samples of this geometry, rows without gaps.
    /// uiReserved and bClear have no effect. -3 where the size cannot be had; the record is then empty.
    static int Reinit(SRyPicBuf* pPic, std::uint32_t uiWidth, std::uint32_t uiHeight,
                      std::uint32_t uiReserved, std::uint8_t ucBits, std::uint32_t uiComponents, bool bClear);

    /// Copies the rectangle of uiWidth by uiHeight pixels at (uiSrcX, uiSrcY) of pSrc to (uiDstX, uiDstY) of
    /// pDst, as far as both pictures reach; parts that do not exist are left out on both sides. The pictures
    /// are distinct. -4, and nothing copied, where they differ in bytes a sample or in components.
    static int CopyRect(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                        std::uint32_t uiHeight, SRyPicBuf* pDst, std::uint32_t uiSrcX, std::uint32_t uiSrcY,
                        const SRyPicBuf* pSrc);

    /// Releases the samples that Reinit gave and makes the record empty; an empty record is harmless.
    static void Free(SRyPicBuf* pPic);
};
