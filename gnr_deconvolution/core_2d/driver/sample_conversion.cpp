// SPDX-License-Identifier: MIT
#include "driver/sample_conversion.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace gnr::detail {

namespace {

/// Rows of samples of one type.
template <class Sample>
struct Samples {
    Sample* first;
    std::size_t stride;  ///< samples from row to row

    Sample* Row(std::size_t j) const { return first + j * stride; }
};

/// visit(samples of the right type)
template <class Visit>
void VisitSamples(const SRyPicBuf& picture, Visit visit) {
    if (picture.ucBits == 8) {
        visit(Samples<std::uint8_t>{static_cast<std::uint8_t*>(picture.pData), picture.uiPitch});
    } else {
        visit(Samples<std::uint16_t>{static_cast<std::uint16_t*>(picture.pData),
                                     picture.uiPitch / sizeof(std::uint16_t)});
    }
}

Samples<float> SamplesOf(const SRyFloatPicBuf& picture) {
    return {picture.pData, picture.uiWidth};
}

template <class Sample>
void Replicate(const Samples<Sample>& s, std::size_t width, std::size_t height, std::size_t d) {
    for (std::size_t y = d; y < height - d; ++y) {
        Sample* const row = s.Row(y);
        std::fill_n(row, d, row[d]);
        std::fill_n(row + (width - d), d, row[width - d - 1]);
    }
    for (std::size_t y = 0; y < d; ++y) {
        std::copy_n(s.Row(d), width, s.Row(y));
        std::copy_n(s.Row(height - d - 1), width, s.Row(height - d + y));
    }
}

template <class Sample>
void ToFloat(float* frame, std::size_t W, std::size_t H, const Samples<Sample>& s) {
    for (std::size_t y = 0; y < H; ++y) {
        std::transform(s.Row(y), s.Row(y) + W, frame + y * W, [](Sample v) { return static_cast<float>(v); });
    }
}

/// 2^bits - 1, at most what two bytes hold.
float GreatestOfBits(std::uint8_t bits) {
    return static_cast<float>((std::uint32_t{1} << std::min<std::uint32_t>(bits, 16)) - 1);
}

template <class Sample>
void ToIntegers(const Samples<Sample>& s, const float* frame, std::size_t W, std::size_t H, float limit) {
    // deliberate: truncated, not rounded
    const auto convert = [limit](float v) {
        return static_cast<Sample>(static_cast<std::int32_t>(v > 0.0f ? std::min(v, limit) : 0.0f));
    };
    for (std::size_t y = 0; y < H; ++y) {
        std::transform(frame + y * W, frame + (y + 1) * W, s.Row(y), convert);
    }
}

}  // namespace

void ReplicateBorder(SRyPicBuf& picture, unsigned d) {
    VisitSamples(picture, [&](const auto& s) { Replicate(s, picture.uiWidth, picture.uiHeight, d); });
}

void ReplicateBorder(SRyFloatPicBuf& picture, unsigned d) {
    Replicate(SamplesOf(picture), picture.uiWidth, picture.uiHeight, d);
}

void PicBufToFloat(float* frame, unsigned W, unsigned H, const SRyPicBuf& picture) {
    VisitSamples(picture, [&](const auto& s) { ToFloat(frame, W, H, s); });
}

void PicBufToFloat(float* frame, unsigned W, unsigned H, const SRyFloatPicBuf& picture) {
    ToFloat(frame, W, H, SamplesOf(picture));
}

void FloatToPicBuf(SRyPicBuf& picture, const float* frame, unsigned W, unsigned H) {
    const float limit = picture.ucBits == 8 ? 255.0f : GreatestOfBits(picture.ucBits);
    VisitSamples(picture, [&](const auto& s) { ToIntegers(s, frame, W, H, limit); });
}

void FloatToPicBuf(SRyFloatPicBuf& picture, const float* frame, unsigned W, unsigned H) {
    const Samples<float> s = SamplesOf(picture);
    for (std::size_t y = 0; y < H; ++y) {
        std::transform(frame + y * W, frame + (y + 1) * W, s.Row(y),
                       [](float v) { return v < 0.0f ? 0.0f : v; });
    }
}

}  // namespace gnr::detail
