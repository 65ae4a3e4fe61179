// SPDX-License-Identifier: MIT
#include "restoration/volume_job.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cleaning/bleaching.h"
#include "cleaning/cleaned_planes.h"
#include "io/file_error.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "report/counted.h"
#include "report/deferred_messages.h"
#include "report/output_file.h"
#include "report/turn.h"
#include "restoration/blocks/piecewise_restoration.h"
#include "restoration/blocks/run_forecast.h"
#include "restoration/convergence.h"
#include "restoration/job.h"
#include "restoration/kept_volume.h"
#include "restoration/method_choice.h"
#include "restoration/observed_planes.h"
#include "restoration/output_checks.h"
#include "restoration/stack_volume.h"
#include "restoration/volume_restoration.h"
#include "restoration/volume_summary.h"

namespace rydecon {

namespace {

void WriteCurveOf(const RestoreJob& job, const VolumeRecord& volume) {
    if (job.curveOutput.empty()) return;
    const Curve none{.label = {}, .column = job.stop.split ? kSplitColumn : kConvergenceColumn};
    WriteCurve(job.curveOutput, job.overwrite,
               volume.split ? volume.split->curve : volume.curve.value_or(none));
}

/// Where the planes of one volume go in the file, and how many of their samples the file could not hold.
class WrittenVolume final : public PlaneSink {
  public:
    WrittenVolume(StackWriter& writer, int c, int t) : writer_(writer), c_(c), t_(t) {}

    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override {
        const long long before = ClippedIn(writer_);
        writer_.WritePlane(PlaneIndex{k, c_, t_}, rows, rowStride);
        clipped_ += ClippedIn(writer_) - before;
    }
    long long clipped() const { return clipped_; }

  private:
    StackWriter& writer_;
    int c_;
    int t_;
    long long clipped_ = 0;
};

/// The head of a run. The probe of the time is only for somebody who reads it.
void TellPlan(const RestoreJob& job, const Method& method, const RunPlan& plan, const Messages& messages) {
    if (messages.quiet()) return;
    messages.Announce(PlanText(plan, method, job.settings, ForecastSeconds(method, job.settings, plan)));
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

/// The file that a job writes, and the pieces that its volumes wait in or go on from.
struct VolumeOutput {
    StackWriter writer;
    PartFolder parts;
    UnitWriter behind;
    std::vector<KeptVolume> kept;                         // of a job that rescales, volume by volume
    std::vector<std::shared_ptr<WrittenVolume>> written;  // of any other

    VolumeOutput(const RestoreJob& job, const StackHeader& header, const Messages& messages)
        : writer(job.output, header, WriteOptions{job.overwrite, job.sampleType, {}, {}}),
          parts(job.output, job.resumePieces, messages),
          behind(parts) {}

    /// Throws the failure, with what is left for a later run.
    [[noreturn]] void Fail(const UserError& failure) {
        try {
            behind.Wait();  // a finished piece is kept, whatever ends the run
        } catch (const UserError&) {
            // What failed first is told.
        }
        parts.Fail(failure);
    }
};

class VolumeJob {
  public:
    VolumeJob(const RestoreJob& job, const Method& method, const Messages& messages)
        : job_(job),
          method_(method),
          messages_(messages),
          notesOfReader_(messages),
          reader_(job.image, notesOfReader_, Accept::AnyStack),
          stack_(reader_, job.image, job.channels, job.times),
          volumes_(stack_),
          ahead_(volumes_) {
        record_.header = WithStatedVoxel(stack_.header(), job.psf.optics);
        RequireOneVolume(job, record_.header);
        psfs_ = PsfsOfChannels(job, stack_);
    }

    RestorationRecord Run() {
        try {
            for (int c = 0; c < record_.header.channels; ++c) RestoreChannel(c);
        } catch (const UserError& failure) {
            if (!output_) throw;
            output_->Fail(failure);
        }
        NoteClipped(output_->writer, job_, messages_);
        return std::move(record_);
    }

  private:
    /// One PSF, and what restores with it.
    struct Channel {
        const RestoreJob& job;  // with the PSF of the channel
        VolumeRestoration& restoration;
        PiecewiseRestoration& pieces;
        std::optional<ReportPsf> psf;  // for a report
    };

    void RestoreChannel(int c);
    void RestoreTime(const Channel& channel, int c, int t);
    VolumeRecord RestoreVolume(const Channel& channel, int c, int t, const VolumePassage& raw);
    void TellBleaching(int c) const;
    void WriteRescaled();
    void Finish(VolumeRestoration& last);

    const RestoreJob& job_;
    const Method& method_;
    const Messages& messages_;
    DeferredMessages notesOfReader_;
    StackReader reader_;
    SelectedStack stack_;
    SelectedVolumes volumes_;
    RestorationRecord record_;
    std::vector<PsfChoice> psfs_;
    std::optional<VolumeOutput> output_;
    UnitReader ahead_;
};

/// All times of one channel.
void VolumeJob::RestoreChannel(int c) {
    RestoreJob job = job_;
    job.psf = psfs_[static_cast<std::size_t>(c)];
    VolumeRestoration restoration(job, method_, HeaderOfChannel(record_.header, c), messages_);
    if (!output_) output_.emplace(job_, record_.header, messages_);
    const VolumeSet volumes = {volumes_.ShapeOf(0), static_cast<unsigned>(volumes_.NumberOf(c, 0)),
                               static_cast<unsigned>(record_.header.times),
                               static_cast<unsigned>(volumes_.count()),
                               ahead_.Held() + output_->behind.Held()};
    PiecewiseRestoration pieces(output_->parts, output_->behind, job, method_, restoration, volumes,
                                messages_);
    TellPlan(job, method_, pieces.plan(), messages_);
    Channel channel = {job, restoration, pieces, {}};
    if (!job_.report.empty()) channel.psf = restoration.DescribePsf(pieces.plan().frame);
    for (int t = 0; t < record_.header.times; ++t) RestoreTime(channel, c, t);
    if (job_.rescale) output_->kept.insert(output_->kept.end(), pieces.kept().begin(), pieces.kept().end());
    TellBleaching(c);
    if (c + 1 == record_.header.channels) Finish(restoration);
}

/// One volume, with its pictures as it was read and as it is restored where a report shows them.
void VolumeJob::RestoreTime(const Channel& channel, int c, int t) {
    const int number = volumes_.NumberOf(c, t);
    const int next = number + 1;
    std::shared_ptr<PlaneSink> to = std::make_shared<DroppedPlanes>();
    if (!job_.rescale)
        to = output_->written.emplace_back(std::make_shared<WrittenVolume>(output_->writer, c, t));
    ahead_.Take(number, channel.pieces.RoomForVolume());
    notesOfReader_.PassOn();
    const auto loaded = [this, next] {
        ahead_.ReadAhead(next < volumes_.count() ? std::optional(next) : std::nullopt);
    };
    if (job_.report.empty() || !ShowsViews(number, volumes_.count())) {
        record_.volumes.push_back(RestoreVolume(channel, c, t, {ahead_, to, nullptr, loaded}));
        return;
    }
    ReportViews views(HeaderOfChannel(WithStatedVoxel(stack_.header(), channel.job.psf.optics), c));
    ObservedSource from(ahead_, views);
    VolumeRecord volume = RestoreVolume(channel, c, t, {from, to, &views, loaded});
    volume.views = views.Finish();
    volume.psfs.insert(volume.psfs.begin(), *channel.psf);
    record_.volumes.push_back(std::move(volume));
}

/// From its planes to those of the output. `raw` is as the file has it.
VolumeRecord VolumeJob::RestoreVolume(const Channel& channel, int c, int t, const VolumePassage& raw) {
    const std::string name = stack_.NameOf(c, t);
    const PrefixedMessages notes(messages_, name);
    CleaningChoice choice = job_.cleaning;
    choice.significantBits = record_.header.significantBits;
    const Cleaning cleaning =
        PlanCleaning(raw.from, choice, std::string(NameOf(record_.header.sampleType)), false, job_.image);
    TellCleaning(cleaning, job_.image, notes);
    CleanedPlanes from(raw.from, cleaning);
    if (job_.stop.split) {
        const auto scale =
            Naming(name, [&] { return FindPhotonScale(from.repaired(), job_.stop.photons, job_.image); });
        if (scale) channel.restoration.ChooseBySplit(from.repaired(), cleaning, *scale, notes);
    }
    const bool last = t + 1 == record_.header.times;
    VolumeRecord volume = channel.pieces.Restore(
        static_cast<unsigned>(volumes_.NumberOf(c, t)), {from, raw.to, raw.views, raw.loaded},
        last ? VolumeRestoration::PsfUse::Last : VolumeRestoration::PsfUse::Again);
    NoteCopied(job_, volume, notes);
    volume.name = name;
    volume.channel = c;
    volume.cleaning = cleaning;
    return volume;
}

/// Bleaching along time is told, and left alone.
void VolumeJob::TellBleaching(int c) const {
    std::vector<double> means;
    for (int t = 0; t < record_.header.times; ++t) {
        const VolumeRecord& volume = record_.volumes[static_cast<std::size_t>(volumes_.NumberOf(c, t))];
        const Extent& shape = volume.shape;
        means.push_back(volume.fluxIn / (1.0 * shape.x * shape.y * shape.z));
    }
    const std::string note = BleachingNote(means);
    if (note.empty()) return;
    PrefixedMessages(messages_, stack_.NameOf(c)).Note(Quoted(job_.image) + ": " + note);
}

/// The volumes that waited for the range of them all.
void VolumeJob::WriteRescaled() {
    RescaleOutput(job_, record_, output_->writer, messages_);
    for (std::size_t n = 0; n < output_->kept.size(); ++n) {
        const int number = static_cast<int>(n);
        WrittenVolume to(output_->writer, number / record_.header.times, number % record_.header.times);
        WriteKept(output_->parts, output_->kept[n], to);
    }
}

/// Puts the output in its place once all is restored.
void VolumeJob::Finish(VolumeRestoration& last) {
    output_->behind.Release();
    PassTurn();
    for (std::size_t n = 0; n < output_->written.size(); ++n) {
        record_.volumes[n].clipped = output_->written[n]->clipped();
    }
    if (job_.rescale) WriteRescaled();
    WriteCurveOf(job_, record_.volumes.back());
    output_->writer.Commit();
    output_->parts.Remove();
    last.CommitRefinedPsf();
}

}  // namespace

RestorationRecord RunVolumeJob(const RestoreJob& job, const Method& method, const Messages& messages) {
    const auto start = std::chrono::steady_clock::now();
    CheckSettings(method, job.settings);
    std::vector<std::filesystem::path> inputs = InputsOf(job);
    inputs.push_back(job.resume);
    CheckOutputFile(job.output, job.overwrite, inputs);
    CheckFilesBeside(job);
    RequireSound(job.psf.optics);
    RestorationRecord record = VolumeJob(job, method, messages).Run();
    record.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!messages.quiet()) PrintSummary(job, method, record);
    return record;
}

}  // namespace rydecon
