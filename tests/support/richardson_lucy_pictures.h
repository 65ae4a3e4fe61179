// SPDX-License-Identifier: MIT
#pragma once

// What the tests of the Richardson-Lucy methods on pictures share: the methods, a usual call, both kinds of
// pictures.

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "support/picture_jobs.h"

namespace gnr::test {

inline constexpr auto kTM = RichardsonLucy::kTikhonovMiller;
inline constexpr auto kTV = RichardsonLucy::kVariation;
inline constexpr auto kRealTV = RichardsonLucy::kDirection;
inline constexpr RichardsonLucy kMethods[] = {kTM, kTV, kRealTV};

/// A call with every term at work.
inline PictureCall OrdinaryCall(unsigned iterations = 3) {
    PictureCall call;
    call.iterations = iterations;
    call.lambda = 0.3;
    call.strength = 4;
    return call;
}

template <class Picture>
constexpr bool kIsInteger = std::is_same_v<Picture, IntegerPicture>;

inline std::vector<unsigned char> AllBytes(IntegerPicture& picture) {
    return picture.Bytes();
}
inline std::vector<unsigned char> AllBytes(FloatPicture& picture) {
    const auto* const first = reinterpret_cast<const unsigned char*>(picture.Samples().data());
    return {first, first + picture.Samples().size() * sizeof(float)};
}

/// For both kinds of pictures; all methods are gone through inside.
template <class Picture>
class RichardsonLucyOnPictures : public testing::Test {
  protected:
    RichardsonLucyOnPictures() { source.Fill(Scene); }

    Picture source{40, 33};
    Picture destination{40, 33};
};
using BothKinds = testing::Types<IntegerPicture, FloatPicture>;

}  // namespace gnr::test
