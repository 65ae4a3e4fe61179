// SPDX-License-Identifier: MIT
#include "restoration/picture_job.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "io/file_error.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "report/counted.h"
#include "report/html/psf_sections.h"
#include "report/output_file.h"
#include "report/progress_bar.h"
#include "report/stop_request.h"
#include "report/turn.h"
#include "restoration/clean_pictures.h"
#include "restoration/picture_output.h"
#include "restoration/picture_psf.h"
#include "restoration/stack_volume.h"

namespace rydecon {

namespace {

/// The library's least side of a picture.
constexpr int kLeastSide = 16;

/// Far above what any machine restores, and within what the library counts.
constexpr std::int64_t kMostPixels = std::numeric_limits<std::int32_t>::max() / 4;

void RequireSides(const StackHeader& header, const std::filesystem::path& path) {
    const std::string shape =
        std::to_string(header.width) + " x " + std::to_string(header.height) + " pixels";
    if (std::min(header.width, header.height) < kLeastSide) {
        throw ReadError(path, "a picture of " + shape + " is too small; " + std::to_string(kLeastSide) +
                                  " x " + std::to_string(kLeastSide) + " or more are needed");
    }
    if (std::int64_t{header.width} * header.height > kMostPixels) {
        throw ReadError(path, "a picture of " + shape + " is too large; crop it to " +
                                  std::to_string(kMostPixels) + " pixels or fewer");
    }
}

/// Looks at all planes before the first is restored.
SampleRange ScanPlanes(CleanPictures& pictures, const StackHeader& header, const std::filesystem::path& path,
                       std::vector<float>& plane) {
    SampleRange range;
    for (int k = 0; k < header.planes(); ++k) {
        LeaveIfStopRequested();
        pictures.Read(k, plane);
        range.Add(plane.data(), plane.size());
    }
    RefuseNonFinite(range, path);
    RefuseUnfitRange(range, path, {header.width, header.height, 1});
    return range;
}

/// Moves the bar, counts the calls and passes Ctrl-C on.
struct PollRelay {
    ProgressBar bar;
    unsigned long long polls = 0;

    static int Call(const CRyStringW&, unsigned, unsigned, unsigned, unsigned, ERyProgressPhase phase,
                    void* self) {
        auto& relay = *static_cast<PollRelay*>(self);
        if (phase == eProgressPoll) {
            ++relay.polls;
            relay.bar.Advance(1);
        }
        return StopRequested() ? 1 : 0;
    }
};

/// Iterations of all pictures and tiles.
struct Account {
    unsigned long long total = 0;
    unsigned most = 0;  ///< in one tile
};

/// One method with its settings, for pictures of one size.
class PictureRestoration {
  public:
    PictureRestoration(const PictureMethod& method, const MethodSettings& settings,
                       std::vector<SquarePsf> psfs, const TileGrid& tiles, const StackHeader& header)
        : method_(method),
          settings_(settings),
          psfs_(std::move(psfs)),
          tiles_(tiles),
          width_(static_cast<unsigned>(header.width)),
          height_(static_cast<unsigned>(header.height)) {}

    unsigned iterations() const { return settings_.iterations.value_or(method_.iterations); }

    /// Calls of a run over so many pictures that goes on to its limit.
    unsigned Polls(int pictures) const {
        const unsigned long long polls =
            1ULL * iterations() * method_.polls * tiles_.count() * static_cast<unsigned>(pictures);
        return static_cast<unsigned>(
            std::min<unsigned long long>(polls, std::numeric_limits<unsigned>::max()));
    }

    /// Restores a picture of channel c. UserError where memory does not suffice, after Ctrl-C, and for a result
    /// that is not finite, or the picture itself. Notes how many iterations it took and why they ended.
    void Restore(std::vector<float>& from, std::vector<float>& to, int c, PollRelay& relay,
                 VolumeRecord& record) {
        SquarePsf& psf = psfs_[static_cast<std::size_t>(c)];
        PictureCall call = {BufferOf(to),
                            BufferOf(from),
                            psf,
                            iterations(),
                            settings_.regularization.value_or(method_.regularization),
                            settings_.energyStop,
                            tiles_,
                            &PollRelay::Call,
                            &relay,
                            {}};
        const unsigned long long before = relay.polls;
        const int code = method_.run(call);
        LeaveIfStopRequested();
        if (code != 0) {
            throw UserError(
                "not enough memory for the frames of this picture; restore it with --tiles auto, "
                "crop it or free memory");
        }
        if (!std::all_of(to.begin(), to.end(), [](float v) { return std::isfinite(v); })) {
            throw UserError(
                "the restoration ran out of the range of numbers and gave NaN or infinite samples; scale the "
                "image down or choose other settings");
        }
        if (iterations() > 0 && to == from) {
            throw UserError(
                "the restoration gave a picture back as it was; with this PSF and these settings there is "
                "nothing to restore");
        }
        const unsigned long long rounds = (relay.polls - before) / method_.polls;
        account_.total += rounds;
        record.iterations = static_cast<unsigned>(rounds);
        record.limit = iterations() * tiles_.count();
        record.end = record.iterations == record.limit ? EndOfRun::Limit : EndOfRun::StopTest;
        account_.most = std::max(account_.most, method_.endsByItself ? call.range.uiMax : iterations());
    }

    /// Notes the PSF of channel c.
    void Describe(int c, VolumeRecord& record) const {
        const SquarePsf& psf = psfs_[static_cast<std::size_t>(c)];
        record.psf = psf.name;
        record.optics = psf.optics;
        record.channel = c;
    }

    /// The PSF of channel c, before a blind method refined it.
    ReportPsf DescribePsf(int c, const VoxelSize& voxel) const {
        const SquarePsf& psf = psfs_[static_cast<std::size_t>(c)];
        ReportPsf described = DescribeSquarePsf(psf.samples, static_cast<int>(psf.side), voxel);
        described.name = "PSF";
        described.source = psf.name;
        return described;
    }

    /// How many iterations ran and why they ended.
    std::string EndText(int pictures) const {
        const unsigned long long runs = 1ULL * tiles_.count() * static_cast<unsigned>(pictures);
        std::string text = ", " + Counted(account_.total, method_.round);
        const char* const reason =
            account_.total == runs * iterations() ? "the limit" : "ended by its stop test";
        if (runs == 1) return text + " (" + reason + ")";
        if (tiles_.count() > 1) {
            text += " in " + std::to_string(tiles_.x) + " x " + std::to_string(tiles_.y) + " tiles";
        }
        return text + ", at most " + std::to_string(account_.most) +
               (tiles_.count() > 1 ? " in one (" : " in one picture (") + reason + ")";
    }

  private:
    SRyFloatPicBuf BufferOf(std::vector<float>& samples) const {
        return {0, width_, height_, 0, 1, samples.data()};
    }

    const PictureMethod& method_;
    const MethodSettings& settings_;
    std::vector<SquarePsf> psfs_;  // of the channels
    TileGrid tiles_;
    unsigned width_;
    unsigned height_;
    Account account_;
};

void CutNegative(std::vector<float>& plane) {
    for (float& sample : plane) sample = std::max(sample, 0.0f);
}

double SumOf(const std::vector<float>& plane) {
    return std::accumulate(plane.begin(), plane.end(), 0.0);
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void NoteCopied(int copied, int pictures, const std::filesystem::path& path, const Messages& messages) {
    if (copied == 0) return;
    messages.Note(Quoted(path) + ": " +
                  (pictures == 1 ? "all samples are equal; there is nothing to restore, and they are copied"
                                 : std::to_string(copied) + " of " + std::to_string(pictures) + " pictures " +
                                       (copied == 1 ? "has equal samples only and is"
                                                    : "have equal samples only and are") +
                                       " copied"));
}

void RequirePlanes(const RestoreJob& job, const StackHeader& header) {
    if (SlicesOf(header) == 1 || job.perPlane) return;
    throw UserError("--method " + job.method + " restores pictures, and " + Quoted(job.image) +
                    " is a stack of " + std::to_string(header.planes()) +
                    " planes; add --per-plane, or choose a method for stacks");
}

/// Restores one plane, whose negative samples it sets to 0; all of the record but shape and times of files.
VolumeRecord RestorePlane(PictureRestoration& restoration, std::vector<float>& plane,
                          std::vector<float>& restored, int c, PollRelay& relay) {
    VolumeRecord record;
    record.before.Add(plane.data(), plane.size());
    record.negativeCut = record.before.negative;
    CutNegative(plane);
    record.fluxIn = SumOf(plane);
    restoration.Describe(c, record);
    if (std::all_of(plane.begin(), plane.end(), [&](float sample) { return sample == plane[0]; })) {
        restored = plane;
        record.end = EndOfRun::Copied;
    } else {
        const auto start = std::chrono::steady_clock::now();
        restoration.Restore(plane, restored, c, relay, record);
        record.coreSeconds = SecondsSince(start);
    }
    record.fluxOut = SumOf(restored);
    record.after.Add(restored.data(), restored.size());
    return record;
}

/// One PSF for each channel.
std::vector<SquarePsf> MakePsfs(const RestoreJob& job, const SelectedStack& stack, const StackHeader& header,
                                const Messages& messages) {
    const std::vector<PsfChoice> choices = PsfsOfChannels(job, stack);
    std::vector<SquarePsf> psfs;
    psfs.reserve(static_cast<std::size_t>(header.channels));
    for (int c = 0; c < header.channels; ++c) {
        psfs.push_back(MakeSquarePsf(choices[static_cast<std::size_t>(c)], job.image,
                                     HeaderOfChannel(header, c), messages));
    }
    return psfs;
}

/// "channel 2, time 1, plane 7", as far as there are several.
std::string NameOfPicture(const SelectedStack& stack, const PlaneIndex& at) {
    std::string name = stack.NameOf(at.c, at.t);
    if (stack.header().slices > 1) name += (name.empty() ? "plane " : ", plane ") + std::to_string(at.z + 1);
    return name;
}

}  // namespace

RestorationRecord RunPictureJob(const RestoreJob& job, const PictureMethod& method,
                                const Messages& messages) {
    const auto start = std::chrono::steady_clock::now();
    CheckSettings(method, job.settings);
    CheckOutputFile(job.output, job.overwrite, InputsOf(job));
    RequireSound(job.psf.optics);

    StackReader reader(job.image, messages, Accept::AnyStack);
    SelectedStack stack(reader, job.image, job.channels, job.times);
    const StackHeader header = WithStatedVoxel(stack.header(), job.psf.optics);
    const int pictures = header.planes();
    RequirePlanes(job, header);
    RequireSides(header, job.image);
    const TileGrid tiles = PlanTiles(job.tiles, header.width, header.height, method.margin);
    PictureRestoration restoration(method, job.settings, MakePsfs(job, stack, header, messages), tiles,
                                   header);
    StackWriter writer(job.output, header, WriteOptions{job.overwrite, job.sampleType, {}, {}});
    std::optional<WaitingPictures> waiting;
    if (job.rescale) waiting.emplace(job, header, messages);

    std::vector<float> plane(static_cast<std::size_t>(header.width) *
                             static_cast<std::size_t>(header.height));
    std::vector<float> restored(plane.size());
    CleanPictures clean(stack, job);
    TellCleaning(clean.cleanings(), job.image, messages);
    NoteNegative(ScanPlanes(clean, header, job.image, plane), job.image, messages);
    PollRelay relay{ProgressBar(restoration.Polls(pictures), "restoring", messages)};
    RestorationRecord all{header, {}, tiles, {}, 0.0};
    int copied = 0;
    for (int k = 0; k < pictures; ++k) {
        LeaveIfStopRequested();
        const PlaneIndex at = PlaneAt(header, k);
        std::optional<PictureViews> views;
        const auto startOfReading = std::chrono::steady_clock::now();
        if (!job.report.empty() && ShowsViews(k, pictures)) {
            clean.ReadRaw(k, plane);
            views.emplace(header, at.c).AddBefore(plane);
        }
        clean.Read(k, plane);
        const double readSeconds = SecondsSince(startOfReading);
        VolumeRecord& record =
            all.volumes.emplace_back(RestorePlane(restoration, plane, restored, at.c, relay));
        copied += record.end == EndOfRun::Copied ? 1 : 0;
        const long long clippedBefore = ClippedIn(writer);
        const auto startOfWriting = std::chrono::steady_clock::now();
        if (waiting) {
            waiting->Add(restored);
        } else {
            writer.WritePlane(at, restored.data(), header.width);
        }
        record.writeSeconds = SecondsSince(startOfWriting);
        record.clipped = ClippedIn(writer) - clippedBefore;
        record.readSeconds = readSeconds;
        record.name = NameOfPicture(stack, at);
        record.shape = {header.width, header.height, 1};
        record.cleaning = clean.cleanings()[static_cast<std::size_t>(k)];
        if (views) views->Finish(restored, restoration.DescribePsf(at.c, header.voxel), record);
    }
    relay.bar.Finish();
    if (waiting) {
        RescaleOutput(job, all, writer, messages);
        waiting->WriteTo(writer);
    }
    NoteCopied(copied, pictures, job.image, messages);
    PassTurn();
    writer.Commit();
    NoteClipped(writer, job, messages);

    all.seconds = SecondsSince(start);
    if (messages.quiet()) return all;
    std::printf("%s: %s samples, method %s%s%s, %.2f s\n", OneLine(job.output.native()).c_str(),
                ToString(ShapeOf(header)).c_str(), job.method.c_str(),
                header.channels > 1 ? " channel by channel"
                : pictures > 1      ? " plane by plane"
                                    : "",
                restoration.EndText(pictures).c_str(), all.seconds);
    return all;
}

}  // namespace rydecon
