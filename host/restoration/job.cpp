// SPDX-License-Identifier: MIT
#include "restoration/job.h"

#include <gnr_deconvolution/return_codes.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>

#include "io/file_error.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "io/temporary_file.h"
#include "report/output_file.h"
#include "report/progress_bar.h"
#include "report/stop_request.h"
#include "restoration/checkpoint.h"
#include "restoration/checkpointed_run.h"
#include "restoration/frame_plan.h"
#include "restoration/margin.h"
#include "restoration/method_choice.h"
#include "restoration/picture_job.h"
#include "restoration/psf_source.h"
#include "restoration/refined_psf.h"
#include "restoration/stack_volume.h"
#include "restoration/truth.h"

namespace rydecon {

namespace {

/// A result that is no picture is an error, not an output.
void CheckResult(const PaddedVolume& volume, const Extent& shape) {
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) {
            const float* const row = volume.Row(j, k);
            for (int i = 0; i < shape.x; ++i) {
                if (!std::isfinite(row[i])) {
                    throw UserError(
                        "the restoration ran out of the range of numbers and gave NaN or infinite samples; "
                        "scale the image down or choose a stronger regularization");
                }
            }
        }
    }
}

/// Loads the image and brings its samples into what the method computes with.
void LoadImage(StackReader& reader, const RestoreJob& job, const Method& method, const PaddedVolume& image,
               const Messages& messages) {
    const SampleRange range = LoadStack(reader, job.image, image);
    RefuseUnfitRange(range, job.image, image.logical());
    if (range.negative == 0 || method.liftsNegative) return;
    NoteNegative(range, job.image, messages);
    CutNegative(image, ShapeOf(reader.header()));
}

/// Finds out now, and not after hours, that no checkpoint can be written there.
void CheckCheckpointFile(const RestoreJob& job) {
    if (job.checkpoint.empty()) return;
    std::error_code ignored;
    const auto place = [&ignored](const auto& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path), ignored);
    };
    if (place(job.checkpoint) == place(job.output)) {
        throw WriteError(job.checkpoint, "it is the output of this command; give another name");
    }
    const bool goesOn = std::filesystem::equivalent(job.checkpoint, job.resume, ignored);
    CheckOutputFile(job.checkpoint, job.overwrite || goesOn, {job.image, job.psf.file, job.truth});
    const TemporaryFile probe(job.checkpoint, true);
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

/// Moves the bar, counts the work and passes Ctrl-C on.
struct ProgressRelay {
    ProgressBar bar;
    unsigned units = 0;

    static int Call(const CRyStringW&, unsigned, unsigned, unsigned, unsigned n, ERyProgressPhase phase,
                    void* self) {
        auto& relay = *static_cast<ProgressRelay*>(self);
        if (phase == eProgressStepEnd) {
            relay.units += n;
            relay.bar.Advance(n);
        }
        return StopRequested() ? 1 : 0;
    }
};

/// Prepares and runs the core on the two volumes. Returns the units of work done.
unsigned RunCore(PreparedMethod& method, const PaddedVolume& image, const PaddedVolume& psf,
                 const Extent& shape, const CheckpointedRun* parked, const Messages& messages) {
    CRy3DDeconvRunParameters& params = *method.params;
    params.sizes = image.sizes();
    params.rcImage = {0, shape.x, 0, shape.y, 0, shape.z};
    const auto outOfMemory = [&] {
        return UserError("not enough memory: the method needs " +
                         std::to_string(method.core->GetRequiredMemorySize(method.params) / 1000000) +
                         " MB of working buffers; crop the stack or free memory");
    };
    if (method.core->Prepare(method.params) != gnr::kSuccess) throw outOfMemory();
    ProgressRelay relay{ProgressBar(method.units, "restoring", messages)};
    params.pfImage = image.data();
    params.pfPsf = psf.data();
    params.pfnProgress = &ProgressRelay::Call;
    params.pProgressData = &relay;
    const int code = method.core->Run(method.params);
    relay.bar.Finish();
    method.core->Free();
    if (code == gnr::kStopped) {
        const std::string left = parked != nullptr ? parked->WhatIsLeft() : "nothing was written";
        throw UserError("stopped; " + left, ExitCode::Stopped);
    }
    if (code == gnr::kOutOfMemory) throw outOfMemory();
    if (code != gnr::kSuccess) {
        throw UserError("the restoration failed with code " + std::to_string(code));
    }
    return relay.units;
}

/// How many iterations ran and why they ended.
std::string EndOfRun(const Method& method, const PreparedMethod& prepared, unsigned units) {
    if (!method.iterative()) return "";
    if (method.refinesPsf) {
        return ", " + std::to_string(prepared.params->uiIterations) + " sweeps of image and PSF";
    }
    const bool limit = units == prepared.params->uiIterations;
    return ", " + std::to_string(units) + " iterations (" + (limit ? "the limit" : "ended by its stop test") +
           ")";
}

/// Two outputs need two files, neither of which is an input.
void CheckPsfOutput(const RestoreJob& job) {
    if (job.psfOutput.empty()) return;
    const auto whole = [](const std::filesystem::path& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path));
    };
    if (whole(job.psfOutput) == whole(job.output)) {
        throw UserError("--psf-out and --output name the same file; give them different names",
                        ExitCode::Usage);
    }
    CheckOutputFile(job.psfOutput, job.overwrite, {job.image, job.psf.file, job.truth});
}

/// The PSF's own sides, as far as the frame has them.
Extent SidesOfRefinedPsf(const Extent& psf, const Extent& frame) {
    return {std::min(psf.x, frame.x), std::min(psf.y, frame.y), std::min(psf.z, frame.z)};
}

void RunVolumeJob(const RestoreJob& job, const Method& method, const Messages& messages) {
    const auto start = std::chrono::steady_clock::now();
    CheckSettings(method, job.settings);
    CheckOutputFile(job.output, job.overwrite, {job.image, job.psf.file, job.truth, job.resume});
    CheckCheckpointFile(job);
    CheckPsfOutput(job);
    RequireSound(job.psf.optics);

    StackReader reader(job.image, messages);
    const StackHeader header = WithStatedVoxel(reader.header(), job.psf.optics);
    const Extent shape = ShapeOf(header);
    std::optional<PsfSource> psfSource(MakePsfSource(job.psf, job.image, header, messages));
    const Extent frame = PlanFrame(shape, psfSource->reach(), method.sides);
    std::unique_ptr<Truth> truth;
    if (!job.truth.empty()) truth = std::make_unique<Truth>(job.truth, shape, frame, messages);
    PreparedMethod prepared = method.make(method, job.settings, truth.get());
    const std::unique_ptr<Checkpoint> resumed = OpenCheckpoint(job, prepared);
    if (truth != nullptr && resumed != nullptr) truth->set_iterates(resumed->iterations());
    StackWriter writer(job.output, header, job.overwrite);
    const Extent psfSides = SidesOfRefinedPsf(psfSource->size(), frame);
    std::optional<RefinedPsfFile> psfFile;
    if (!job.psfOutput.empty()) psfFile.emplace(job.psfOutput, psfSides, header.voxel, job.overwrite);

    const PaddedVolume image(frame);
    LoadImage(reader, job, method, image, messages);
    FillMargin(image, shape);
    if (truth != nullptr) {
        if (job.method == "accelerated") truth->set_pedestal(PedestalOfAccelerated(image));
        prepared.params->pfReference = truth->volume();
    }
    const PaddedVolume psf(frame);
    psfSource->LayOut(psf);
    psfSource.reset();  // its memory is the core's now
    const std::unique_ptr<CheckpointedRun> parked =
        ParkRun(job, prepared, image, psf, resumed.get(), messages);
    LeaveIfStopRequested();

    const PsfWidths widthsBefore = method.refinesPsf ? WidthsOfWrapped(psf) : PsfWidths{};
    const unsigned units = RunCore(prepared, image, psf, shape, parked.get(), messages);

    CheckResult(image, shape);
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        writer.WritePlane(image.Plane(k), image.sizes().rowLength);
    }
    if (psfFile) psfFile->Write(psf);
    writer.Commit();
    if (psfFile) psfFile->Commit();

    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (!messages.quiet()) {
        std::printf("%s: %s samples, method %s%s, padded to %s, %.2f s\n", job.output.string().c_str(),
                    ToString(shape).c_str(), job.method.c_str(), EndOfRun(method, prepared, units).c_str(),
                    ToString(frame).c_str(), elapsed.count());
        if (method.refinesPsf) {
            std::printf("width of the PSF at half maximum: %s\n",
                        WidthChange(widthsBefore, WidthsOfWrapped(psf), psfSides, header.voxel).c_str());
        }
    }
}

/// Narrows a name that means a method for volumes and one for pictures to that of this image.
MethodChoice MethodsForImage(const RestoreJob& job) {
    MethodChoice methods = FindMethods(job.method);
    RefuseUnread(methods, job.given, "");
    if (methods.volume == nullptr || methods.picture == nullptr) return methods;
    CheckSettings(*methods.volume, job.settings);
    const bool onePlane = SlicesOf(StackReader(job.image, Messages(true), Colour::Split).header()) == 1;
    if (onePlane || job.perPlane) {
        methods.volume = nullptr;
        RefuseUnread(methods, job.given, " on pictures");
    } else {
        methods.picture = nullptr;
        RefuseUnread(methods, job.given, " on stacks");
    }
    return methods;
}

}  // namespace

void RunRestoreJob(const RestoreJob& job, const Messages& messages) {
    const MethodChoice methods = MethodsForImage(job);
    if (methods.picture != nullptr) {
        RunPictureJob(job, *methods.picture, messages);
    } else {
        RunVolumeJob(job, *methods.volume, messages);
    }
}

}  // namespace rydecon
