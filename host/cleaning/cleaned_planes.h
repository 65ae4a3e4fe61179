// SPDX-License-Identifier: MIT
#pragma once

// The planes of a stack as they are restored: without the hot pixels and the background that were found.

#include <optional>

#include "cleaning/cleaning.h"
#include "cleaning/hot_pixels.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// Takes a constant off each sample; what falls below 0 is 0.
class LoweredPlanes final : public PlaneSource {
  public:
    LoweredPlanes(PlaneSource& from, double background)
        : from_(from), background_(static_cast<float>(background)) {}

    Extent shape() const override { return from_.shape(); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override;

  private:
    PlaneSource& from_;
    float background_;
};

/// `from` and what is made of it; planes may be read in any order and again. Memory: three planes where hot
/// pixels are repaired.
class CleanedPlanes final : public PlaneSource {
  public:
    CleanedPlanes(PlaneSource& from, const Cleaning& cleaning);
    CleanedPlanes(const CleanedPlanes&) = delete;
    CleanedPlanes& operator=(const CleanedPlanes&) = delete;

    Extent shape() const override { return last_->shape(); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override {
        last_->ReadPlane(k, rows, rowStride);
    }

    /// The planes with hot pixels repaired and the background still in them.
    PlaneSource& repaired() { return *repairedOrRaw_; }

  private:
    std::optional<RepairedPlanes> repaired_;
    PlaneSource* repairedOrRaw_;
    std::optional<LoweredPlanes> lowered_;
    PlaneSource* last_;
};

}  // namespace rydecon
