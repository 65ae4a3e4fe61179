// SPDX-License-Identifier: MIT
#include "restoration/blocks/piecewise_restoration.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "io/file_error.h"
#include "report/stop_request.h"
#include "report/user_error.h"
#include "restoration/blocks/block_planes.h"
#include "restoration/observed_planes.h"
#include "restoration/truth.h"

namespace rydecon {

namespace {

using PsfUse = VolumeRestoration::PsfUse;

std::string Number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

/// All settings that a method may read, resolved.
std::string SettingsText(const Method& method, const MethodSettings& s) {
    return "method=" + method.name +
           " iterations=" + std::to_string(s.iterations.value_or(method.iterations)) +
           " regularization=" + Number(s.regularization.value_or(method.regularization)) +
           " stop=" + Number(s.stopRatio) + (s.noAutoStop ? " to-the-end" : "") +
           (s.wienerStart ? " wiener-start" : "") + " threshold=" + Number(s.thresholdScale) +
           " noise=" + std::to_string(s.noise) + " stage=" + std::to_string(s.checkpointEvery) +
           " inner=" + std::to_string(s.inner) + " guard=" + std::to_string(static_cast<int>(s.guard)) +
           " energy=" + Number(s.energyStop);
}

/// Hands planes on and keeps their checksum, from the first time that they are read, k ascending.
class ChecksummedPlanes final : public PlaneSource {
  public:
    explicit ChecksummedPlanes(PlaneSource& from) : from_(from) {}
    Extent shape() const override { return from_.shape(); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override {
        from_.ReadPlane(k, rows, rowStride);
        if (k != next_) return;
        ++next_;
        checksum_ = ExtendChecksum(checksum_, rows, rowStride, shape());
    }
    std::uint32_t checksum() const { return checksum_; }

  private:
    PlaneSource& from_;
    int next_ = 0;
    std::uint32_t checksum_ = 0;
};

/// Hands planes on and keeps the range of their samples.
class RangedPlanes final : public PlaneSink {
  public:
    RangedPlanes(PlaneSink& to, const Extent& shape) : to_(to), shape_(shape) {}
    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override {
        for (int j = 0; j < shape_.y; ++j)
            range_.Add(rows + j * rowStride, static_cast<std::size_t>(shape_.x));
        to_.WritePlane(k, rows, rowStride);
    }
    const SampleRange& range() const { return range_; }

  private:
    PlaneSink& to_;
    Extent shape_;
    SampleRange range_;
};

/// Does something before the first plane.
class AnnouncedPlanes final : public PlaneSink {
  public:
    AnnouncedPlanes(PlaneSink& to, std::function<void()> begin) : to_(to), begin_(std::move(begin)) {}

    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override {
        if (k == 0) begin_();
        to_.WritePlane(k, rows, rowStride);
    }

  private:
    PlaneSink& to_;
    std::function<void()> begin_;
};

/// The planes on their way to a sink, shown to a report where there is one.
class ShownPlanes {
  public:
    ShownPlanes(PlaneSink& to, ReportViews* views) : to_(to) {
        if (views != nullptr) observed_.emplace(to, *views);
    }
    PlaneSink& sink() { return observed_ ? static_cast<PlaneSink&>(*observed_) : to_; }

  private:
    PlaneSink& to_;
    std::optional<ObservedSink> observed_;
};

void CopyPlanes(PlaneSource& from, PlaneSink& to) {
    const Extent shape = from.shape();
    std::vector<float> plane(static_cast<std::size_t>(shape.x) * static_cast<std::size_t>(shape.y));
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        from.ReadPlane(k, plane.data(), shape.x);
        to.WritePlane(k, plane.data(), shape.x);
    }
}

}  // namespace

PiecewiseRestoration::PiecewiseRestoration(PartFolder& parts, UnitWriter& writer, const RestoreJob& job,
                                           const Method& method, VolumeRestoration& restoration,
                                           const VolumeSet& volumes, const Messages& messages)
    : parts_(parts),
      writer_(writer),
      job_(job),
      method_(method),
      restoration_(restoration),
      messages_(messages),
      keepsWhole_(volumes.all > 1 || job.rescale),
      plan_(PlanRun(job, method, restoration, volumes, parts.CountsOfEarlierRun(volumes.first))) {
    if (!plan_.curve) restoration.LeaveOutCurves();
    if (!plan_.InBlocks() && !keepsWhole_) return;
    parts_.Open();
    ReturnFreedMemory();
    psfChecksum_ = restoration.psf().Checksum();
    if (plan_.InBlocks()) restoration.TakeBlocks();
}

std::string PiecewiseRestoration::Identity(std::uint32_t image) const {
    return SettingsText(method_, restoration_.settings()) + " psf=" + std::to_string(psfChecksum_) +
           " frame=" + ToString(plan_.frame) + " image=" + ToString(plan_.grid.shape()) + ":" +
           std::to_string(image);
}

KeptVolume PiecewiseRestoration::Keep(unsigned volume, std::uint32_t image, float pedestal) const {
    return {plan_.grid, volume, Identity(image), pedestal};
}

VolumeRecord PiecewiseRestoration::Restore(unsigned volume, const VolumePassage& passage, PsfUse use) {
    if (plan_.InBlocks()) return RestoreInBlocks(volume, passage);
    if (keepsWhole_) return RestoreKept(volume, passage, use);
    ShownPlanes shown(*passage.to, passage.views);
    return restoration_.Restore(passage.from, shown.sink(), use);
}

/// The volume as its pieces have it.
void PiecewiseRestoration::Assemble(const KeptVolume& kept, const VolumePassage& passage,
                                    VolumeRecord& record) {
    writer_.Wait();  // whose last unit goes to the same output
    ShownPlanes shown(*passage.to, passage.views);
    RangedPlanes ranged(shown.sink(), kept.grid.shape());
    record.fluxOut = WriteKept(parts_, kept, ranged);
    record.after = ranged.range();
    kept_.push_back(kept);
}

/// A volume in one piece that an earlier run has restored.
std::optional<VolumeRecord> PiecewiseRestoration::TakeOver(unsigned volume, const VolumePassage& passage) {
    const ImageScan scan = ScanImage(passage.from, plan_.grid);
    const KeptVolume kept = Keep(volume, scan.checksum, 0.0f);
    const PieceHead head = kept.HeadOf(0);
    if (!parts_.Has(head)) return std::nullopt;
    if (passage.loaded) passage.loaded();
    VolumeRecord record = restoration_.RecordOf(passage.from.shape());
    record.before = scan.range;
    record.fluxIn = scan.sum;
    record.iterations = parts_.EndOf(head).iterations;
    record.end = parts_.EndOf(head).end;
    record.takenOver = 1;
    Assemble(kept, passage, record);
    return record;
}

VolumeRecord PiecewiseRestoration::RestoreKept(unsigned volume, const VolumePassage& passage, PsfUse use) {
    if (!plan_.overlapped) writer_.Release();
    if (parts_.resumes()) {
        if (std::optional<VolumeRecord> taken = TakeOver(volume, passage)) return std::move(*taken);
    }
    ChecksummedPlanes planes(passage.from);
    // All planes are read before the first one is written.
    const auto keep = [&] { return Keep(volume, planes.checksum(), 0.0f); };
    AnnouncedPlanes piece(writer_, [&] { writer_.Begin(keep().HeadOf(0), passage.to, RoomForVolume()); });
    ShownPlanes shown(piece, passage.views);
    RunVariant variant{restoration_.settings()};
    variant.loaded = passage.loaded;
    VolumeRecord record = restoration_.Restore(planes, shown.sink(), use, variant);
    writer_.End({record.iterations, record.end});
    kept_.push_back(keep());
    return record;
}

Preparation PiecewiseRestoration::Prepare(const ImageScan& scan, const Extent& shape) const {
    RefuseNonFinite(scan.range, job_.image);
    RefuseUnfitRange(scan.range, job_.image, shape);
    if (method_.liftsNegative) return {PedestalOfRange(scan.range.least, scan.range.largest), false};
    NoteNegative(scan.range, job_.image, messages_);
    return {0.0f, scan.range.negative > 0};
}

/// Once the first block has run, all others run as many iterations.
PieceEnd PiecewiseRestoration::RestoreBlock(int block, const std::optional<PieceEnd>& first,
                                            const ImageScan& scan, const Preparation& preparation,
                                            const BlockPassage& passage, VolumeRecord& record) {
    if (first && scan.IsDark(block, plan_.grid)) {
        CopyPlanes(passage.from, passage.to);
        passage.loaded();
        return *first;
    }
    RunVariant variant{restoration_.settings(), "restoring block " + std::to_string(block + 1) + " of " +
                                                    std::to_string(plan_.grid.blocks())};
    variant.checked = true;
    variant.largestOfWhole = scan.range.largest;
    variant.borderOfWhole = preparation.BorderMean(scan);
    variant.loaded = passage.loaded;
    if (first && method_.endsByItself()) {
        variant.settings.iterations = first->iterations;
        variant.settings.noAutoStop = true;
    }
    const VolumeRecord one = restoration_.Restore(passage.from, passage.to, PsfUse::Again, variant);
    record.coreSeconds += one.coreSeconds;
    return first.value_or(PieceEnd{one.iterations, one.end});
}

/// The first block decides over the iterations of all.
PieceEnd PiecewiseRestoration::MakePieces(PlaneSource& from, const ImageScan& scan,
                                          const Preparation& preparation,
                                          const std::function<PieceHead(int)>& head, VolumeRecord& record) {
    const int first = scan.Brightest();
    std::vector<int> missing;
    if (!parts_.Has(head(first))) missing.push_back(first);
    for (int block = 0; block < plan_.grid.blocks(); ++block) {
        if (block != first && !parts_.Has(head(block))) missing.push_back(block);
    }
    record.takenOver = static_cast<unsigned>(plan_.grid.blocks()) - static_cast<unsigned>(missing.size());

    BlockPlanes planes(from, plan_.grid, preparation);
    UnitReader reader(planes);
    const std::size_t room = plan_.overlapped ? RoomOf(plan_.grid.LargestRead()) : 0;
    std::optional<PieceEnd> end;
    if (parts_.Has(head(first))) end = parts_.EndOf(head(first));
    for (std::size_t n = 0; n < missing.size(); ++n) {
        const int block = missing[n];
        const auto next = n + 1 < missing.size() ? std::optional(missing[n + 1]) : std::nullopt;
        reader.Take(block, room);
        writer_.Begin(head(block), nullptr, room);
        UsedPlanes used(writer_, plan_.grid, block);
        const BlockPassage passage = {reader, used, [&reader, next] { reader.ReadAhead(next); }};
        end = RestoreBlock(block, end, scan, preparation, passage, record);
        writer_.End(*end);
    }
    writer_.Wait();
    return *end;
}

VolumeRecord PiecewiseRestoration::RestoreInBlocks(unsigned volume, const VolumePassage& passage) {
    writer_.Release();
    const Extent shape = passage.from.shape();
    const ImageScan scan = ScanImage(passage.from, plan_.grid);
    const Preparation preparation = Prepare(scan, shape);
    VolumeRecord record = restoration_.RecordOf(shape);
    record.frame = plan_.frame;
    record.blocks = plan_.grid.counts();
    record.before = scan.range;
    record.negativeCut = preparation.cutNegative ? scan.range.negative : 0;
    record.fluxIn = preparation.cutNegative ? scan.range.positiveSum : scan.sum;

    const KeptVolume kept = Keep(volume, scan.checksum, preparation.lift);
    const auto head = [&kept](int block) { return kept.HeadOf(block); };
    const PieceEnd end = MakePieces(passage.from, scan, preparation, head, record);
    record.iterations = end.iterations;
    record.end = end.end;
    Assemble(kept, passage, record);
    return record;
}

}  // namespace rydecon
