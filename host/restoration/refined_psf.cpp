// SPDX-License-Identifier: MIT
#include "restoration/refined_psf.h"

#include <cmath>
#include <cstdio>
#include <vector>

#include "optics/units.h"
#include "optics/widths.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

float SampleOf(const PaddedVolume& volume, const Extent& at) {
    return volume.Row(at.y, at.z)[at.x];
}

/// The largest sample, the first of several.
Extent PeakOf(const PaddedVolume& psf) {
    const Extent side = psf.logical();
    Extent peak;
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) {
            const float* const row = psf.Row(j, k);
            for (int i = 0; i < side.x; ++i) {
                if (row[i] > SampleOf(psf, peak)) peak = {i, j, k};
            }
        }
    }
    return peak;
}

/// The sample `offset` away from `peak` around a period of `side` samples.
int Wrapped(int peak, int offset, int side) {
    return ((peak + offset) % side + side) % side;
}

/// The width of n samples, the peak in the middle, that at(offset from the peak) gives.
template <class At>
std::optional<double> WidthOf(int n, At at) {
    std::vector<double> profile;
    for (int offset = -(n / 2); offset < n - n / 2; ++offset) profile.push_back(at(offset));
    return WidthOfProfile(profile, n / 2, 1.0);
}

std::string WidthText(const std::optional<double>& samples, const std::optional<double>& pitch) {
    if (!samples) return "undefined";
    if (pitch) return LengthText(*samples * *pitch);
    return NumberText(*samples) + " samples";
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

PsfWidths WidthsOfWrapped(const PaddedVolume& psf) {
    const Extent side = psf.logical();
    const Extent p = PeakOf(psf);
    return {WidthOf(side.x,
                    [&](int n) {
                        return SampleOf(psf, {Wrapped(p.x, n, side.x), p.y, p.z});
                    }),
            WidthOf(side.y,
                    [&](int n) {
                        return SampleOf(psf, {p.x, Wrapped(p.y, n, side.y), p.z});
                    }),
            WidthOf(side.z, [&](int n) {
                return SampleOf(psf, {p.x, p.y, Wrapped(p.z, n, side.z)});
            })};
}

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
    const Extent side = psf.logical();
    const Extent peak = PeakOf(psf);
    const auto at = [&](int i, int j, int k) {
        return SampleOf(psf,
                        {Wrapped(peak.x, i - size_.x / 2, side.x), Wrapped(peak.y, j - size_.y / 2, side.y),
                         Wrapped(peak.z, k - size_.z / 2, side.z)});
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
