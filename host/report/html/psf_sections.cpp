// SPDX-License-Identifier: MIT

#include "report/html/psf_sections.h"

#include <algorithm>
#include <cstdlib>

#include "optics/wrapped_psf.h"

namespace rydecon {
namespace {

constexpr float kSmallestShown = 1e-3f;  // of the peak
constexpr int kLeastReach = 8;           // samples to each side, if the PSF has them

/// A section along two axes, `reach` samples to each side of the peak; at(a, b) of the distances.
template <class At>
SamplePicture Section(int reachAcross, int reachDown, At at) {
    SamplePicture picture{2 * reachAcross + 1, 2 * reachDown + 1, {}};
    for (int b = -reachDown; b <= reachDown; ++b) {
        for (int a = -reachAcross; a <= reachAcross; ++a) picture.samples.push_back(at(a, b));
    }
    return picture;
}

/// Farthest samples from the middle of a section that are worth showing.
struct Reach {
    int across = 0;
    int down = 0;

    Reach(const SamplePicture& section, float least) {
        auto sample = section.samples.begin();
        for (int j = 0; j < section.height; ++j) {
            for (int i = 0; i < section.width; ++i) {
                if (!(*sample++ > least)) continue;
                across = std::max(across, std::abs(i - section.width / 2));
                down = std::max(down, std::abs(j - section.height / 2));
            }
        }
    }
};

/// Samples to each side that `samples` have on both sides of their middle.
int HalfOf(int samples) {
    return (samples - 1) / 2;
}

int Shown(int reach, int half) {
    return std::min(std::max(reach, kLeastReach), half);
}

}  // namespace

ReportPsf DescribeWrappedPsf(const PaddedVolume& psf, const Extent& sides, const VoxelSize& voxel) {
    const WrappedPsf wrapped(psf);
    const Extent side = wrapped.size();
    const Extent half = {HalfOf(std::min(sides.x, side.x)), HalfOf(std::min(sides.y, side.y)),
                         HalfOf(std::min(sides.z, side.z))};
    const auto xy = [&](int i, int j) { return wrapped.At(i, j, 0); };
    const auto xz = [&](int i, int k) { return wrapped.At(i, 0, k); };
    const float least = kSmallestShown * wrapped.peak();
    const Reach lateral(Section(half.x, half.y, xy), least);
    const Reach axial(Section(half.x, half.z, xz), least);
    const int x = Shown(std::max(lateral.across, axial.across), half.x);

    ReportPsf report;
    report.voxel = voxel;
    report.xy = Section(x, Shown(lateral.down, half.y), xy);
    if (half.z > 0) report.xz = Section(x, Shown(axial.down, half.z), xz);
    const PsfWidths widths = WidthsOfWrapped(psf);
    report.widthX = widths.x;
    report.widthY = widths.y;
    if (half.z > 0) report.widthZ = widths.z;
    return report;
}

ReportPsf DescribeSquarePsf(const std::vector<float>& psf, int side, const VoxelSize& voxel) {
    const PaddedVolume volume({side + side % 2, side, 1});  // rows of the library have an even length
    for (int j = 0; j < side; ++j) {
        std::copy_n(psf.begin() + static_cast<std::ptrdiff_t>(j) * side, side, volume.Row(j, 0));
    }
    return DescribeWrappedPsf(volume, {side, side, 1}, voxel);
}

}  // namespace rydecon
