// SPDX-License-Identifier: MIT
#pragma once

// Sizes of the frames that pictures are restored in.

namespace gnr::detail {

/// Sides of a frame; 0 by 0 where the picture is too large for one.
struct FrameSize {
    unsigned width = 0;
    unsigned height = 0;
    unsigned orderX = 0;  ///< width = 2^orderX, in frames whose sides are powers of two
    unsigned orderY = 0;

    bool IsUsable() const { return width != 0; }
};

/// A row of floats is counted in an int of bytes, so that frames end at this order.
inline constexpr unsigned kGreatestOrder = 28;

/// Smallest powers of two not below w + pad and h + pad, and their orders. All 0 beyond kGreatestOrder.
void PaddedSizePow2(unsigned* outW, unsigned* outH, unsigned* orderX, unsigned* orderY, unsigned w,
                    unsigned h, unsigned pad);

/// w + pad and h + pad, rounded up to multiples of 32. All 0 beyond 2^kGreatestOrder; zero1 and zero2 always.
void PaddedSize32(unsigned* outW, unsigned* outH, unsigned* zero1, unsigned* zero2, unsigned w, unsigned h,
                  unsigned pad);

/// The frame for transforms of a picture of w by h with a margin on all sides.
FrameSize TransformFrame(unsigned w, unsigned h, unsigned margin);
/// The frame for three levels of wavelets, likewise.
FrameSize WaveletFrame(unsigned w, unsigned h, unsigned margin);

}  // namespace gnr::detail
