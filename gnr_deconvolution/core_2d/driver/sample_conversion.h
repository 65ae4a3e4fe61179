// SPDX-License-Identifier: MIT
#pragma once

// From the samples of a picture to floats and back, and the replicated border. Pictures have one component and
// are exactly of the size that is told.

#include <ry_picture/ry_picture.h>

namespace gnr::detail {

/// Writes the pixel d pixels inside each edge to all pixels between it and the edge: left and right of the
/// rows from d to height - d - 1 first, then above and below in all columns. Sides are above 2 d.
void ReplicateBorder(SRyPicBuf& picture, unsigned d);
void ReplicateBorder(SRyFloatPicBuf& picture, unsigned d);

/// frame := samples, as they are; W by H floats, rows adjacent.
void PicBufToFloat(float* frame, unsigned W, unsigned H, const SRyPicBuf& picture);
void PicBufToFloat(float* frame, unsigned W, unsigned H, const SRyFloatPicBuf& picture);

/// Samples := frame. Integers: truncated, cut to 0 .. 255, or to 0 .. 2^ucBits - 1 where they have two bytes
/// (above 16 bits: 65535); no number gives 0. Floats: values below 0 give 0, all others stay.
void FloatToPicBuf(SRyPicBuf& picture, const float* frame, unsigned W, unsigned H);
void FloatToPicBuf(SRyFloatPicBuf& picture, const float* frame, unsigned W, unsigned H);

}  // namespace gnr::detail
