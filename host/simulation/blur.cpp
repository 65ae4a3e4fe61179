// SPDX-License-Identifier: MIT

#include "simulation/blur.h"

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "report/user_error.h"

namespace rydecon {
namespace {

using Kernels = CRy3DDeconvolutionLow;

constexpr std::int64_t kMostSamples = std::numeric_limits<std::int32_t>::max();

/// Farthest offset from the middle that matters within a stack of that side.
int Reach(int pointSpreadSide, int stackSide) {
    return std::min(pointSpreadSide / 2, stackSide - 1);
}

/// Even width, and sides that suit the transform as the iterative cores know them.
void RoundUp(unsigned& x, unsigned& y, unsigned& z) {
    x += x % 2;
    const auto core = CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvLandweber);
    if (core) core->ModifyProposedDimensions(x, y, z, 2, 1, 1);
}

/// Lays the taps around the origin; the negative offsets wrap to the far end.
void LayOutPointSpread(const SampleBox& pointSpread, const Extent& stack, const PaddedVolume& volume) {
    const Extent middle = {pointSpread.size().x / 2, pointSpread.size().y / 2, pointSpread.size().z / 2};
    const Extent reach = {Reach(pointSpread.size().x, stack.x), Reach(pointSpread.size().y, stack.y),
                          Reach(pointSpread.size().z, stack.z)};
    const Extent side = volume.logical();
    for (int k = -reach.z; k <= reach.z; ++k) {
        for (int j = -reach.y; j <= reach.y; ++j) {
            const float* const from = pointSpread.Row(middle.y + j, middle.z + k) + middle.x;
            float* const to = volume.Row(j < 0 ? j + side.y : j, k < 0 ? k + side.z : k);
            for (int i = -reach.x; i <= reach.x; ++i) to[i < 0 ? i + side.x : i] = from[i];
        }
    }
}

void CopyRows(const SampleBox& box, const PaddedVolume& volume) {
    for (int k = 0; k < box.size().z; ++k) {
        for (int j = 0; j < box.size().y; ++j) std::copy_n(box.Row(j, k), box.size().x, volume.Row(j, k));
    }
}

/// a := a b, complex, for half spectra.
void MultiplySpectra(const PaddedVolume& a, const PaddedVolume& b) {
    float* const left = a.data();
    const float* const right = b.data();
    for (std::int64_t n = 0; n < a.sizes().total; n += 2) {
        const float real = left[n] * right[n] - left[n + 1] * right[n + 1];
        left[n + 1] = left[n] * right[n + 1] + left[n + 1] * right[n];
        left[n] = real;
    }
}

void RequireSuccess(int code) {
    if (code != gnr::kSuccess) throw UserError("the Fourier transform failed; free memory and try again");
}

}  // namespace

Extent BlurFrame(const Extent& stack, const Extent& pointSpread) {
    auto x = static_cast<unsigned>(stack.x + Reach(pointSpread.x, stack.x));
    auto y = static_cast<unsigned>(stack.y + Reach(pointSpread.y, stack.y));
    auto z = static_cast<unsigned>(stack.z + Reach(pointSpread.z, stack.z));
    RoundUp(x, y, z);
    const std::int64_t plane = (std::int64_t{x} + 2) * y;
    if (plane > kMostSamples || plane * z > kMostSamples) {
        throw UserError("the stack needs a volume of " + std::to_string(x) + " x " + std::to_string(y) +
                        " x " + std::to_string(z) + " samples, above the limit of " +
                        std::to_string(kMostSamples) + "; choose a smaller --size");
    }
    return {static_cast<int>(x), static_cast<int>(y), static_cast<int>(z)};
}

std::uint64_t BlurBytes(const Extent& stack, const Extent& pointSpread) {
    const Extent frame = BlurFrame(stack, pointSpread);
    return 2 * sizeof(float) * (static_cast<std::uint64_t>(frame.x) + 2) *
           static_cast<std::uint64_t>(frame.y) * static_cast<std::uint64_t>(frame.z);
}

void Blur(SampleBox& object, const SampleBox& pointSpread) {
    const PaddedVolume image(BlurFrame(object.size(), pointSpread.size()));
    const PaddedVolume transfer(image.logical());
    CopyRows(object, image);
    LayOutPointSpread(pointSpread, object.size(), transfer);
    RequireSuccess(Kernels::DFT3D_Transform(&image.sizes(), image.data()));
    RequireSuccess(Kernels::DFT3D_Transform(&transfer.sizes(), transfer.data()));
    MultiplySpectra(image, transfer);
    RequireSuccess(Kernels::DFT3D_Inversion(&image.sizes(), image.data()));
    for (int k = 0; k < object.size().z; ++k) {
        for (int j = 0; j < object.size().y; ++j) {
            const float* const from = image.Row(j, k);
            std::transform(from, from + object.size().x, object.Row(j, k),
                           [](float sample) { return std::max(sample, 0.0f); });
        }
    }
}

}  // namespace rydecon
