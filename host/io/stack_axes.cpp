// SPDX-License-Identifier: MIT
#include "io/stack_axes.h"

#include <limits>

#include "report/counted.h"

namespace rydecon {
namespace {

int LengthOf(const StackAxes& axes, char axis) {
    return axis == 'Z' ? axes.slices : axis == 'C' ? axes.channels : axes.times;
}

}  // namespace

std::optional<int> StackAxes::Planes() const {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    std::int64_t planes = 1;
    for (const int length : {slices, channels, times}) {
        if (length < 1 || planes > kMost / length) return std::nullopt;
        planes *= length;
    }
    return static_cast<int>(planes);
}

std::string StackAxes::Text() const {
    return Counted(channels, "channel") + ", " + Counted(slices, "slice") + " and " +
           Counted(times, "time point");
}

PlaneIndex PlaneInOrder(const StackAxes& axes, std::string_view order, int n) {
    PlaneIndex plane;
    for (const char axis : order) {
        const int length = LengthOf(axes, axis);
        int& place = axis == 'Z' ? plane.z : axis == 'C' ? plane.c : plane.t;
        place = n % length;
        n /= length;
    }
    return plane;
}

std::int64_t PlaceInOrder(const StackAxes& axes, std::string_view order, const PlaneIndex& plane) {
    std::int64_t place = 0;
    std::int64_t step = 1;
    for (const char axis : order) {
        place += step * (axis == 'Z' ? plane.z : axis == 'C' ? plane.c : plane.t);
        step *= LengthOf(axes, axis);
    }
    return place;
}

void RequireAccepted(const TiffFile& file, const StackAxes& axes, Accept accept) {
    if (accept == Accept::AnyStack || (axes.channels == 1 && axes.times == 1)) return;
    std::string reason = "it holds " + Counted(axes.channels, "channel") + " and " +
                         Counted(axes.times, "time point") +
                         "; a stack of one channel and one time point is needed: ";
    // Python's writers call the planes channels or times unless told better.
    const bool likelyPlanes = axes.slices == 1 && (axes.channels == 1 || axes.times == 1);
    reason += likelyPlanes
                  ? "if these are its z planes, declare them as slices (in ImageJ: Image > Properties), "
                    "otherwise save one of them"
                  : "save one of them (in ImageJ: Image > Duplicate)";
    throw file.Refusal(reason);
}

}  // namespace rydecon
