// SPDX-License-Identifier: MIT
#include "optics/wrapped_psf.h"

#include <vector>

#include "optics/widths.h"

namespace rydecon {

namespace {

/// The sample `offset` away from `peak` around a period of `side` samples.
int Wrapped(int peak, int offset, int side) {
    return ((peak + offset) % side + side) % side;
}

Extent PeakOf(const PaddedVolume& psf) {
    const Extent side = psf.logical();
    Extent peak;
    float largest = *psf.data();
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) {
            const float* const row = psf.Row(j, k);
            for (int i = 0; i < side.x; ++i) {
                if (!(row[i] > largest)) continue;
                largest = row[i];
                peak = {i, j, k};
            }
        }
    }
    return peak;
}

/// The width of n samples, the peak in the middle, that at(offset from the peak) gives.
template <class At>
std::optional<double> WidthOf(int n, At at) {
    std::vector<double> profile;
    for (int offset = -(n / 2); offset < n - n / 2; ++offset) profile.push_back(at(offset));
    return WidthOfProfile(profile, n / 2, 1.0);
}

}  // namespace

WrappedPsf::WrappedPsf(const PaddedVolume& psf) : psf_(&psf), peak_(PeakOf(psf)) {}

float WrappedPsf::At(int i, int j, int k) const {
    const Extent side = size();
    return psf_->Row(Wrapped(peak_.y, j, side.y), Wrapped(peak_.z, k, side.z))[Wrapped(peak_.x, i, side.x)];
}

PsfWidths WidthsOfWrapped(const PaddedVolume& psf) {
    const WrappedPsf wrapped(psf);
    const Extent side = wrapped.size();
    return {WidthOf(side.x, [&](int n) { return wrapped.At(n, 0, 0); }),
            WidthOf(side.y, [&](int n) { return wrapped.At(0, n, 0); }),
            WidthOf(side.z, [&](int n) { return wrapped.At(0, 0, n); })};
}

}  // namespace rydecon
