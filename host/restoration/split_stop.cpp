// SPDX-License-Identifier: MIT
#include "restoration/split_stop.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "cleaning/cleaned_planes.h"
#include "cleaning/thinned_planes.h"
#include "io/file_error.h"
#include "report/stop_request.h"
#include "report/user_error.h"
#include "restoration/convergence.h"
#include "restoration/core_run.h"
#include "restoration/forward_model.h"
#include "restoration/iterate_sink.h"
#include "restoration/margin.h"
#include "restoration/stack_volume.h"
#include "restoration/truth.h"
#include "volume/sample_box.h"

namespace rydecon {

namespace {

/// Photons that the blurred estimate expects in a sample at least: the logarithm of 0 would outweigh all.
constexpr double kLeastExpected = 1.0e-3;

constexpr double kLargestGain = 1.0e9;

/// The planes of one half, as the method takes them.
class HalfPlanes {
  public:
    HalfPlanes(const SplitTask& task, Half half)
        : thinned_(task.image, task.scale, task.job.stop.seed.value_or(1), half) {
        if (task.background) lowered_.emplace(thinned_, *task.background);
    }
    PlaneSource& thinned() { return thinned_; }
    PlaneSource& ready() { return lowered_ ? static_cast<PlaneSource&>(*lowered_) : thinned_; }

  private:
    ThinnedPlanes thinned_;
    std::optional<LoweredPlanes> lowered_;
};

/// Photons of each sample of a half.
SampleBox CountsOf(const SplitTask& task, Half half) {
    HalfPlanes planes(task, half);
    SampleBox counts(task.image.shape());
    for (int k = 0; k < counts.size().z; ++k) {
        LeaveIfStopRequested();
        planes.thinned().ReadPlane(k, counts.Row(0, k), counts.size().x);
    }
    for (float& sample : counts.samples()) sample = static_cast<float>(0.5 * PhotonsOf(sample, task.scale));
    return counts;
}

/// Loads a half as the method begins from it, margin included.
void LoadHalf(const SplitTask& task, Half half, const PaddedVolume& volume) {
    HalfPlanes planes(task, half);
    const Extent shape = task.image.shape();
    SampleRange range;
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        planes.ready().ReadPlane(k, volume.Plane(k), volume.sizes().rowLength);
        for (int j = 0; j < shape.y; ++j) range.Add(volume.Row(j, k), static_cast<std::size_t>(shape.x));
    }
    RefuseNonFinite(range, task.job.image);
    if (range.least == range.largest) {
        throw UserError("--stop split: half of the photons of " + Quoted(task.job.image) +
                        " show nothing but one level; restore it with --stop own");
    }
    if (!task.method.liftsNegative) CutNegative(volume, shape);
    FillMargin(volume, shape);
}

/// Asks each iterate of one half for the likelihood of the other.
class HeldOutSink final : public IterateSink {
  public:
    /// lift  what the method adds to the half before it iterates
    HeldOutSink(const SplitTask& task, SampleBox counts, ForwardModel& model, bool ends)
        : counts_(std::move(counts)),
          model_(model),
          ground_(task.background.value_or(0.0) - task.scale.offset),
          perPhoton_(2.0 * task.scale.gain),
          ends_(ends) {}

    /// For a method that steps too far where the image is smooth: judges each iterate after one plain step
    /// towards the half that it was restored from, which is `own` and the lift.
    void SettleBy(const PaddedVolume& own, double lift) {
        lift_ = lift;
        own_.emplace(own.logical());
        std::transform(own.data(), own.data() + own.sizes().total, own_->data(),
                       [lift](float sample) { return std::max(0.0f, sample + static_cast<float>(lift)); });
    }
    const bool* enough() const { return &enough_; }
    const std::vector<double>& values() const { return values_; }

    void OnIterate(float scale, const float* iterate) override {
        const PaddedVolume& blurred = own_ ? model_.BlurStepped(iterate, *own_) : model_.Blur(iterate);
        if (own_) scale = 1.0f;
        const Extent& shape = counts_.size();
        double sum = 0.0;
        for (int k = 0; k < shape.z; ++k) {
            for (int j = 0; j < shape.y; ++j) {
                const float* const count = counts_.Row(j, k);
                const float* const expected = blurred.Row(j, k);
                for (int i = 0; i < shape.x; ++i) {
                    const double light = double{scale} * expected[i] - lift_ + ground_;
                    sum += DivergenceTerm(double{count[i]}, std::max(light / perPhoton_, kLeastExpected));
                }
            }
        }
        values_.push_back(sum / static_cast<double>(counts_.samples().size()));
        enough_ = ends_ && HasTurned(values_);
    }

  private:
    SampleBox counts_;
    ForwardModel& model_;
    double ground_;
    double perPhoton_;
    bool ends_;
    double lift_ = 0.0;
    std::optional<PaddedVolume> own_;
    bool enough_ = false;
    std::vector<double> values_;
};

/// The figure of each iterate of one half. The first one ends where its curve has turned.
std::vector<double> RestoreHalf(const SplitTask& task, Half half, unsigned limit, ForwardModel& model) {
    const bool first = half == Half::First;
    HeldOutSink sink(task, CountsOf(task, first ? Half::Second : Half::First), model, first);
    const PaddedVolume image(task.psf.logical());
    LoadHalf(task, half, image);
    if (task.job.method == "accelerated") sink.SettleBy(image, PedestalOfAccelerated(image));
    MethodSettings settings = task.job.settings;
    settings.iterations = limit;
    settings.noAutoStop = true;
    PreparedMethod prepared = task.method.make(task.method, settings, &sink);
    prepared.params->pfReference = image.data();  // only asks for the iterates
    RunCore(prepared, image, task.psf, task.image.shape(),
            {first ? "first half" : "second half", nullptr, sink.enough()}, task.messages);
    return sink.values();
}

std::string Text(const char* format, double a, double b = 0.0) {
    char text[160];
    std::snprintf(text, sizeof text, format, a, b);
    return text;
}

void TellScale(const SplitTask& task) {
    const DFT3D& sizes = task.psf.sizes();
    const PhotonScale& scale = task.scale;
    const double megabytes = 3.0 * sizeof(float) * static_cast<double>(sizes.total) / 1.0e6;
    task.messages.Note(
        Quoted(task.job.image) + ": " + Text("a photon is %.4g above %.4g", scale.gain, scale.offset) +
        (scale.gainEstimated ? ", estimated from the noise" : "") +
        Text("; two halves of them are restored to find when to stop, with %.3g MB more memory", megabytes));
}

std::string MethodsThatSplit() {
    std::string names;
    for (const Method& method : Methods()) {
        if (method.showsIterates && !method.refinesPsf) names += (names.empty() ? "" : ", ") + method.name;
    }
    return names;
}

void RequireUsage(bool holds, const std::string& refusal) {
    if (!holds) throw UserError(refusal, ExitCode::Usage);
}

}  // namespace

void CheckStop(const RestoreJob& job, const Method* method) {
    const StopChoice& stop = job.stop;
    const auto refuseWithout = [&](const char* option, bool given) {
        RequireUsage(!given || stop.split, std::string(option) + " means nothing without --stop split");
    };
    refuseWithout("--gain", stop.photons.gain.has_value());
    refuseWithout("--offset", stop.photons.offset.has_value());
    refuseWithout("--seed", stop.seed.has_value());
    if (!stop.split) return;
    const bool can = method != nullptr && method->showsIterates && !method->refinesPsf;
    RequireUsage(can, "--stop split cannot end --method " + job.method +
                          (method == nullptr ? " on pictures" : "") +
                          "; it needs iterates of an image whose PSF stays: " + MethodsThatSplit());
    RequireUsage(job.checkpoint.empty() && job.resume.empty(),
                 "--stop split goes without --checkpoint and --resume");
    if (stop.photons.gain) RequireRange("--gain", *stop.photons.gain, 1.0 / kLargestGain, kLargestGain);
    if (stop.photons.offset) RequireRange("--offset", *stop.photons.offset, -kLargestGain, kLargestGain);
}

SplitRecord RunSplit(const SplitTask& task) {
    TellScale(task);
    SplitRecord record;
    record.scale = task.scale;
    record.seed = task.job.stop.seed.value_or(record.seed);
    record.limit = task.job.settings.iterations.value_or(task.method.iterations);
    record.curve.label =
        "mean I-divergence between each half of the photons and the blurred estimate of the other";
    record.curve.column = kSplitColumn;
    ForwardModel model(task.psf);
    const std::vector<double> first = RestoreHalf(task, Half::First, record.limit, model);
    const std::vector<double> second =
        RestoreHalf(task, Half::Second, static_cast<unsigned>(first.size()), model);
    const std::size_t common = std::min(first.size(), second.size());
    for (std::size_t n = 0; n < common; ++n) record.curve.values.push_back(0.5 * (first[n] + second[n]));
    record.curve.best = std::max(1U, LowestOf(record.curve.values));
    if (*record.curve.best == record.limit) {
        task.messages.Note("the halves agree best at the limit of " + std::to_string(record.limit) +
                           " iterations; more --iterations may do better");
    }
    return record;
}

}  // namespace rydecon
