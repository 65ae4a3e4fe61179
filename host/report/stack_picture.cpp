// SPDX-License-Identifier: MIT

#include "report/stack_picture.h"

#include <algorithm>
#include <cmath>

#include "report/bitmap_font.h"
#include "report/scale_bar.h"

namespace rydecon {
namespace {

constexpr int kGap = 6;               // pixels between the parts of a picture
constexpr int kMargin = 8;            // around all of it
constexpr int kBetweenStacks = 12;    // between stacks
constexpr std::uint8_t kGround = 40;  // dark grey, so that the projections show their edges
constexpr int kSmallPicture = 256;    // pixels that the longer side of a projection has at least
constexpr double kMostStretch = 64;   // farther apart, pitches are rather wrong than different

int Stretched(int samples, double scale) {
    return std::max(1, static_cast<int>(std::lround(samples * scale)));
}

/// Where a pixel takes its grey from: a mixture of two neighbouring samples.
struct Tap {
    std::size_t first = 0;
    std::size_t second = 0;
    float weight = 0.0f;  // of the second
};

/// The taps of each pixel of an axis; pixel and sample centres are half a step from their edges.
std::vector<Tap> TapsOfAxis(int samples, int pixels) {
    std::vector<Tap> taps(static_cast<std::size_t>(pixels));
    for (int n = 0; n < pixels; ++n) {
        const double at = std::clamp((n + 0.5) * samples / pixels - 0.5, 0.0, samples - 1.0);
        const int first = static_cast<int>(at);
        taps[static_cast<std::size_t>(n)] = {static_cast<std::size_t>(first),
                                             static_cast<std::size_t>(std::min(first + 1, samples - 1)),
                                             static_cast<float>(at - first)};
    }
    return taps;
}

float Mix(float a, float b, float weight) {
    return weight == 0.0f ? a : a + (b - a) * weight;
}

/// 0 to 1 within the contrast; halves keep the difference of extreme samples finite.
float Brightness(float sample, const Contrast& contrast) {
    const float range = contrast.white / 2.0f - contrast.black / 2.0f;
    if (!std::isfinite(sample) || !(range > 0.0f)) return 0.0f;
    return std::clamp((sample / 2.0f - contrast.black / 2.0f) / range, 0.0f, 1.0f);
}

}  // namespace

PictureLayout LayOutPicture(const StackHeader& header) {
    const VoxelSize& voxel = header.voxel;
    const double x = voxel.x.value_or(1.0);
    const double y = voxel.x && voxel.y ? *voxel.y : x;
    const double z = voxel.x && voxel.z ? *voxel.z : x;
    double finest = std::min({x, y, z});
    double scales[] = {x / finest, y / finest, z / finest};
    const bool toScale = std::max({x, y, z}) <= kMostStretch * finest;
    if (!toScale) std::fill(std::begin(scales), std::end(scales), 1.0);

    const auto longest = [&] {
        return std::max({Stretched(header.width, scales[0]), Stretched(header.height, scales[1]),
                         Stretched(header.planes(), scales[2])});
    };
    const int magnification = std::max(1, (kSmallPicture + longest() - 1) / longest());
    for (double& scale : scales) scale *= magnification;
    return {Stretched(header.width, scales[0]), Stretched(header.height, scales[1]),
            Stretched(header.planes(), scales[2]), scales[0], toScale};
}

GreyPicture Render(const std::vector<float>& samples, int width, int height, int toWidth, int toHeight,
                   const Contrast& contrast) {
    std::vector<float> brightness(samples.size());
    std::transform(samples.begin(), samples.end(), brightness.begin(),
                   [&](float sample) { return Brightness(sample, contrast); });
    const auto across = TapsOfAxis(width, toWidth);
    const auto down = TapsOfAxis(height, toHeight);
    GreyPicture picture(toWidth, toHeight);
    for (int j = 0; j < toHeight; ++j) {
        const Tap& v = down[static_cast<std::size_t>(j)];
        const float* const upper = brightness.data() + v.first * static_cast<std::size_t>(width);
        const float* const lower = brightness.data() + v.second * static_cast<std::size_t>(width);
        for (int i = 0; i < toWidth; ++i) {
            const Tap& h = across[static_cast<std::size_t>(i)];
            const float grey = Mix(Mix(upper[h.first], upper[h.second], h.weight),
                                   Mix(lower[h.first], lower[h.second], h.weight), v.weight);
            picture.Set(i, j, static_cast<std::uint8_t>(std::lround(255.0f * grey)));
        }
    }
    return picture;
}

GreyPicture DrawStack(const Projections& projections, const std::string& label) {
    const StackHeader& header = projections.header();
    const PictureLayout layout = LayOutPicture(header);
    const Contrast contrast = ChooseContrast(projections);
    const ScaleBar bar = ChooseScaleBar(layout.width, layout.pixelsPerSample, header.voxel.x);

    const int labelHeight = label.empty() ? 0 : kTextHeight + kGap;
    const int width = std::max({layout.width, WidthOf(bar), TextWidth(label)});
    const int height = labelHeight + layout.height + kGap + layout.depth + kScaleBarHeight;
    GreyPicture picture(width, height);
    picture.FillBox(0, 0, width, height, kGround);
    DrawText(picture, 0, 0, label);
    picture.Draw(Render(projections.xy(), header.width, header.height, layout.width, layout.height, contrast),
                 0, labelHeight);
    picture.Draw(
        Render(projections.xz(), header.width, header.planes(), layout.width, layout.depth, contrast), 0,
        labelHeight + layout.height + kGap);
    DrawScaleBar(picture, 0, height - kScaleBarHeight, bar);
    return picture;
}

GreyPicture SideBySide(const std::vector<GreyPicture>& pictures) {
    int width = kMargin - kBetweenStacks;
    int height = 0;
    for (const auto& part : pictures) {
        width += part.width() + kBetweenStacks;
        height = std::max(height, part.height());
    }
    GreyPicture picture(width + kMargin, height + 2 * kMargin);
    picture.FillBox(0, 0, picture.width(), picture.height(), kGround);
    int left = kMargin;
    for (const auto& part : pictures) {
        picture.Draw(part, left, kMargin);
        left += part.width() + kBetweenStacks;
    }
    return picture;
}

}  // namespace rydecon
