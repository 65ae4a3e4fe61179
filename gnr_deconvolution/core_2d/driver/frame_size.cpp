// SPDX-License-Identifier: MIT
#include "driver/frame_size.h"

#include <bit>
#include <cstdint>

namespace gnr::detail {

namespace {

constexpr std::uint64_t kGreatestSide = std::uint64_t{1} << kGreatestOrder;

std::uint64_t Padded(unsigned side, unsigned pad) {
    return std::uint64_t{side} + pad;
}

/// The number of significant bits of side + pad - 1.
unsigned OrderOf(unsigned side, unsigned pad) {
    const std::uint64_t padded = Padded(side, pad);
    return padded == 0 ? 0 : static_cast<unsigned>(std::bit_width(padded - 1));
}

std::uint64_t UpToMultipleOf32(std::uint64_t side) {
    return (side + 31) / 32 * 32;
}

}  // namespace

void PaddedSizePow2(unsigned* outW, unsigned* outH, unsigned* orderX, unsigned* orderY, unsigned w,
                    unsigned h, unsigned pad) {
    *outW = *outH = *orderX = *orderY = 0;
    const unsigned x = OrderOf(w, pad);
    const unsigned y = OrderOf(h, pad);
    if (x > kGreatestOrder || y > kGreatestOrder) return;
    *orderX = x;
    *orderY = y;
    *outW = 1U << x;
    *outH = 1U << y;
}

void PaddedSize32(unsigned* outW, unsigned* outH, unsigned* zero1, unsigned* zero2, unsigned w, unsigned h,
                  unsigned pad) {
    *outW = *outH = *zero1 = *zero2 = 0;
    const std::uint64_t x = UpToMultipleOf32(Padded(w, pad));
    const std::uint64_t y = UpToMultipleOf32(Padded(h, pad));
    if (x > kGreatestSide || y > kGreatestSide) return;
    *outW = static_cast<unsigned>(x);
    *outH = static_cast<unsigned>(y);
}

FrameSize TransformFrame(unsigned w, unsigned h, unsigned margin) {
    FrameSize size;
    PaddedSizePow2(&size.width, &size.height, &size.orderX, &size.orderY, w, h, 2 * margin);
    return size;
}

FrameSize WaveletFrame(unsigned w, unsigned h, unsigned margin) {
    FrameSize size;
    PaddedSize32(&size.width, &size.height, &size.orderX, &size.orderY, w, h, 2 * margin);
    return size;
}

}  // namespace gnr::detail
