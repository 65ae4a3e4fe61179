// SPDX-License-Identifier: MIT
#pragma once

// One method with one PSF, ready to restore volumes: the inner part of a job, between planes in and planes out.

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "report/messages.h"
#include "restoration/checkpointed_run.h"
#include "restoration/method.h"
#include "restoration/psf_source.h"
#include "restoration/refined_psf.h"
#include "restoration/restoration_record.h"
#include "restoration/restore_job.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// What one run departs from its job in, as that of a block does.
struct RunVariant {
    MethodSettings settings;
    std::string label = "restoring";           ///< of the progress bar
    bool checked = false;                      ///< samples were checked, and made fit, by the caller
    std::optional<float> largestOfWhole = {};  ///< largest sample of the volume that a block is cut from
    std::optional<float> borderOfWhole = {};   ///< mean of that volume's border
    std::function<void()> loaded = {};         ///< called once no plane is read again but of a failed run
};

class VolumeRestoration {
  public:
    /// Makes the PSF for images of this header. job, method and messages must outlive the object.
    VolumeRestoration(const RestoreJob& job, const Method& method, const StackHeader& header,
                      const Messages& messages);

    /// The padded volume for an image of this shape. UserError beyond what the library addresses.
    Extent FrameOf(const Extent& shape) const;

    /// Lets two halves of the photons of this image choose how many iterations the volumes after it take.
    /// repaired  the image with the background that `cleaning` takes off still in it. See RunSplit
    /// notes  where what there is to tell goes
    void ChooseBySplit(PlaneSource& repaired, const Cleaning& cleaning, const PhotonScale& scale,
                       const Messages& notes);

    /// The volumes are blocks of one: one that comes back as it was is no error, and none has a curve.
    void TakeBlocks() { blocks_ = true; }

    /// No volume has a curve, whatever the job wants.
    void LeaveOutCurves() { curves_ = false; }

    /// The PSF for a report. Takes a volume of this frame for a while.
    ReportPsf DescribePsf(const Extent& frame) const;

    /// Of the job, but for what a split chose.
    const MethodSettings& settings() const { return settings_; }

    /// Until the last run.
    PsfSource& psf() const { return *psf_; }

    /// The record of a volume that is yet to be restored.
    VolumeRecord RecordOf(const Extent& shape) const;

    /// Whether the PSF is needed for more volumes; its memory is freed before the last run.
    enum class PsfUse { Again, Last };

    /// Restores one volume; one whose samples are all equal is copied. Reads the planes again where
    /// the result looks like the image. Peak memory: the padded image, the padded PSF, the core's buffers, and
    /// two padded volumes and a copy of the image for a curve. UserError for samples that cannot be restored, for
    /// a result that is not finite or is the image itself, and with ExitCode::Stopped after Ctrl-C.
    VolumeRecord Restore(PlaneSource& from, PlaneSink& to, PsfUse use) {
        return Restore(from, to, use, {settings_});
    }
    VolumeRecord Restore(PlaneSource& from, PlaneSink& to, PsfUse use, const RunVariant& variant);

    /// Puts what was written beside the planes in its place.
    void CommitRefinedPsf();

  private:
    void OpenRefinedPsf(const Extent& frame);
    void CopyConstant(const PaddedVolume& image, const Extent& shape, PlaneSink& to, VolumeRecord& record);

    const RestoreJob& job_;
    const Method& method_;
    const Messages& messages_;
    MethodSettings settings_;  // the job's, but for what a split chose
    std::optional<SplitRecord> split_;
    bool blocks_ = false;
    bool curves_ = true;
    VoxelSize voxel_;
    std::unique_ptr<PsfSource> psf_;
    std::optional<RefinedPsfFile> refinedPsf_;
};

}  // namespace rydecon
