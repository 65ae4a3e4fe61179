// SPDX-License-Identifier: MIT
#include "restoration/blocks/run_forecast.h"

#include <gnr_deconvolution/return_codes.h>
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <map>

#include "restoration/psf_source.h"

namespace rydecon {

namespace {

/// Sides of a probe: they suit every method. The first is larger than the caches near to a processor, the second
/// for runs that have less memory.
constexpr Extent kProbe = {96, 96, 64};
constexpr Extent kSmallProbe = {48, 48, 64};

/// A job of less work, in samples times iterations, is over soon.
constexpr double kSmallJob = 5.0e7;

double Samples(const Extent& frame) {
    return static_cast<double>(frame.x) * frame.y * frame.z;
}

double SamplesTimesLog(const Extent& frame) {
    return Samples(frame) * std::log2(Samples(frame));
}

unsigned IterationsOf(const Method& method, const MethodSettings& settings) {
    return settings.iterations.value_or(method.iterations);
}

/// A pattern of all frequencies.
void FillPattern(const PaddedVolume& image) {
    std::uint32_t state = 1;
    for (std::int64_t n = 0; n < image.sizes().total; ++n) {
        state = state * 1664525U + 1013904223U;
        image.data()[n] = 100.0f + static_cast<float>(state >> 24);
    }
}

/// A small blur of sum 1 around the origin.
void FillBlur(const PaddedVolume& psf) {
    psf.Row(0, 0)[0] = 0.5f;
    psf.Row(0, 0)[1] = 0.25f;
    psf.Row(1, 0)[0] = 0.125f;
    psf.Row(0, 1)[0] = 0.125f;
}

/// What a run takes of the processors, shared by its threads, and no more than it takes by the clock: time that other
/// programs had the processors does not count.
class OwnSeconds {
  public:
    double Get() const {
        const std::chrono::duration<double> byTheClock = std::chrono::steady_clock::now() - start_;
        const double ofProcessors = static_cast<double>(std::clock() - processors_) / CLOCKS_PER_SEC;
        return std::min(byTheClock.count(), ofProcessors / omp_get_max_threads());
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::clock_t processors_ = std::clock();
};

/// Seconds of one run; empty where there is no memory for it.
std::optional<double> TimeRun(const Method& method, MethodSettings settings, const Extent& probe,
                              unsigned iterations) {
    settings.iterations = iterations;
    const PreparedMethod prepared = method.make(method, settings, nullptr);
    const PaddedVolume image(probe);
    const PaddedVolume psf(probe);
    FillPattern(image);
    FillBlur(psf);
    CRy3DDeconvRunParameters& params = *prepared.params;
    params.sizes = image.sizes();
    params.rcImage = {0, probe.x, 0, probe.y, 0, probe.z};
    params.pfImage = image.data();
    params.pfPsf = psf.data();
    if (prepared.core->Prepare(prepared.params) != gnr::kSuccess) return std::nullopt;
    const OwnSeconds seconds;
    const int code = prepared.core->Run(prepared.params);
    const double taken = seconds.Get();
    prepared.core->Free();
    if (code != gnr::kSuccess) return std::nullopt;
    return taken;
}

/// Seconds of the probe with no iteration, and those that each one adds.
struct ProbeTimes {
    double base = 0.0;
    double each = 0.0;
};

std::optional<ProbeTimes> MeasureProbe(const Method& method, const MethodSettings& settings,
                                       const Extent& probe) {
    TimeRun(method, settings, probe, 1);  // threads start, tables are made
    const auto one = LeastTime([&] { return TimeRun(method, settings, probe, 1); });
    if (!method.iterative()) return one ? std::optional(ProbeTimes{*one, 0.0}) : std::nullopt;
    const auto three = LeastTime([&] { return TimeRun(method, settings, probe, 3); });
    if (!one || !three) return std::nullopt;
    const double each = std::max((*three - *one) / 2.0, *three / 6.0);
    return ProbeTimes{std::max(*one - each, 0.0), each};
}

/// "12 s", "7 min", "3.5 h"
std::string DurationText(double seconds) {
    char text[40];
    if (seconds < 100.0) {
        std::snprintf(text, sizeof text, "%.0f s", std::max(seconds, 1.0));
    } else if (seconds < 100.0 * 60.0) {
        std::snprintf(text, sizeof text, "%.0f min", seconds / 60.0);
    } else {
        std::snprintf(text, sizeof text, "%.1f h", seconds / 3600.0);
    }
    return text;
}

}  // namespace

std::optional<double> LeastTime(const std::function<std::optional<double>()>& run) {
    constexpr int kMostRuns = 6;
    constexpr int kSlowRuns = 3;         // where others take the processors, one may have been spared
    constexpr double kLongEnough = 0.1;  // seconds for all of them, on a quiet machine
    constexpr double kTooLong = 0.6;     // and on a busy one
    std::optional<double> least;
    double spent = 0.0;
    for (int n = 0; n < kMostRuns && spent < (n < kSlowRuns ? kTooLong : kLongEnough); ++n) {
        const auto taken = run();
        if (!taken) return std::nullopt;
        spent += *taken;
        least = std::min(*taken, least.value_or(*taken));
    }
    return least;
}

std::optional<double> ForecastSeconds(const Method& method, const MethodSettings& settings,
                                      const RunPlan& plan) {
    const unsigned iterations = IterationsOf(method, settings);
    if (plan.Samples() * std::max(iterations, 1U) < kSmallJob) return std::nullopt;
    const Extent& probe = Samples(plan.frame) > Samples(kProbe) ? kProbe : kSmallProbe;
    if (Samples(plan.frame) < Samples(probe)) return std::nullopt;
    static std::map<std::string, std::optional<ProbeTimes>> known;
    const auto [entry, isNew] = known.try_emplace(method.name + ToString(probe));
    if (isNew) entry->second = MeasureProbe(method, settings, probe);
    if (!entry->second) return std::nullopt;
    const double larger = SamplesTimesLog(plan.frame) * plan.grid.blocks() / SamplesTimesLog(probe);
    return larger * (entry->second->base + entry->second->each * iterations);
}

std::string TimeText(const Method& method, const MethodSettings& settings, double seconds) {
    const bool mayEndSooner = method.endsByItself() && !settings.noAutoStop;
    return (mayEndSooner ? "at most about " : "about ") + DurationText(seconds);
}

std::string PlanText(const RunPlan& plan, const Method& method, const MethodSettings& settings,
                     std::optional<double> seconds) {
    std::string text = "plan: ";
    if (plan.InBlocks()) text += ToString(plan.grid.counts()) + " blocks, each ";
    text += "padded to " + ToString(plan.frame) + " samples, " + ByteText(plan.need.Total()) + " of " +
            ByteText(plan.limit.bytes) + " (" + plan.limit.source + ")";
    if (seconds) text += ", " + TimeText(method, settings, *seconds);
    return text;
}

}  // namespace rydecon
