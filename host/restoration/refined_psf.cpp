// SPDX-License-Identifier: MIT
#include "restoration/refined_psf.h"

#include <cmath>
#include <cstdio>
#include <vector>

#include "optics/units.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

std::string WidthText(const std::optional<double>& samples, const std::optional<double>& pitch) {
    if (!samples) return "undefined";
    if (pitch) return MeasuredLengthText(*samples * *pitch);
    return MeasuredText(*samples, "samples");
}

StackHeader HeaderOf(const Extent& size, const VoxelSize& voxel) {
    StackHeader header;
    header.width = size.x;
    header.height = size.y;
    header.slices = size.z;
    header.voxel = voxel;
    return header;
}

}  // namespace

std::string WidthChange(const PsfWidths& before, const PsfWidths& after, const Extent& size,
                        const VoxelSize& voxel) {
    std::string text;
    const auto add = [&](const char* axis, int samples, const std::optional<double>& from,
                         const std::optional<double>& to, const std::optional<double>& pitch) {
        if (samples < 2) return;
        text += (text.empty() ? "" : ", ") + WidthText(from, pitch) + " -> " + WidthText(to, pitch) + " in " +
                axis;
    };
    add("x", size.x, before.x, after.x, voxel.x);
    add("y", size.y, before.y, after.y, voxel.y);
    add("z", size.z, before.z, after.z, voxel.z);
    return text;
}

RefinedPsfFile::RefinedPsfFile(const std::filesystem::path& path, const Extent& size, const VoxelSize& voxel,
                               bool overwrite)
    : size_(size), writer_(path, HeaderOf(size, voxel), overwrite) {}

void RefinedPsfFile::Write(const PaddedVolume& psf) {
    const WrappedPsf wrapped(psf);
    const auto at = [&](int i, int j, int k) {
        return wrapped.At(i - size_.x / 2, j - size_.y / 2, k - size_.z / 2);
    };
    double sum = 0.0;
    for (int k = 0; k < size_.z; ++k) {
        for (int j = 0; j < size_.y; ++j) {
            for (int i = 0; i < size_.x; ++i) sum += at(i, j, k);
        }
    }
    if (!std::isfinite(sum) || !(sum > 0.0)) {
        throw UserError("the blind restoration left a PSF without a positive sum; take fewer iterations");
    }
    std::vector<float> plane(static_cast<std::size_t>(size_.x) * static_cast<std::size_t>(size_.y));
    for (int k = 0; k < size_.z; ++k) {
        LeaveIfStopRequested();
        auto to = plane.begin();
        for (int j = 0; j < size_.y; ++j) {
            for (int i = 0; i < size_.x; ++i) *to++ = static_cast<float>(at(i, j, k) / sum);
        }
        writer_.WritePlane(plane.data(), size_.x);
    }
}

}  // namespace rydecon
