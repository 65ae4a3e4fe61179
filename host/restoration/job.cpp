// SPDX-License-Identifier: MIT
#include "restoration/job.h"

#include <chrono>
#include <cstdio>
#include <string>

#include "io/file_error.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "io/temporary_file.h"
#include "report/output_file.h"
#include "restoration/method_choice.h"
#include "restoration/picture_job.h"
#include "restoration/stack_volume.h"
#include "restoration/volume_restoration.h"

namespace rydecon {

namespace {

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

/// A stack file as the planes of one volume.
class StackPlanes final : public PlaneSource {
  public:
    explicit StackPlanes(StackReader& reader) : reader_(reader) {}

    Extent shape() const override { return ShapeOf(reader_.header()); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override {
        reader_.ReadPlane(k, rows, rowStride);
    }

  private:
    StackReader& reader_;
};

class WrittenPlanes final : public PlaneSink {
  public:
    explicit WrittenPlanes(StackWriter& writer) : writer_(writer) {}

    void WritePlane(int /*k*/, const float* rows, std::ptrdiff_t rowStride) override {
        writer_.WritePlane(rows, rowStride);
    }

  private:
    StackWriter& writer_;
};

/// ", 12 iterations (the limit)"; empty for a direct method.
std::string EndText(const Method& method, const VolumeRecord& volume) {
    if (volume.end == EndOfRun::Direct) return "";
    if (method.refinesPsf) return ", " + std::to_string(volume.iterations) + " sweeps of image and PSF";
    return ", " + std::to_string(volume.iterations) + " iterations (" +
           (volume.end == EndOfRun::Limit ? "the limit" : "ended by its stop test") + ")";
}

void PrintSummary(const RestoreJob& job, const Method& method, const RestorationRecord& record) {
    const VolumeRecord& volume = record.volumes.front();
    std::printf("%s: %s samples, method %s%s, padded to %s, %.2f s\n", job.output.string().c_str(),
                ToString(volume.shape).c_str(), job.method.c_str(), EndText(method, volume).c_str(),
                ToString(volume.frame).c_str(), record.seconds);
    if (method.refinesPsf) {
        std::printf("width of the PSF at half maximum: %s\n", volume.psfWidths.c_str());
    }
}

RestorationRecord RunVolumeJob(const RestoreJob& job, const Method& method, const Messages& messages) {
    const auto start = std::chrono::steady_clock::now();
    CheckSettings(method, job.settings);
    CheckOutputFile(job.output, job.overwrite, {job.image, job.psf.file, job.truth, job.resume});
    CheckCheckpointFile(job);
    CheckPsfOutput(job);
    RequireSound(job.psf.optics);

    StackReader reader(job.image, messages);
    RestorationRecord record;
    record.header = WithStatedVoxel(reader.header(), job.psf.optics);
    VolumeRestoration restoration(job, method, record.header, messages);
    StackWriter writer(job.output, record.header, job.overwrite);
    StackPlanes from(reader);
    WrittenPlanes to(writer);
    record.volumes.push_back(restoration.Restore(from, to, VolumeRestoration::PsfUse::Last));
    writer.Commit();
    restoration.CommitRefinedPsf();
    record.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!messages.quiet()) PrintSummary(job, method, record);
    return record;
}

/// Narrows a name that means a method for volumes and one for pictures to that of this image.
MethodChoice MethodsForImage(const RestoreJob& job) {
    MethodChoice methods = FindMethods(job.method);
    RefuseUnread(methods, job.given, "");
    if (methods.volume == nullptr || methods.picture == nullptr) return methods;
    CheckSettings(*methods.volume, job.settings);
    const bool onePlane = SlicesOf(StackReader(job.image, Messages(true), Accept::AnyStack).header()) == 1;
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

RestorationRecord RunRestoreJob(const RestoreJob& job, const Messages& messages) {
    const MethodChoice methods = MethodsForImage(job);
    if (methods.picture != nullptr) return RunPictureJob(job, *methods.picture, messages);
    return RunVolumeJob(job, *methods.volume, messages);
}

}  // namespace rydecon
