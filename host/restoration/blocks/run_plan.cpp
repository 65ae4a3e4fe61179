// SPDX-License-Identifier: MIT
#include "restoration/blocks/run_plan.h"

#include <algorithm>
#include <limits>

#include "report/html/report_views.h"
#include "report/html/restoration_report.h"
#include "report/user_error.h"
#include "restoration/frame_plan.h"

namespace rydecon {

namespace {

/// What the process takes beyond what it has when the plan is made: stacks, tables of the transforms, buffers
/// of the file format.
constexpr std::uint64_t kLaterGrowth = 3 * 1024 * 1024;

/// What the program takes as a rule, growth included. It is the least that a plan reckons with, so that one limit
/// gives the same blocks, and the same bytes, each time.
constexpr std::uint64_t kProgram = 13 * 1024 * 1024;

/// How far beyond the limit the blocks of an earlier run may go, since limits that are measured vary.
constexpr double kSlackOfEarlierRun = 1.1;

std::uint64_t Bytes(const Extent& box) {
    return sizeof(float) * static_cast<std::uint64_t>(box.x) * static_cast<std::uint64_t>(box.y) *
           static_cast<std::uint64_t>(box.z);
}

/// A volume in the library's layout: two more floats a row.
std::uint64_t PaddedBytes(const Extent& frame) {
    return Bytes({frame.x + 2, frame.y, frame.z});
}

/// Finds the blocks of one job.
class Planner {
  public:
    Planner(const RestoreJob& job, const Method& method, const VolumeRestoration& restoration,
            const VolumeSet& volumes, bool curve)
        : job_(job),
          method_(method),
          restoration_(restoration),
          volumes_(volumes),
          shape_(volumes.shape),
          curve_(curve),
          levels_(LevelsOf(FrameOf({1, 1, shape_.z}).value_or(Extent{}))),
          overlaps_(OverlapsFor(restoration.psf().reach(), 1 << levels_)),
          limit_(FindMemoryLimit(job.maxMemory)),
          now_(MeasureProcess()) {}

    /// The plan for these counts; empty where the library or the method cannot have such blocks.
    std::optional<RunPlan> PlanOf(const Extent& counts) const {
        BlockGrid grid(shape_, counts, overlaps_);
        const std::optional<Extent> frame = FrameOf(grid.LargestRead());
        if (!frame || LevelsOf(*frame) != levels_) return std::nullopt;
        RunPlan plan{std::move(grid), *frame, {}, limit_, false, curve_};
        plan.need = NeedOf(plan);
        MemoryNeed overlapped = plan.need;
        overlapped.exchange = ExchangeOf(plan);
        if (overlapped.exchange > 0 && Fits(overlapped)) {
            plan.need = overlapped;
            plan.overlapped = true;
        }
        return plan;
    }

    bool Fits(const std::optional<RunPlan>& plan) const { return plan && Fits(plan->need); }

    bool Fits(const MemoryNeed& need) const {
        return need.Total() <= limit_.bytes && need.Total() + need.idle <= limit_.addresses;
    }

    bool NearlyFits(const std::optional<RunPlan>& plan) const {
        if (!plan) return false;
        const auto fits = [](std::uint64_t need, std::uint64_t limit) {
            return static_cast<double>(need) <= kSlackOfEarlierRun * static_cast<double>(limit);
        };
        const std::uint64_t total = plan->need.Total();
        return fits(total, limit_.bytes) && fits(total + plan->need.idle, limit_.addresses);
    }

    /// Whether the blocks of an earlier run may be taken. Others would make its pieces useless.
    bool MayHave(const Extent& counts) const {
        const Extent most = MostCounts();
        return counts.x >= 1 && counts.x <= most.x && counts.y >= 1 && counts.y <= most.y && counts.z >= 1 &&
               counts.z <= most.z && NearlyFits(PlanOf(counts));
    }

    /// Of all grids that fit the one with the fewest padded samples; empty where none fits.
    std::optional<RunPlan> Cheapest() const {
        std::optional<RunPlan> best;
        const Extent most = MostCounts();
        for (int z = 1; z <= most.z; ++z) {
            for (int y = 1; y <= most.y; ++y) {
                const int x = FewestColumns(y, z, most.x);
                if (x == 0) continue;
                std::optional<RunPlan> plan = PlanOf({x, y, z});
                if (!best || plan->Samples() < best->Samples()) best = std::move(plan);
                if (x == 1) break;  // more rows would be smaller than needed
            }
        }
        return best;
    }

    /// One line for a job of which not even the smallest blocks fit.
    UserError Refusal() const {
        const std::string limit = "not enough memory: " + limit_.source + " allows " + ByteText(limit_.bytes);
        const Extent most = MostCounts();
        for (int z = most.z; z >= 1; --z) {
            const std::optional<RunPlan> smallest = PlanOf({most.x, most.y, z});
            if (!smallest) continue;  // too few planes for the method
            return UserError(limit + ", and even the smallest blocks, padded to " +
                             ToString(smallest->frame) + " samples, need " +
                             ByteText(smallest->need.Total()) + "; allow that much, or use a smaller PSF");
        }
        return UserError(limit + ", and no block of the volume can be addressed; crop the stack");
    }

  private:
    /// Empty beyond what the library addresses.
    std::optional<Extent> FrameOf(const Extent& shape) const {
        try {
            return restoration_.FrameOf(shape);
        } catch (const UserError&) {
            return std::nullopt;
        }
    }

    /// Wavelet levels go with the planes of the frame. Blocks have as many as the whole, or they would shrink
    /// other bands.
    int LevelsOf(const Extent& frame) const {
        constexpr int kPlanesOfLevel = 16;
        constexpr int kMostLevels = 4;
        return method_.sides == Sides::Any ? 0 : std::min(frame.z / kPlanesOfLevel, kMostLevels);
    }

    /// While a unit is computed there is one that is read ahead, and one that is being written. The first one of all
    /// has none before it, the last one none behind it.
    std::uint64_t ExchangeOf(const RunPlan& plan) const {
        const std::uint64_t units =
            plan.InBlocks() ? static_cast<std::uint64_t>(plan.grid.blocks()) : volumes_.all;
        const Extent unit = plan.InBlocks() ? plan.grid.LargestRead() : shape_;
        return std::min<std::uint64_t>(units - 1, 2) * Bytes(unit);
    }

    /// Those of volumes before are in the process.
    std::uint64_t ViewsToCome() const {
        if (job_.report.empty()) return 0;
        std::uint64_t shown = 0;
        for (unsigned n = volumes_.first; n < volumes_.all; ++n) {
            if (ShowsViews(static_cast<int>(n), static_cast<int>(volumes_.all))) ++shown;
        }
        const auto& [low, high] = restoration_.psf().reach();
        const auto side = [](int below, int above) { return 2 * std::max(below, above) + 1; };
        const std::uint64_t sections =
            Bytes({side(low.x, high.x), side(low.y, high.y) + side(low.z, high.z), 1});
        const std::uint64_t each =
            BytesOfViews(shape_.x, shape_.y, shape_.z) + sections * (method_.refinesPsf ? 2 : 1);
        return (shown - std::min<std::uint64_t>(shown, 1)) * each;
    }

    MemoryNeed NeedOf(const RunPlan& plan) const {
        constexpr std::uint64_t kVolumes = 2;
        constexpr std::uint64_t kPlanesOfReport = 8;  // sums and projections of both images, then a spectrum
        const std::uint64_t source = restoration_.psf().bytes();
        const std::uint64_t counted = source + volumes_.held;  // in other parts of the need
        const std::uint64_t growth =
            volumes_.first == 0 ? kLaterGrowth : 0;  // volumes before have brought it
        MemoryNeed need;
        need.process = std::max(now_.resident - std::min(now_.resident, counted) + growth, kProgram);
        need.psf = source;
        need.volumes = kVolumes * PaddedBytes(plan.frame) + BytesOfOptions(plan.frame);
        const CoreNeed core = CoreNeedOf(method_, job_.settings, plan.frame);
        need.core = core.touched;
        need.idle = core.asked - core.touched;
        need.planes = Bytes({shape_.x, shape_.y, 1});
        if (!job_.report.empty()) need.planes += kPlanesOfReport * Bytes({shape_.x, shape_.y, 1});
        need.views = ViewsToCome();
        need.earlier = now_.peak;
        if (plan.InBlocks()) {
            need.planes *= 2;  // of the assembly: the plane and what a piece adds
        } else if (volumes_.count == 1) {
            // The source of the PSF is gone before the core's buffers come.
            if (source > need.core) need.core = 0;
            if (source <= need.core) need.psf = 0;
        }
        return need;
    }

    /// What the options ask for beside image and PSF.
    std::uint64_t BytesOfOptions(const Extent& frame) const {
        constexpr std::uint64_t kOfSplit = 4;  // both halves are held against one another
        constexpr std::uint64_t kOfCurve = 2;  // the blurred iterate, and the spectrum of the PSF
        const std::uint64_t padded = (job_.stop.split ? kOfSplit
                                      : curve_        ? kOfCurve
                                                      : 0) +
                                     (job_.truth.empty() ? 0 : 1);
        const bool keepsImage = curve_ && !job_.stop.split;  // what the blurred iterate is held against
        return padded * PaddedBytes(frame) + (keepsImage ? Bytes(shape_) : 0);
    }

    Extent MostCounts() const {
        return {AxisCut::MostParts(shape_.x, overlaps_.x), AxisCut::MostParts(shape_.y, overlaps_.y),
                AxisCut::MostParts(shape_.z, overlaps_.z)};
    }

    /// The fewest columns that fit, up to `most`; 0 where none do.
    int FewestColumns(int y, int z, int most) const {
        if (!Fits(PlanOf({most, y, z}))) return 0;
        int low = 1;
        for (int high = most; low < high;) {
            const int middle = (low + high) / 2;
            if (Fits(PlanOf({middle, y, z}))) {
                high = middle;
            } else {
                low = middle + 1;
            }
        }
        return low;
    }

    const RestoreJob& job_;
    const Method& method_;
    const VolumeRestoration& restoration_;
    const VolumeSet& volumes_;
    Extent shape_;
    bool curve_;  ///< each iterate is held against the image
    int levels_;  ///< of wavelets, whose grids all blocks share
    Overlaps overlaps_;
    MemoryLimit limit_;
    ProcessMemory now_;
};

/// What looks at the whole volume cannot be had in blocks.
void RequireDivisible(const RestoreJob& job, const Method& method, const MemoryLimit& limit) {
    std::string whole;
    if (method.refinesPsf) whole = "--method " + method.name + " refines one PSF for all of it";
    if (!job.truth.empty()) whole = "--truth measures iterates of all of it";
    if (!job.checkpoint.empty()) whole = "--checkpoint parks the estimate of all of it";
    if (!job.resume.empty()) whole = "--resume FILE goes on with the estimate of all of it";
    if (job.stop.split) whole = "--stop split looks at all of it";
    if (!job.curveOutput.empty()) whole = "--curve looks at all of it";
    if (whole.empty()) return;
    throw UserError("the volume exceeds " + limit.source + " of " + ByteText(limit.bytes) +
                    " and would be restored in blocks, but " + whole +
                    "; crop the stack, or allow more memory");
}

}  // namespace

std::uint64_t MemoryNeed::Total() const {
    return std::max(process + psf + volumes + core + planes + exchange + views, earlier);
}

double RunPlan::Samples() const {
    return static_cast<double>(frame.x) * frame.y * frame.z * grid.blocks();
}

CoreNeed CoreNeedOf(const Method& method, const MethodSettings& settings, const Extent& frame) {
    const PreparedMethod prepared = method.make(method, settings, nullptr);
    FloatPSF3D::DFT3D_InitSizes(&prepared.params->sizes, frame.x, frame.y, frame.z);
    const std::uint64_t asked = prepared.core->GetRequiredMemorySize(prepared.params);
    if (!method.idleVolumes) return {asked, asked};
    const double idle = method.idleVolumes(settings.regularization.value_or(method.regularization)) *
                        static_cast<double>(PaddedBytes(frame));
    return {asked, asked - std::min(asked, static_cast<std::uint64_t>(idle))};
}

RunPlan PlanRun(const RestoreJob& job, const Method& method, const VolumeRestoration& restoration,
                const VolumeSet& volumes, const std::optional<Extent>& counts) {
    constexpr Extent kWhole = {1, 1, 1};
    bool curve = job.wantsCurve && method.showsIterates;
    if (curve && job.curveOutput.empty()) {
        // A report goes without the curve where that would cost blocks.
        const Planner planner(job, method, restoration, volumes, true);
        std::optional<RunPlan> plan = planner.PlanOf(kWhole);
        if (counts.value_or(kWhole) == kWhole && planner.Fits(plan)) return std::move(*plan);
        curve = false;
    }
    const Planner planner(job, method, restoration, volumes, curve);
    if (counts && planner.MayHave(*counts)) return planner.PlanOf(*counts).value();
    std::optional<RunPlan> whole = planner.PlanOf(kWhole);
    if (planner.Fits(whole)) return std::move(*whole);
    RequireDivisible(job, method, FindMemoryLimit(job.maxMemory));
    std::optional<RunPlan> plan = planner.Cheapest();
    if (!plan) throw planner.Refusal();
    return std::move(*plan);
}

}  // namespace rydecon
