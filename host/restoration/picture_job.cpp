// SPDX-License-Identifier: MIT
#include "restoration/picture_job.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>
#include <vector>

#include "io/file_error.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "report/output_file.h"
#include "report/progress_bar.h"
#include "report/stop_request.h"
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
                                  " pixels or more to each side are needed");
    }
    if (std::int64_t{header.width} * header.height > kMostPixels) {
        throw ReadError(path, "a picture of " + shape + " is too large; crop it to " +
                                  std::to_string(kMostPixels) + " pixels or fewer");
    }
}

/// Looks at all planes before the first is restored.
SampleRange ScanPlanes(StackReader& reader, const std::filesystem::path& path, std::vector<float>& plane) {
    const Extent shape = ShapeOf(reader.header());
    SampleRange range;
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        reader.ReadPlane(k, plane.data(), shape.x);
        range.Add(plane.data(), plane.size());
    }
    RefuseNonFinite(range, path);
    RefuseUnfitRange(range, path, {shape.x, shape.y, 1});
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
    PictureRestoration(const PictureMethod& method, const MethodSettings& settings, SquarePsf psf,
                       const TileGrid& tiles, const StackHeader& header)
        : method_(method),
          settings_(settings),
          psf_(std::move(psf)),
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

    /// UserError where memory does not suffice, after Ctrl-C, and for a result that is not finite. Notes how
    /// many iterations it took, why they ended, and the PSF.
    void Restore(std::vector<float>& from, std::vector<float>& to, PollRelay& relay, VolumeRecord& record) {
        PictureCall call = {BufferOf(to),
                            BufferOf(from),
                            psf_,
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
        const unsigned long long rounds = (relay.polls - before) / method_.polls;
        account_.total += rounds;
        record.iterations = static_cast<unsigned>(rounds);
        record.limit = iterations() * tiles_.count();
        record.end = record.iterations == record.limit ? EndOfRun::Limit : EndOfRun::StopTest;
        record.psf = psf_.name;
        record.optics = psf_.optics;
        account_.most = std::max(account_.most, method_.endsByItself ? call.range.uiMax : iterations());
    }

    /// How many iterations ran and why they ended.
    std::string EndOfRun(int pictures) const {
        const unsigned long long runs = 1ULL * tiles_.count() * static_cast<unsigned>(pictures);
        std::string text = ", " + std::to_string(account_.total) + " " + method_.rounds;
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
    SquarePsf psf_;
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

void RequirePlanes(const RestoreJob& job, const StackHeader& header) {
    if (SlicesOf(header) == 1 || job.perPlane) return;
    throw UserError("--method " + job.method + " restores pictures, and " + Quoted(job.image) +
                    " is a stack of " + std::to_string(header.planes()) +
                    " planes; add --per-plane, or choose a method for stacks");
}

/// Restores one plane, whose negative samples it sets to 0; all of the record but shape and times of files.
VolumeRecord RestorePlane(PictureRestoration& restoration, std::vector<float>& plane,
                          std::vector<float>& restored, PollRelay& relay) {
    VolumeRecord record;
    record.before.Add(plane.data(), plane.size());
    record.negativeCut = record.before.negative;
    CutNegative(plane);
    record.fluxIn = SumOf(plane);
    const auto start = std::chrono::steady_clock::now();
    restoration.Restore(plane, restored, relay, record);
    record.coreSeconds = SecondsSince(start);
    record.fluxOut = SumOf(restored);
    record.after.Add(restored.data(), restored.size());
    return record;
}

}  // namespace

RestorationRecord RunPictureJob(const RestoreJob& job, const PictureMethod& method,
                                const Messages& messages) {
    const auto start = std::chrono::steady_clock::now();
    CheckSettings(method, job.settings);
    CheckOutputFile(job.output, job.overwrite, {job.image, job.psf.file});
    RequireSound(job.psf.optics);

    StackReader reader(job.image, messages, Accept::AnyStack);
    const StackHeader header = WithStatedVoxel(reader.header(), job.psf.optics);
    const Extent shape = ShapeOf(header);
    RequirePlanes(job, header);
    RequireSides(header, job.image);
    const TileGrid tiles = PlanTiles(job.tiles, shape.x, shape.y, method.margin);
    PictureRestoration restoration(method, job.settings, MakeSquarePsf(job.psf, job.image, header, messages),
                                   tiles, header);
    StackWriter writer(job.output, header, job.overwrite);

    std::vector<float> plane(static_cast<std::size_t>(shape.x) * static_cast<std::size_t>(shape.y));
    std::vector<float> restored(plane.size());
    NoteNegative(ScanPlanes(reader, job.image, plane), job.image, messages);
    PollRelay relay{ProgressBar(restoration.Polls(shape.z), "restoring", messages)};
    RestorationRecord all{header, {}, tiles};
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        const auto startOfReading = std::chrono::steady_clock::now();
        reader.ReadPlane(k, plane.data(), shape.x);
        const double readSeconds = SecondsSince(startOfReading);
        VolumeRecord& record = all.volumes.emplace_back(RestorePlane(restoration, plane, restored, relay));
        const auto startOfWriting = std::chrono::steady_clock::now();
        writer.WritePlane(restored.data(), shape.x);
        record.writeSeconds = SecondsSince(startOfWriting);
        record.readSeconds = readSeconds;
        record.shape = {shape.x, shape.y, 1};
    }
    relay.bar.Finish();
    writer.Commit();

    all.seconds = SecondsSince(start);
    if (messages.quiet()) return all;
    std::printf("%s: %s samples, method %s%s%s, %.2f s\n", job.output.string().c_str(),
                ToString(shape).c_str(), job.method.c_str(),
                header.channels > 1 ? " channel by channel"
                : shape.z > 1       ? " plane by plane"
                                    : "",
                restoration.EndOfRun(shape.z).c_str(), all.seconds);
    return all;
}

}  // namespace rydecon
