// SPDX-License-Identifier: MIT
#pragma once

// An 8-bit grey picture to draw on.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace rydecon {

class GreyPicture {
  public:
    static constexpr std::uint8_t kBlack = 0;
    static constexpr std::uint8_t kWhite = 255;

    /// Black.
    GreyPicture(int width, int height)
        : width_(width),
          height_(height),
          pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), kBlack) {}

    int width() const { return width_; }
    int height() const { return height_; }
    const std::uint8_t* pixels() const { return pixels_.data(); }
    std::uint8_t At(int x, int y) const { return pixels_[Index(x, y)]; }

    /// What lies outside the picture is not drawn.
    void FillBox(int left, int top, int width, int height, std::uint8_t grey);
    void Draw(const GreyPicture& part, int left, int top);

    /// Replaces one pixel of the picture.
    void Set(int x, int y, std::uint8_t grey) { pixels_[Index(x, y)] = grey; }

  private:
    std::size_t Index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    }

    int width_;
    int height_;
    std::vector<std::uint8_t> pixels_;
};

}  // namespace rydecon
