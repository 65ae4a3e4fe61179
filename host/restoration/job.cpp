// SPDX-License-Identifier: MIT
#include "restoration/job.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "cleaning/bleaching.h"
#include "cleaning/cleaned_planes.h"
#include "io/file_error.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "report/output_file.h"
#include "restoration/blocks/piecewise_restoration.h"
#include "restoration/blocks/run_forecast.h"
#include "restoration/convergence.h"
#include "restoration/method_choice.h"
#include "restoration/output_checks.h"
#include "restoration/picture_job.h"
#include "restoration/stack_volume.h"
#include "restoration/volume_restoration.h"

namespace rydecon {

namespace {

void WriteCurveOf(const RestoreJob& job, const VolumeRecord& volume) {
    if (job.curveOutput.empty()) return;
    const Curve none{.label = {}, .column = job.stop.split ? kSplitColumn : kConvergenceColumn};
    WriteCurve(job.curveOutput, job.overwrite,
               volume.split ? volume.split->curve : volume.curve.value_or(none));
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
    if (volume.end == EndOfRun::Copied) return ", copied";
    if (method.refinesPsf) return ", " + std::to_string(volume.iterations) + " sweeps of image and PSF";
    return ", " + std::to_string(volume.iterations) + " iterations (" +
           (volume.end == EndOfRun::Limit   ? "the limit"
            : volume.end == EndOfRun::Split ? "where two halves of the photons agree best"
                                            : "ended by its stop test") +
           ")";
}

/// "2 x 2 x 1 blocks, 3 of them from an earlier run, each "; empty for a volume restored in one piece.
std::string BlocksText(const VolumeRecord& volume) {
    if (volume.blocks == Extent{1, 1, 1}) return volume.takenOver > 0 ? "taken from an earlier run, " : "";
    const std::string taken =
        volume.takenOver > 0 ? ", " + std::to_string(volume.takenOver) + " of them from an earlier run" : "";
    return ToString(volume.blocks) + " blocks" + taken + ", each ";
}

/// The head of a run. The probe of the time is only for somebody who reads it.
void TellPlan(const RestoreJob& job, const Method& method, const RunPlan& plan, const Messages& messages) {
    if (messages.quiet()) return;
    messages.Announce(PlanText(plan, method, job.settings, ForecastSeconds(method, job.settings, plan)));
}

void PrintVolume(const RestoreJob& job, const Method& method, const VolumeRecord& volume, double seconds) {
    const std::string name = volume.name.empty() ? "" : " of " + volume.name;
    std::printf("%s: %s samples%s, method %s%s, %spadded to %s, %.2f s\n", job.output.string().c_str(),
                ToString(volume.shape).c_str(), name.c_str(), job.method.c_str(),
                EndText(method, volume).c_str(), BlocksText(volume).c_str(), ToString(volume.frame).c_str(),
                seconds);
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
                                                                           {"--psf-out", &job.psfOutput},
                                                                           {"--curve", &job.curveOutput}};
    for (const auto& [option, file] : single) {
        if (file->empty()) continue;
        throw UserError(std::string(option) + " is for one channel at one time, and " + Quoted(job.image) +
                            " has " + std::to_string(header.channels) + " channels and " +
                            std::to_string(header.times) + " times; choose one with --channels and --times",
                        ExitCode::Usage);
    }
}

/// One channel at one time of a job.
struct VolumeTask {
    const RestoreJob& job;  // with the PSF of the channel
    SelectedStack& stack;
    int c;
    int t;
};

/// From the file to its place in the output.
VolumeRecord RestoreVolume(const VolumeTask& task, VolumeRestoration& restoration,
                           PiecewiseRestoration& pieces, StackWriter& writer, const Messages& messages) {
    const auto& [job, stack, c, t] = task;
    const StackHeader& header = stack.header();
    const std::string name = stack.NameOf(c, t);
    const PrefixedMessages notes(messages, name);
    SelectedVolume raw(stack, c, t);
    CleaningChoice choice = job.cleaning;
    choice.significantBits = header.significantBits;
    const Cleaning cleaning =
        PlanCleaning(raw, choice, std::string(NameOf(header.sampleType)), false, job.image);
    TellCleaning(cleaning, job.image, notes);
    CleanedPlanes from(raw, cleaning);
    if (job.stop.split) {
        const auto scale = FindPhotonScale(from.repaired(), job.stop.photons, job.image);
        if (scale) restoration.ChooseBySplit(from.repaired(), cleaning, *scale);
    }
    WrittenVolume to(writer, c, t);
    const bool last = t + 1 == header.times;
    VolumeRecord record =
        pieces.Restore(static_cast<unsigned>(c * header.times + t), from, to,
                       last ? VolumeRestoration::PsfUse::Last : VolumeRestoration::PsfUse::Again);
    record.name = name;
    record.cleaning = cleaning;
    return record;
}

/// Bleaching along time is told, and left alone.
void TellBleaching(const RestoreJob& job, const RestorationRecord& record, int c, const Messages& messages) {
    const auto times = static_cast<std::size_t>(record.header.times);
    std::vector<double> means;
    for (std::size_t n = record.volumes.size() - times; n < record.volumes.size(); ++n) {
        const Extent& shape = record.volumes[n].shape;
        means.push_back(record.volumes[n].fluxIn / (1.0 * shape.x * shape.y * shape.z));
    }
    const std::string note = BleachingNote(means);
    if (note.empty()) return;
    const std::string channel =
        record.header.channels > 1 ? ", channel " + std::to_string(c + 1) + " of the selection" : "";
    messages.Note(Quoted(job.image) + channel + ": " + note);
}

RestorationRecord RunVolumeJob(const RestoreJob& job, const Method& method, const Messages& messages) {
    const auto start = std::chrono::steady_clock::now();
    CheckSettings(method, job.settings);
    std::vector<std::filesystem::path> inputs = InputsOf(job);
    inputs.push_back(job.resume);
    CheckOutputFile(job.output, job.overwrite, inputs);
    CheckFilesBeside(job);
    RequireSound(job.psf.optics);

    StackReader reader(job.image, messages, Accept::AnyStack);
    SelectedStack stack(reader, job.image, job.channels, job.times);
    RestorationRecord record;
    const StackHeader& header = record.header = WithStatedVoxel(stack.header(), job.psf.optics);
    RequireOneVolume(job, header);
    const std::vector<PsfChoice> psfs = PsfsOfChannels(job, stack);
    const auto times = static_cast<unsigned>(header.times);
    const unsigned volumes = static_cast<unsigned>(header.channels) * times;
    std::optional<StackWriter> writer;
    std::optional<PartFolder> parts;
    for (int c = 0; c < header.channels; ++c) {
        RestoreJob channel = job;
        channel.psf = psfs[static_cast<std::size_t>(c)];
        VolumeRestoration restoration(channel, method, HeaderOfChannel(header, c), messages);
        if (!writer) {
            writer.emplace(job.output, header, WriteOptions{job.overwrite, job.sampleType, {}, {}});
            parts.emplace(job.output, job.resumePieces, messages);
        }
        const unsigned first = static_cast<unsigned>(c) * times;
        PiecewiseRestoration pieces(*parts, channel, method, restoration,
                                    {header.width, header.height, header.slices}, {first, volumes}, messages);
        TellPlan(job, method, pieces.plan(), messages);
        for (int t = 0; t < header.times; ++t) {
            const long long clippedBefore = ClippedIn(*writer);
            record.volumes.push_back(
                RestoreVolume({channel, stack, c, t}, restoration, pieces, *writer, messages));
            record.volumes.back().clipped = ClippedIn(*writer) - clippedBefore;
        }
        TellBleaching(job, record, c, messages);
        if (c + 1 < header.channels) continue;
        WriteCurveOf(job, record.volumes.back());
        writer->Commit();
        parts->Remove();
        restoration.CommitRefinedPsf();
    }
    NoteClipped(*writer, job, messages);
    record.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!messages.quiet()) PrintSummary(job, method, record);
    return record;
}

void RefuseMemoryLimit(const RestoreJob& job) {
    if (!job.maxMemory) return;
    throw UserError("--max-memory cuts stacks; pictures are cut by --tiles", ExitCode::Usage);
}

}  // namespace

long long ClippedIn(const StackWriter& writer) {
    return static_cast<long long>(writer.clipped().low + writer.clipped().high);
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
    CheckStop(job, methods.picture == nullptr ? methods.volume : nullptr);
    if (methods.picture != nullptr) RefuseMemoryLimit(job);
    if (methods.picture != nullptr) return RunPictureJob(job, *methods.picture, messages);
    return RunVolumeJob(job, *methods.volume, messages);
}

}  // namespace rydecon
