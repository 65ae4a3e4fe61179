// SPDX-License-Identifier: MIT
#pragma once

// What all _NoSplit_x1 entries do before and after their iterations: check the picture, lay it into a frame
// with a replicated margin, and write its place in the restored frame back.

#include <gnr_deconvolution/return_codes.h>

#include <cstdint>

#include "driver/frame_size.h"
#include "driver/picture_kinds.h"
#include "driver/sample_conversion.h"
#include "frame/progress.h"

namespace gnr::detail {

inline constexpr ProgressText kPictureDeconvolution = {L"Running Deconvolution...",
                                                       "gnr_deconvolution/core_2d"};

/// Pixels of the replicated margin on each side.
inline constexpr unsigned kMargin = 40;
inline constexpr unsigned kBlindMargin = 15;
/// Sides below this are rejected.
inline constexpr unsigned kLeastSide = 16;

/// 0, or -2 for a picture that the family does not take. To be asked before anything is allocated.
template <AnyPicture P>
int CheckPicture(const P& source) {
    const bool accepted =
        source.uiComponents == 1 && source.uiWidth >= kLeastSide && source.uiHeight >= kLeastSide;
    return accepted ? kSuccess : kPictureRejected;
}

/// Makes the frame picture: the source at (margin, margin), its border replicated outwards over the margin,
/// zeros to the right and below. False where memory does not suffice or the size cannot be had.
template <AnyPicture P>
[[nodiscard]] bool LayIntoFrame(OwnedPicture<P>& frame, const P& source, unsigned margin,
                                const FrameSize& size) {
    if (!size.IsUsable()) return false;
    const std::uint32_t width = source.uiWidth + 2 * margin;
    const std::uint32_t height = source.uiHeight + 2 * margin;
    OwnedPicture<P> bordered;
    if (!bordered.Make(width, height, source)) return false;
    CopyRect({margin, margin}, source.uiWidth, source.uiHeight, *bordered, {}, source);
    ReplicateBorder(*bordered, margin);
    if (!frame.Make(size.width, size.height, source)) return false;
    CopyRect({}, width, height, *frame, {}, *bordered);
    return true;
}

/// Writes the source's place in the frame to the destination, in the sample type of `like`. False without
/// memory.
template <AnyPicture P>
[[nodiscard]] bool Deliver(P& destination, const P& like, unsigned margin, const FrameSize& size,
                           const float* frame) {
    OwnedPicture<P> picture;
    if (!picture.Make(size.width, size.height, like)) return false;
    FloatToPicBuf(*picture, frame, size.width, size.height);
    CopyRect({}, destination.uiWidth, destination.uiHeight, destination, {margin, margin}, *picture);
    return true;
}

}  // namespace gnr::detail
