// SPDX-License-Identifier: MIT
#include "restoration/psf_choice.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "io/file_error.h"
#include "optics/computed_psf.h"
#include "optics/units.h"
#include "restoration/psf_resampling.h"
#include "restoration/psf_rows.h"

namespace rydecon {

namespace {

/// Metadata are rounded; up to this relative difference two distances are one.
constexpr double kSameDistance = 0.005;

/// A PSF that many times finer or coarser than the image belongs to something else.
constexpr double kLargestRatio = 50.0;

/// Distance in the image over distance in the PSF; 1 where they are one or one of them is not known.
double RatioOf(const std::optional<double>& image, const std::optional<double>& psf) {
    if (!image || !psf || std::abs(*image - *psf) <= kSameDistance * *image) return 1.0;
    return *image / *psf;
}

std::string VoxelText(const VoxelSize& voxel) {
    const auto text = [](const std::optional<double>& d) { return d ? NumberText(*d) : std::string("?"); };
    return text(voxel.x) + " x " + text(voxel.y) + " x " + text(voxel.z) + " um";
}

/// UserError where the resampled PSF would be of no use, or too large.
void RequireSensible(const FilePsfRows& file, const PitchRatio& ratio, const std::string& voxels) {
    double samples = 1.0;
    const Extent size = file.size();
    for (const auto& [r, side] : {std::pair(ratio.x, size.x), {ratio.y, size.y}, {ratio.z, size.z}}) {
        const bool sensible = r <= kLargestRatio && r >= 1.0 / kLargestRatio;
        if (!sensible)
            throw file.Refusal(voxels + "; that is no PSF of this image: check the voxel sizes of both");
        samples *= side / r + 1.0;
    }
    if (samples > std::numeric_limits<std::int32_t>::max()) {
        throw file.Refusal(voxels + "; resampled to those it is too large: crop it");
    }
}

std::unique_ptr<PsfRows> RowsOfFile(const PsfChoice& choice, const StackHeader& image,
                                    const Messages& messages) {
    auto file = std::make_unique<FilePsfRows>(choice.file, messages);
    const VoxelSize& voxel = file->header().voxel;
    PitchRatio ratio = {RatioOf(image.voxel.x, voxel.x), RatioOf(image.voxel.y, voxel.y), 1.0};
    // A single plane has no neighbours, whatever its metadata say.
    if (image.slices > 1 && file->size().z > 1) ratio.z = RatioOf(image.voxel.z, voxel.z);
    if (ratio.x == 1.0 && ratio.y == 1.0 && ratio.z == 1.0) return file;
    const std::string voxels =
        "the voxels of the PSF are " + VoxelText(voxel) + ", those of the image " + VoxelText(image.voxel);
    RequireSensible(*file, ratio, voxels);
    messages.Note(file->name() + ": resampled from voxels of " + VoxelText(voxel) +
                  " to those of the image, " + VoxelText(image.voxel) + " (Lanczos)");
    SampleBox box = ResamplePsf(*file, ratio, messages);
    return std::make_unique<BoxPsfRows>(file->name(), std::move(box));
}

std::unique_ptr<PsfRows> RowsOfOptics(const PsfChoice& choice, const std::filesystem::path& image,
                                      const StackHeader& header, const Messages& messages) {
    Optics optics = choice.optics;
    FillFromMetadata(optics, header, Quoted(image));
    const bool onePlane = header.slices == 1;
    if (onePlane) FillIdleStep(optics);
    RequireSound(optics);
    RequireComplete(
        optics, ": give what the metadata of " + Quoted(image) + " do not tell, or a PSF file with --psf");
    messages.Note("PSF from the optics: " + DescribeSources(optics));
    NoteUnreadOptics(optics, messages);
    Extent size = RecommendedExtent(optics);
    if (onePlane) size.z = 1;
    return std::make_unique<ComputedPsfRows>(optics, size, messages);
}

}  // namespace

PsfSource MakePsfSource(const PsfChoice& choice, const std::filesystem::path& image,
                        const StackHeader& header, const Messages& messages) {
    return {choice.file.empty() ? RowsOfOptics(choice, image, header, messages)
                                : RowsOfFile(choice, header, messages),
            messages};
}

}  // namespace rydecon
