// SPDX-License-Identifier: MIT
#include "restoration/picture_psf.h"

#include <algorithm>
#include <cstddef>

#include "io/file_error.h"

namespace rydecon {

namespace {

void RequireFit(const PsfSource& source, const std::filesystem::path& file, const StackHeader& header) {
    const Extent size = source.size();
    if (size.z > 1) {
        throw ReadError(file, "the PSF has " + std::to_string(size.z) +
                                  " planes; a picture needs a PSF of one plane: save its focal plane alone");
    }
    if (size.x > header.width || size.y > header.height) {
        throw ReadError(file, "the PSF of " + std::to_string(size.x) + " x " + std::to_string(size.y) +
                                  " pixels is larger than the picture of " + std::to_string(header.width) +
                                  " x " + std::to_string(header.height) + "; crop it around its peak");
    }
}

/// The least even side that holds the samples of an axis around the peak.
int EvenSide(int samples, int peak) {
    return 2 * std::max(peak, samples - peak);
}

/// From the peak at the origin, wrapped, to the peak at the centre.
SquarePsf Centred(const PaddedVolume& wrapped, int side) {
    const int half = side / 2;
    SquarePsf psf{static_cast<unsigned>(side), {}};
    psf.samples.reserve(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    for (int j = 0; j < side; ++j) {
        const float* const row = wrapped.Row((j + half) % side, 0);
        for (int i = 0; i < side; ++i) psf.samples.push_back(row[(i + half) % side]);
    }
    return psf;
}

}  // namespace

SquarePsf MakeSquarePsf(const PsfChoice& choice, const std::filesystem::path& image,
                        const StackHeader& header, const Messages& messages) {
    StackHeader plane = header;
    plane.slices = 1;
    PsfSource source = MakePsfSource(choice, image, plane, messages);
    const Extent size = source.size();
    int side = std::max(EvenSide(size.x, source.peak().x), EvenSide(size.y, source.peak().y));
    if (choice.file.empty()) {
        const int longest = std::max(header.width, header.height);
        side = std::min(side, longest + longest % 2);
    } else {
        RequireFit(source, choice.file, header);
    }
    const PaddedVolume wrapped({side, side, 1});
    source.LayOut(wrapped);
    SquarePsf psf = Centred(wrapped, side);
    psf.name = source.name();
    psf.optics = source.optics();
    return psf;
}

}  // namespace rydecon
