// SPDX-License-Identifier: MIT
#include "restoration/volume_restoration.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

#include "io/file_error.h"
#include "report/html/psf_sections.h"
#include "report/stop_request.h"
#include "restoration/checkpoint.h"
#include "restoration/convergence.h"
#include "restoration/core_run.h"
#include "restoration/frame_plan.h"
#include "restoration/margin.h"
#include "restoration/stack_volume.h"
#include "restoration/truth.h"
#include "restoration/unchanged.h"

namespace rydecon {

namespace {

/// The sum of the result. One that is no picture is an error, not an output.
double CheckResult(const PaddedVolume& volume, const Extent& shape) {
    double sum = 0.0;
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) {
            const float* const row = volume.Row(j, k);
            for (int i = 0; i < shape.x; ++i) {
                if (!std::isfinite(row[i])) {
                    throw UserError(
                        "the restoration ran out of the range of numbers and gave NaN or infinite samples; "
                        "scale the image down or choose a stronger regularization");
                }
                sum += double{row[i]};
            }
        }
    }
    return sum;
}

/// Reads all planes to the origin of the volume.
SampleRange LoadPlanes(PlaneSource& from, const PaddedVolume& volume) {
    const Extent shape = from.shape();
    SampleRange range;
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        from.ReadPlane(k, volume.Plane(k), volume.sizes().rowLength);
        for (int j = 0; j < shape.y; ++j) range.Add(volume.Row(j, k), static_cast<std::size_t>(shape.x));
    }
    return range;
}

/// Loads the image and brings its samples into what the method computes with.
SampleRange LoadImage(PlaneSource& from, const RestoreJob& job, const Method& method, bool checked,
                      const PaddedVolume& image, const Messages& messages) {
    const SampleRange range = LoadPlanes(from, image);
    if (checked) return range;
    RefuseNonFinite(range, job.image);
    RefuseUnfitRange(range, job.image, image.logical());
    if (range.negative > 0 && !method.liftsNegative) {
        NoteNegative(range, job.image, messages);
        CutNegative(image, from.shape());
    }
    return range;
}

double SumOf(const PaddedVolume& volume, const Extent& shape) {
    double sum = 0.0;
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) {
            const float* const row = volume.Row(j, k);
            for (int i = 0; i < shape.x; ++i) sum += double{row[i]};
        }
    }
    return sum;
}

SampleRange RangeOf(const PaddedVolume& volume, const Extent& shape) {
    SampleRange range;
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) range.Add(volume.Row(j, k), static_cast<std::size_t>(shape.x));
    }
    return range;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The checkpoint that the job begins from, if it does.
std::unique_ptr<Checkpoint> OpenCheckpoint(const RestoreJob& job, const PreparedMethod& method) {
    if (job.resume.empty()) return nullptr;
    auto checkpoint = std::make_unique<Checkpoint>(job.resume);
    checkpoint->RequireWithin(method.params->uiIterations);
    return checkpoint;
}

/// What parks the run and brings it back, where the job asks for either.
std::unique_ptr<CheckpointedRun> ParkRun(const RestoreJob& job, const PreparedMethod& method,
                                         const PaddedVolume& image, const PaddedVolume& psf, Checkpoint* from,
                                         const Messages& messages) {
    if (job.checkpoint.empty() && from == nullptr) return nullptr;
    const RunIdentity identity = {job.method,
                                  static_cast<unsigned>(method.params->dRegularization),
                                  method.staged->stage_in_result(),
                                  image.logical(),
                                  Checksum(image),
                                  Checksum(psf)};
    if (from != nullptr) from->RequireFit(identity);
    auto run = std::make_unique<CheckpointedRun>(image, identity, job.checkpoint, from, messages);
    method.staged->set_store(run.get());
    return run;
}

/// The PSF's own sides, as far as the frame has them.
Extent SidesOfRefinedPsf(const Extent& psf, const Extent& frame) {
    return {std::min(psf.x, frame.x), std::min(psf.y, frame.y), std::min(psf.z, frame.z)};
}

/// What the run came to, from the units of work that it reported.
void NoteEnd(const Method& method, const PreparedMethod& prepared, unsigned units, VolumeRecord& record) {
    if (!method.iterative()) return;
    const unsigned limit = record.limit = prepared.params->uiIterations;
    record.iterations = method.refinesPsf ? limit : units;
    record.end = record.iterations == limit ? EndOfRun::Limit : EndOfRun::StopTest;
    if (record.split && record.end == EndOfRun::Limit) record.end = EndOfRun::Split;
}

void WritePlanes(const PaddedVolume& image, const Extent& shape, PlaneSink& to) {
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        to.WritePlane(k, image.Plane(k), image.sizes().rowLength);
    }
}

/// A result that is the image, though the method was to change it, is an error, not an output.
void RefuseUnchanged(const PaddedVolume& result, std::uint32_t checksum, PlaneSource& from, bool cut) {
    if (ChecksumOfStack(result, from.shape()) != checksum || !EqualsPlanes(result, from, cut)) return;
    throw UserError(
        "the restoration gave the image back as it was; with this PSF and these settings there is nothing to "
        "restore");
}

}  // namespace

VolumeRestoration::VolumeRestoration(const RestoreJob& job, const Method& method, const StackHeader& header,
                                     const Messages& messages)
    : job_(job),
      method_(method),
      messages_(messages),
      settings_(job.settings),
      voxel_(header.voxel),
      psf_(std::make_unique<PsfSource>(MakePsfSource(job.psf, job.image, header, messages))) {}

Extent VolumeRestoration::FrameOf(const Extent& shape) const {
    return PlanFrame(shape, psf_->reach(), method_.sides);
}

VolumeRecord VolumeRestoration::RecordOf(const Extent& shape) const {
    VolumeRecord record;
    record.shape = shape;
    record.frame = FrameOf(shape);
    record.psf = psf_->name();
    record.optics = psf_->optics();
    return record;
}

ReportPsf VolumeRestoration::DescribePsf(const Extent& frame) const {
    const PaddedVolume psf(frame);
    psf_->LayOut(psf);
    ReportPsf described = DescribeWrappedPsf(psf, SidesOfRefinedPsf(psf_->size(), frame), voxel_);
    described.name = "PSF";
    described.source = psf_->name();
    return described;
}

void VolumeRestoration::OpenRefinedPsf(const Extent& frame) {
    if (job_.psfOutput.empty()) return;
    refinedPsf_.emplace(job_.psfOutput, SidesOfRefinedPsf(psf_->size(), frame), voxel_, job_.overwrite);
}

void VolumeRestoration::ChooseBySplit(PlaneSource& repaired, const Cleaning& cleaning,
                                      const PhotonScale& scale, const Messages& notes) {
    if (settings_.iterations == 0U) return;
    const PaddedVolume psf(FrameOf(repaired.shape()));
    psf_->LayOut(psf);
    split_ = RunSplit({job_, method_, repaired, cleaning.background, scale, psf, notes});
    settings_.iterations = split_->curve.best;
    settings_.noAutoStop = true;
}

void VolumeRestoration::CopyConstant(const PaddedVolume& image, const Extent& shape, PlaneSink& to,
                                     VolumeRecord& record) {
    record.end = EndOfRun::Copied;
    record.fluxOut = record.fluxIn;
    record.after = RangeOf(image, shape);
    WritePlanes(image, shape, to);
    if (!refinedPsf_) return;
    const PaddedVolume psf(image.logical());
    psf_->LayOut(psf);
    refinedPsf_->Write(psf);
}

VolumeRecord VolumeRestoration::Restore(PlaneSource& from, PlaneSink& to, PsfUse use,
                                        const RunVariant& variant) {
    VolumeRecord record = RecordOf(from.shape());
    const auto [shape, frame] = std::pair(record.shape, record.frame);
    std::unique_ptr<Truth> truth;
    if (!job_.truth.empty()) truth = std::make_unique<Truth>(job_.truth, shape, frame, messages_);
    IterateSinks sinks;
    if (truth != nullptr) sinks.Add(truth.get());
    PreparedMethod prepared = method_.make(method_, variant.settings, &sinks);
    const std::unique_ptr<Checkpoint> resumed = OpenCheckpoint(job_, prepared);
    if (truth != nullptr && resumed != nullptr) truth->set_iterates(resumed->iterations());
    OpenRefinedPsf(frame);

    const PaddedVolume image(frame);
    const auto startOfReading = std::chrono::steady_clock::now();
    record.before = LoadImage(from, job_, method_, variant.checked, image, messages_);
    if (variant.loaded) variant.loaded();
    record.negativeCut = method_.liftsNegative ? 0 : record.before.negative;
    record.fluxIn = SumOf(image, shape);
    if (record.before.least == record.before.largest) {
        CopyConstant(image, shape, to, record);
        return record;
    }
    if (variant.largestOfWhole && method_.scalesStrength) {
        // The weight goes with the square of the strength.
        prepared.params->dRegularization *=
            std::sqrt(double{record.before.largest} / *variant.largestOfWhole);
    }
    const std::uint32_t checksum = ChecksumOfStack(image, shape);
    if (variant.borderOfWhole) {
        FillMargin(image, shape, *variant.borderOfWhole);
    } else {
        FillMargin(image, shape);
    }
    record.readSeconds = SecondsSince(startOfReading);
    const double lift = method_.liftsNegative ? PedestalOfAccelerated(image) : 0.0;
    if (truth != nullptr) truth->set_pedestal(lift);
    const Extent psfSides = SidesOfRefinedPsf(psf_->size(), frame);
    const PaddedVolume psf(frame);
    psf_->LayOut(psf);
    if (use == PsfUse::Last) psf_.reset();  // its memory is the core's now
    const std::unique_ptr<CheckpointedRun> parked =
        ParkRun(job_, prepared, image, psf, resumed.get(), messages_);
    std::optional<ConvergenceSink> convergence;
    if (job_.wantsCurve && curves_ && method_.showsIterates && !blocks_) {
        convergence.emplace(image, shape, psf, method_.refinesPsf, lift);
        sinks.Add(&*convergence);
    }
    if (!sinks.empty()) prepared.params->pfReference = image.data();  // only asks for the iterates
    LeaveIfStopRequested();

    const PsfWidths widthsBefore = method_.refinesPsf ? WidthsOfWrapped(psf) : PsfWidths{};
    const auto start = std::chrono::steady_clock::now();
    const unsigned units = RunCore(prepared, image, psf, shape,
                                   {.label = variant.label.c_str(), .parked = parked.get()}, messages_);
    record.coreSeconds = SecondsSince(start);
    record.split = split_;
    NoteEnd(method_, prepared, units, record);
    if (convergence) {
        record.curve = convergence->curve();
        if (resumed != nullptr) record.curve->before = resumed->iterations();
    }

    record.fluxOut = CheckResult(image, shape);
    record.after = RangeOf(image, shape);
    if (!blocks_ && (!method_.iterative() || prepared.params->uiIterations > 0)) {
        RefuseUnchanged(image, checksum, from, !method_.liftsNegative);
    }
    const auto startOfWriting = std::chrono::steady_clock::now();
    WritePlanes(image, shape, to);
    record.writeSeconds = SecondsSince(startOfWriting);
    if (refinedPsf_) refinedPsf_->Write(psf);
    if (method_.refinesPsf) {
        record.psfWidths = WidthChange(widthsBefore, WidthsOfWrapped(psf), psfSides, voxel_);
        if (!job_.report.empty()) {
            ReportPsf& refined = record.psfs.emplace_back(DescribeWrappedPsf(psf, psfSides, voxel_));
            refined.name = "refined PSF";
            refined.source = "--method " + job_.method;
        }
    }
    return record;
}

void VolumeRestoration::CommitRefinedPsf() {
    if (refinedPsf_) refinedPsf_->Commit();
}

}  // namespace rydecon
