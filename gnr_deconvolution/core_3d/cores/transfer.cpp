// SPDX-License-Identifier: MIT
#include "cores/transfer.h"

#include <algorithm>

namespace gnr::detail {

namespace {

using gnr::fft::VolumePasses;
using gnr::fft::VolumeShape;

/// The scale of DFT3D_Inversion.
float InverseScale(const DFT3D& s) {
    const std::int32_t samples = WrappedProduct(WrappedProduct(ImageColumns(s), s.rows), s.planes);
    return static_cast<float>(1.0 / samples);
}

/// The shape of the volumes; of none where passes do not fit.
VolumeShape ShapeForPasses(const DFT3D& s, const float* otf, std::initializer_list<const float*> volumes) {
    const VolumeShape shape = {s.planes, s.rows, ImageColumns(s)};
    const bool fit =
        shape.PlaneFloats() == s.planeStride && std::int64_t{s.planeStride} * s.planes == s.total &&
        VolumePasses::Fit(otf) &&
        std::all_of(volumes.begin(), volumes.end(), [](const float* v) { return VolumePasses::Fit(v); });
    return fit ? shape : VolumeShape{};
}

}  // namespace

Transfer::Transfer(const DFT3D& s, float* otf, std::initializer_list<const float*> volumes)
    : s_(s),
      otf_(otf),
      passes_(ShapeForPasses(s, otf, volumes), gnr::fft::Directions::kBoth, InverseScale(s),
              ThreadsToCome()) {}

void Transfer::Make(const float* psf, float* work) {
    if (passes_) {
        Forward(work, psf);
        passes_.MakeTransfer(otf_, work, EachShare{});
    } else {
        Forward(otf_, psf);
    }
}

void Transfer::Forward(float* work, const float* source) const {
    Sweep(nullptr, work, EachShare{}, [=, this](const RowChunk& rows, auto*) {
        rows.EachRow([=, this](std::int64_t r, float* samples) {
            CopyRow(samples, source + r * s_.rowLength);
            Put(samples, work, r);
        });
    });
}

void Transfer::Inverse(float* work) const {
    Sweep(work, nullptr, EachShare{}, [=, this](const RowChunk& rows, auto*) {
        rows.EachRow([=, this](std::int64_t r, float* samples) {
            Take(work, r, samples);
            CopyRow(work + r * s_.rowLength, samples);
        });
    });
}

void Transfer::Multiply(float* work, TransferUse use) const {
    if (passes_) return passes_.MultiplyDepth(work, otf_, use, EachShare{});
    if (use == TransferUse::kConjugate) {
        Low::SSE_ComplexMultiplyAdjoint(work, otf_, s_.total);
    } else {
        Low::SSE_ComplexMultiply(work, otf_, s_.total);
    }
}

}  // namespace gnr::detail
