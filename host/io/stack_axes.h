// SPDX-License-Identifier: MIT
#pragma once

// How many planes a stack has along each axis, and in which order they follow one another.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "io/stack_header.h"
#include "io/tiff_file.h"

namespace rydecon {

struct StackAxes {
    int slices = 1;
    int channels = 1;
    int times = 1;

    /// slices * channels * times; empty where that is more planes than any file has.
    std::optional<int> Planes() const;

    /// "2 channel(s), 5 slice(s) and 3 time point(s)"
    std::string Text() const;
};

/// Plane n of an order in which letters stand for axes, the fastest first: "CZT", "ZCT", ...
PlaneIndex PlaneInOrder(const StackAxes& axes, std::string_view order, int n);

/// The inverse: the place of a plane in that order.
std::int64_t PlaceInOrder(const StackAxes& axes, std::string_view order, const PlaneIndex& plane);

/// UserError unless there is one channel and one time point, or any stack is accepted.
void RequireAccepted(const TiffFile& file, const StackAxes& axes, Accept accept);

}  // namespace rydecon
