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
#include "report/counted.h"
#include "report/output_file.h"
#include "restoration/blocks/piecewise_restoration.h"
#include "restoration/blocks/run_forecast.h"
#include "restoration/convergence.h"
#include "restoration/kept_volume.h"
#include "restoration/method_choice.h"
#include "restoration/observed_planes.h"
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
    if (method.refinesPsf) return ", " + Counted(volume.iterations, "sweep") + " of image and PSF";
    return ", " + Counted(volume.iterations, "iteration") + " (" +
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
    const std::string name = volume.name.empty() ? "" : " of " + OneLine(volume.name);
    std::printf("%s: %s samples%s, method %s%s, %spadded to %s, %.2f s\n",
                OneLine(job.output.native()).c_str(), ToString(volume.shape).c_str(), name.c_str(),
                job.method.c_str(), EndText(method, volume).c_str(), BlocksText(volume).c_str(),
                ToString(volume.frame).c_str(), seconds);
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
    std::printf("%s: %s, %s, %.2f s\n", OneLine(job.output.native()).c_str(),
                Counted(record.header.channels, "channel").c_str(),
                Counted(record.header.times, "time").c_str(), record.seconds);
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
                            " has " + Counted(header.channels, "channel") + " and " +
                            Counted(header.times, "time") + "; choose one with --channels and --times",
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

/// What an error says, of which of several volumes.
template <class Work>
auto Naming(const std::string& volume, Work work) {
    try {
        return work();
    } catch (const UserError& failure) {
        if (volume.empty()) throw;
        throw UserError(volume + ": " + failure.what(), failure.code());
    }
}

void NoteCopied(const RestoreJob& job, const VolumeRecord& volume, const Messages& notes) {
    if (volume.before.least != volume.before.largest) return;
    char level[32];
    std::snprintf(level, sizeof level, "%.6g", double{volume.before.least});
    notes.Note(Quoted(job.image) + ": every sample is " + level +
               "; there is nothing to restore, and it is copied");
}

/// From its planes to those of the output. `raw` is as the file has it.
VolumeRecord RestoreVolume(const VolumeTask& task, VolumeRestoration& restoration,
                           PiecewiseRestoration& pieces, PlaneSource& raw, PlaneSink& to,
                           const Messages& messages) {
    const auto& [job, stack, c, t] = task;
    const StackHeader& header = stack.header();
    const std::string name = stack.NameOf(c, t);
    const PrefixedMessages notes(messages, name);
    CleaningChoice choice = job.cleaning;
    choice.significantBits = header.significantBits;
    const Cleaning cleaning =
        PlanCleaning(raw, choice, std::string(NameOf(header.sampleType)), false, job.image);
    TellCleaning(cleaning, job.image, notes);
    CleanedPlanes from(raw, cleaning);
    if (job.stop.split) {
        const auto scale = Naming(
            name, [&] { return FindPhotonScale(from.repaired(), task.job.stop.photons, task.job.image); });
        if (scale) restoration.ChooseBySplit(from.repaired(), cleaning, *scale, notes);
    }
    const bool last = t + 1 == header.times;
    VolumeRecord record =
        pieces.Restore(static_cast<unsigned>(c * header.times + t), from, to,
                       last ? VolumeRestoration::PsfUse::Last : VolumeRestoration::PsfUse::Again);
    NoteCopied(job, record, notes);
    record.name = name;
    record.channel = c;
    record.cleaning = cleaning;
    return record;
}

/// The volume, with its pictures as it was read and as it is restored.
VolumeRecord RestoreObserved(const VolumeTask& task, VolumeRestoration& restoration,
                             PiecewiseRestoration& pieces, PlaneSink& to, const Messages& messages) {
    SelectedVolume raw(task.stack, task.c, task.t);
    ReportViews views(HeaderOfChannel(WithStatedVoxel(task.stack.header(), task.job.psf.optics), task.c));
    ObservedSource from(raw, views);
    ObservedSink shown(to, views);
    VolumeRecord record = RestoreVolume(task, restoration, pieces, from, shown, messages);
    record.views = views.Finish();
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

/// The file that a job writes, and the pieces that its volumes may wait in.
struct VolumeOutput {
    StackWriter writer;
    PartFolder parts;
    std::vector<KeptVolume> kept;  // of a job that rescales, volume by volume

    VolumeOutput(const RestoreJob& job, const StackHeader& header, const Messages& messages)
        : writer(job.output, header, WriteOptions{job.overwrite, job.sampleType, {}, {}}),
          parts(job.output, job.resumePieces, messages) {}
};

/// All times of one channel.
void RestoreChannel(const RestoreJob& job, const Method& method, SelectedStack& stack, int c,
                    VolumeRestoration& restoration, VolumeOutput& output, RestorationRecord& record,
                    const Messages& messages) {
    const StackHeader& header = record.header;
    const int volumes = header.channels * header.times;
    const int first = c * header.times;
    PiecewiseRestoration pieces(output.parts, job, method, restoration,
                                {header.width, header.height, header.slices},
                                {static_cast<unsigned>(first), static_cast<unsigned>(volumes)}, messages);
    TellPlan(job, method, pieces.plan(), messages);
    std::optional<ReportPsf> psf;
    if (!job.report.empty()) psf = restoration.DescribePsf(pieces.plan().frame);
    for (int t = 0; t < header.times; ++t) {
        const bool shown = !job.report.empty() && ShowsViews(first + t, volumes);
        WrittenVolume written(output.writer, c, t);
        DroppedPlanes dropped;
        PlaneSink& to = job.rescale ? static_cast<PlaneSink&>(dropped) : written;
        const long long clippedBefore = ClippedIn(output.writer);
        const VolumeTask task = {job, stack, c, t};
        SelectedVolume raw(stack, c, t);
        VolumeRecord& volume =
            record.volumes.emplace_back(shown ? RestoreObserved(task, restoration, pieces, to, messages)
                                              : RestoreVolume(task, restoration, pieces, raw, to, messages));
        volume.clipped = ClippedIn(output.writer) - clippedBefore;
        if (shown) volume.psfs.insert(volume.psfs.begin(), *psf);
    }
    if (job.rescale) output.kept.insert(output.kept.end(), pieces.kept().begin(), pieces.kept().end());
}

/// The volumes that waited for the range of them all.
void WriteRescaled(const RestoreJob& job, VolumeOutput& output, RestorationRecord& record,
                   const Messages& messages) {
    RescaleOutput(job, record, output.writer, messages);
    try {
        for (std::size_t n = 0; n < output.kept.size(); ++n) {
            const int number = static_cast<int>(n);
            WrittenVolume to(output.writer, number / record.header.times, number % record.header.times);
            WriteKept(output.parts, output.kept[n], to);
        }
    } catch (const UserError& failure) {
        output.parts.Fail(failure);
    }
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
    std::optional<VolumeOutput> output;
    for (int c = 0; c < header.channels; ++c) {
        RestoreJob channel = job;
        channel.psf = psfs[static_cast<std::size_t>(c)];
        VolumeRestoration restoration(channel, method, HeaderOfChannel(header, c), messages);
        if (!output) output.emplace(job, header, messages);
        RestoreChannel(channel, method, stack, c, restoration, *output, record, messages);
        TellBleaching(job, record, c, messages);
        if (c + 1 < header.channels) continue;
        if (job.rescale) WriteRescaled(job, *output, record, messages);
        WriteCurveOf(job, record.volumes.back());
        output->writer.Commit();
        output->parts.Remove();
        restoration.CommitRefinedPsf();
    }
    NoteClipped(output->writer, job, messages);
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
    return static_cast<long long>(writer.clipped().low) + static_cast<long long>(writer.clipped().high);
}

void NoteClipped(const StackWriter& writer, const RestoreJob& job, const Messages& messages) {
    const ClippedSamples& clipped = writer.clipped();
    const auto note = [&](std::size_t count, const char* what) {
        if (count == 0) return;
        messages.Note(Quoted(job.output) + ": " + Counted(count, "sample") +
                      (count == 1 ? " lies " : " lie ") + what + " " + std::string(NameOf(job.sampleType)) +
                      (count == 1 ? " and was clipped" : " and were clipped"));
    };
    note(clipped.low, "below 0, the least of");
    note(clipped.high, "above the largest of");
}

RestorationRecord RunRestoreJob(const RestoreJob& job, const Messages& messages) {
    const MethodChoice methods = MethodsForImage(job);
    CheckStop(job, methods.picture == nullptr ? methods.volume : nullptr);
    if (methods.picture != nullptr) RefuseMemoryLimit(job);
    if (methods.picture != nullptr) return RunPictureJob(job, *methods.picture, messages);
    return RunVolumeJob(job, *methods.volume, messages);
}

}  // namespace rydecon
