// SPDX-License-Identifier: MIT
#include "restoration/job.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

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
    CheckOutputFile(job.checkpoint, job.overwrite || goesOn, InputsOf(job));
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

/// Where the planes of one volume go in the file.
class WrittenVolume final : public PlaneSink {
  public:
    WrittenVolume(StackWriter& writer, int c, int t) : writer_(writer), c_(c), t_(t) {}

    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override {
        writer_.WritePlane(PlaneIndex{k, c_, t_}, rows, rowStride);
    }

  private:
    StackWriter& writer_;
    int c_;
    int t_;
};

/// ", 12 iterations (the limit)"; empty for a direct method.
std::string EndText(const Method& method, const VolumeRecord& volume) {
    if (volume.end == EndOfRun::Direct) return "";
    if (method.refinesPsf) return ", " + std::to_string(volume.iterations) + " sweeps of image and PSF";
    return ", " + std::to_string(volume.iterations) + " iterations (" +
           (volume.end == EndOfRun::Limit ? "the limit" : "ended by its stop test") + ")";
}

void PrintVolume(const RestoreJob& job, const Method& method, const VolumeRecord& volume, double seconds) {
    const std::string name = volume.name.empty() ? "" : " of " + volume.name;
    std::printf("%s: %s samples%s, method %s%s, padded to %s, %.2f s\n", job.output.string().c_str(),
                ToString(volume.shape).c_str(), name.c_str(), job.method.c_str(),
                EndText(method, volume).c_str(), ToString(volume.frame).c_str(), seconds);
    if (method.refinesPsf) {
        std::printf("width of the PSF at half maximum: %s\n", volume.psfWidths.c_str());
    }
}

void PrintSummary(const RestoreJob& job, const Method& method, const RestorationRecord& record) {
    if (record.volumes.size() == 1) {
        PrintVolume(job, method, record.volumes.front(), record.seconds);
        return;
    }
    for (const VolumeRecord& volume : record.volumes) {
        PrintVolume(job, method, volume, volume.readSeconds + volume.coreSeconds + volume.writeSeconds);
    }
    std::printf("%s: %d channels, %d times, %.2f s\n", job.output.string().c_str(), record.header.channels,
                record.header.times, record.seconds);
}

/// Options that follow a single run, and would mean another file for each volume.
void RequireOneVolume(const RestoreJob& job, const StackHeader& header) {
    if (header.channels == 1 && header.times == 1) return;
    const std::pair<const char*, const std::filesystem::path*> single[] = {{"--truth", &job.truth},
                                                                           {"--checkpoint", &job.checkpoint},
                                                                           {"--resume", &job.resume},
                                                                           {"--psf-out", &job.psfOutput}};
    for (const auto& [option, file] : single) {
        if (file->empty()) continue;
        throw UserError(std::string(option) + " is for one channel at one time, and " + Quoted(job.image) +
                            " has " + std::to_string(header.channels) + " channels and " +
                            std::to_string(header.times) + " times; choose one with --channels and --times",
                        ExitCode::Usage);
    }
}

RestorationRecord RunVolumeJob(const RestoreJob& job, const Method& method, const Messages& messages) {
    const auto start = std::chrono::steady_clock::now();
    CheckSettings(method, job.settings);
    std::vector<std::filesystem::path> inputs = InputsOf(job);
    inputs.push_back(job.resume);
    CheckOutputFile(job.output, job.overwrite, inputs);
    CheckCheckpointFile(job);
    CheckPsfOutput(job);
    RequireSound(job.psf.optics);

    StackReader reader(job.image, messages, Accept::AnyStack);
    SelectedStack stack(reader, job.image, job.channels, job.times);
    RestorationRecord record;
    const StackHeader& header = record.header = WithStatedVoxel(stack.header(), job.psf.optics);
    RequireOneVolume(job, header);
    const std::vector<PsfChoice> psfs = PsfsOfChannels(job, stack);
    std::optional<StackWriter> writer;
    for (int c = 0; c < header.channels; ++c) {
        RestoreJob channel = job;
        channel.psf = psfs[static_cast<std::size_t>(c)];
        VolumeRestoration restoration(channel, method, HeaderOfChannel(header, c), messages);
        if (!writer) writer.emplace(job.output, header, WriteOptions{job.overwrite, job.sampleType, {}, {}});
        for (int t = 0; t < header.times; ++t) {
            SelectedVolume from(stack, c, t);
            WrittenVolume to(*writer, c, t);
            const bool last = t + 1 == header.times;
            record.volumes.push_back(restoration.Restore(
                from, to, last ? VolumeRestoration::PsfUse::Last : VolumeRestoration::PsfUse::Again));
            record.volumes.back().name = stack.NameOf(c, t);
        }
        if (c + 1 == header.channels) writer->Commit();
        restoration.CommitRefinedPsf();
    }
    NoteClipped(*writer, job, messages);
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

std::vector<std::filesystem::path> InputsOf(const RestoreJob& job) {
    std::vector<std::filesystem::path> inputs = {job.image, job.psf.file, job.truth};
    for (const PsfChoice& psf : job.channelPsfs) inputs.push_back(psf.file);
    return inputs;
}

std::vector<PsfChoice> PsfsOfChannels(const RestoreJob& job, const SelectedStack& stack) {
    const auto selected = static_cast<std::size_t>(stack.header().channels);
    const std::size_t given = job.channelPsfs.size();
    if (given == 0) return std::vector<PsfChoice>(selected, job.psf);
    if (given == selected) return job.channelPsfs;
    if (given != static_cast<std::size_t>(stack.channelsOfFile())) {
        throw UserError("--psf, --emission or --excitation tells of " + std::to_string(given) +
                            " channels, and " + std::to_string(selected) +
                            " are to be restored; give one value for all, or one for each",
                        ExitCode::Usage);
    }
    std::vector<PsfChoice> psfs;
    for (std::size_t c = 0; c < selected; ++c) {
        psfs.push_back(job.channelPsfs[static_cast<std::size_t>(stack.ChannelOfFile(static_cast<int>(c)))]);
    }
    return psfs;
}

void NoteClipped(const StackWriter& writer, const RestoreJob& job, const Messages& messages) {
    const ClippedSamples& clipped = writer.clipped();
    const auto note = [&](std::size_t count, const char* what) {
        if (count == 0) return;
        messages.Note(Quoted(job.output) + ": " + std::to_string(count) + " samples " + what + " " +
                      std::string(NameOf(job.sampleType)) + " and were clipped");
    };
    note(clipped.low, "lie below 0, the least of");
    note(clipped.high, "lie above the largest of");
}

RestorationRecord RunRestoreJob(const RestoreJob& job, const Messages& messages) {
    const MethodChoice methods = MethodsForImage(job);
    if (methods.picture != nullptr) return RunPictureJob(job, *methods.picture, messages);
    return RunVolumeJob(job, *methods.volume, messages);
}

}  // namespace rydecon
