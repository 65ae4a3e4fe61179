// SPDX-License-Identifier: MIT
#pragma once

// One set of names for the two kinds of pictures, so that a step is written once for both.

#include <ry_picture/ry_picture.h>

#include <concepts>
#include <cstdint>

namespace gnr::detail {

template <class P>
concept AnyPicture = std::same_as<P, SRyPicBuf> || std::same_as<P, SRyFloatPicBuf>;

inline void Init(SRyPicBuf& picture) {
    CRyPicBufAPI::Init(&picture);
}
inline void Init(SRyFloatPicBuf& picture) {
    CRyFloatPicBufAPI::Init(&picture);
}

inline void Free(SRyPicBuf& picture) {
    CRyPicBufAPI::Free(&picture);
}
inline void Free(SRyFloatPicBuf& picture) {
    CRyFloatPicBufAPI::Free(&picture);
}

/// Zeroed samples of this size, in bits and components as those of another picture. Not 0 where they could
/// not be had.
inline int Reinit(SRyPicBuf& picture, std::uint32_t width, std::uint32_t height, const SRyPicBuf& like) {
    return CRyPicBufAPI::Reinit(&picture, width, height, 0, like.ucBits, like.uiComponents, true);
}
inline int Reinit(SRyFloatPicBuf& picture, std::uint32_t width, std::uint32_t height,
                  const SRyFloatPicBuf& like) {
    return CRyFloatPicBufAPI::Reinit(&picture, width, height, 0, like.uiComponents, true);
}

/// A corner of a picture.
struct Corner {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
};

/// Copies width by height pixels, as far as both pictures reach.
inline void CopyRect(Corner to, std::uint32_t width, std::uint32_t height, SRyPicBuf& destination,
                     Corner from, const SRyPicBuf& source) {
    CRyPicBufAPI::CopyRect(to.x, to.y, width, height, &destination, from.x, from.y, &source);
}
inline void CopyRect(Corner to, std::uint32_t width, std::uint32_t height, SRyFloatPicBuf& destination,
                     Corner from, const SRyFloatPicBuf& source) {
    CRyFloatPicBufAPI::CopyRect(to.x, to.y, width, height, &destination, from.x, from.y, &source);
}

/// A picture that frees its samples.
template <AnyPicture P>
class OwnedPicture {
  public:
    OwnedPicture() { Init(picture_); }
    OwnedPicture(const OwnedPicture&) = delete;
    OwnedPicture& operator=(const OwnedPicture&) = delete;
    ~OwnedPicture() { Free(picture_); }

    /// Zeroed samples, in place of those before. False, and an empty picture, where they could not be had.
    [[nodiscard]] bool Make(std::uint32_t width, std::uint32_t height, const P& like) {
        return Reinit(picture_, width, height, like) == 0;
    }
    void Release() { Free(picture_); }

    P& operator*() { return picture_; }
    P* operator->() { return &picture_; }

  private:
    P picture_;
};

}  // namespace gnr::detail
