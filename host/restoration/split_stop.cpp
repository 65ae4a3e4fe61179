// SPDX-License-Identifier: MIT
#include "restoration/split_stop.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "cleaning/cleaned_planes.h"
#include "cleaning/thinned_planes.h"
#include "io/file_error.h"
#include "report/counted.h"
#include "report/stop_request.h"
#include "report/user_error.h"
#include "restoration/core_run.h"
#include "restoration/forward_model.h"
#include "restoration/held_out_sink.h"
#include "restoration/margin.h"
#include "restoration/stack_volume.h"
#include "restoration/truth.h"
#include "volume/sample_box.h"

namespace rydecon {

namespace {

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

/// The figure of each iterate of one half. The first one ends where its curve has turned.
std::vector<double> RestoreHalf(const SplitTask& task, Half half, unsigned limit, ForwardModel& model) {
    const bool first = half == Half::First;
    const double ground = task.background.value_or(0.0) - task.scale.offset;
    HeldOutSink sink(CountsOf(task, first ? Half::Second : Half::First), ground, 2.0 * task.scale.gain, model,
                     first);
    const PaddedVolume image(task.psf.logical());
    LoadHalf(task, half, image);
    if (task.method.liftsNegative) sink.SettleBy(image, PedestalOfAccelerated(image));
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
    const double volumes = task.method.liftsNegative ? 4.0 : 3.0;
    const double megabytes = volumes * sizeof(float) * static_cast<double>(sizes.total) / 1.0e6;
    task.messages.Note(
        Quoted(task.job.image) + ": " + Text("a photon is %.4g above %.4g", scale.gain, scale.offset) +
        (scale.gainEstimated ? ", estimated from the noise" : "") +
        Text("; two halves of them are restored to find when to stop, with %.3g MB more memory", megabytes));
}

}  // namespace

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
        task.messages.Note("the halves agree best at the limit of " + Counted(record.limit, "iteration") +
                           "; more --iterations may do better");
    }
    return record;
}

}  // namespace rydecon
