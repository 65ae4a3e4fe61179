// SPDX-License-Identifier: MIT
#pragma once

// The number of iterations at which two independent halves of the photons of an image agree best.
//
// Each half is restored by itself. After each iteration the estimate is blurred and asked for the likelihood of
// the half that it has not seen: that rises while structure is restored, and falls once noise is, which the
// other half does not share. See docs/stopping.md.

#include <cstdint>
#include <optional>

#include "cleaning/photon_scale.h"
#include "report/messages.h"
#include "restoration/curve.h"
#include "restoration/method.h"
#include "restoration/restore_job.h"
#include "volume/padded_volume.h"
#include "volume/plane_stream.h"

namespace rydecon {

inline constexpr const char* kSplitColumn = "split_divergence";

/// What a split came to.
struct SplitRecord {
    Curve curve;  ///< its `best` is the number of iterations
    PhotonScale scale;
    std::uint64_t seed = 1;
    unsigned limit = 0;  ///< iterations that the halves were allowed
};

/// Everything that the halves of one image are restored with.
struct SplitTask {
    const RestoreJob& job;
    const Method& method;
    PlaneSource& image;                ///< with hot pixels repaired and its background in it
    std::optional<double> background;  ///< taken off the halves
    PhotonScale scale;
    const PaddedVolume& psf;  ///< laid out in the frame of the image
    const Messages& messages;
};

/// Restores both halves, one after the other, up to the method's --iterations. Memory besides that of one
/// restoration: three padded volumes, four for a method that lifts the image. UserError where a half has one level only, and after Ctrl-C.
SplitRecord RunSplit(const SplitTask& task);

}  // namespace rydecon
