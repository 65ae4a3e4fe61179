// SPDX-License-Identifier: MIT

#include "report/grey_picture.h"

#include <algorithm>

namespace rydecon {

void GreyPicture::FillBox(int left, int top, int width, int height, std::uint8_t grey) {
    for (int y = std::max(top, 0); y < std::min(top + height, height_); ++y) {
        for (int x = std::max(left, 0); x < std::min(left + width, width_); ++x) Set(x, y, grey);
    }
}

void GreyPicture::Draw(const GreyPicture& part, int left, int top) {
    for (int y = std::max(top, 0); y < std::min(top + part.height(), height_); ++y) {
        for (int x = std::max(left, 0); x < std::min(left + part.width(), width_); ++x) {
            Set(x, y, part.At(x - left, y - top));
        }
    }
}

}  // namespace rydecon
