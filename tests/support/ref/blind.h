// SPDX-License-Identifier: MIT
#pragma once

// Whole blind runs: the one-call entry, the core with its guard, and the entry for structured illumination.

#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

#include "support/ref/blind_pass.h"
#include "support/ref/quality.h"

namespace gnr::ref {

struct BlindJob {
    unsigned iterations = 1;
    float stopE8 = -1;
    int innerSetting = 0;  ///< sweeps a pass: 0 gives 1, 1 gives 10, others 20
    bool unguarded = false;
    int guardSetting = 0;  ///< tolerance in decades: 0 and 7 give 0.8, others 0.3
    SRyIRect3D box = {};   ///< of the comparison with `truth`
    const PaddedVolume* truth = nullptr;
    double truthSum = 1;
    BlindHost host = {};
    /// Called before each pass of the structured form; may change both volumes.
    std::function<void(bool imagePass, int iteration, PaddedVolume& psf, PaddedVolume& image)> betweenPasses =
        {};
    Disturbance disturbance = {};
};

/// The guard after one image pass.
struct GuardVisit {
    double decades;  ///< of the peak against the first one; not a number without a positive peak
    bool follows;    ///< the data become the estimate
};

struct BlindResult {
    PaddedVolume image;
    PaddedVolume psf;
    int code = 0;
    std::vector<test::ProgressReport> calls = {};
    std::vector<unsigned> counts = {};  ///< returned by the passes, in order
    BlindTrace trace = {};
    std::vector<GuardVisit> guard = {};
    double guardMargin = std::numeric_limits<double>::infinity();
    QualityVector quality = {};
    std::vector<double> qualityScales = {};
};

inline unsigned SweepsOf(int innerSetting) {
    return innerSetting == 0 ? 1u : innerSetting == 1 ? 10u : 20u;
}

namespace blind_detail {

/// Passes of one run on its image and PSF.
class Passes {
  public:
    Passes(BlindForm form, const BlindJob& job, const PaddedVolume& image, const PaddedVolume& psf,
           int status)
        : job_(job), form_(form), result_{image, psf}, run_(image, job.host, job.disturbance) {
        run_.status = status;
    }

    unsigned Pass(bool onImage, unsigned sweeps, float stopE8, bool report, const PaddedVolume& observed) {
        const BlindPass pass = {form_, sweeps, onImage, stopE8, report, false};
        PaddedVolume& image = result_.image;
        PaddedVolume& psf = result_.psf;
        const unsigned count = onImage ? SweepBlind(run_, pass, image, psf, observed)
                                       : SweepBlind(run_, pass, psf, image, observed);
        result_.counts.push_back(count);
        return count;
    }
    bool Stops(ERyProgressPhase phase, unsigned units = 0) { return run_.host.Stops(phase, units); }
    /// The pair that closes a run; its second call is made only after a first that does not stop.
    bool ClosingPairStops(unsigned units) {
        return Stops(eProgressStepBegin) || Stops(eProgressStepEnd, units);
    }
    int status() const { return run_.status; }
    BlindResult& result() { return result_; }
    BlindResult End(int code) {
        result_.code = code;
        result_.calls = run_.host.calls;
        result_.trace = run_.trace;
        return std::move(result_);
    }

  private:
    const BlindJob& job_;
    BlindForm form_;
    BlindResult result_;
    BlindRun run_;
};

}  // namespace blind_detail

/// Image and PSF by turns, the data replaced by the estimate after every pass; then as many sweeps on the
/// image as there were iterations.
inline BlindResult BlindEntry(const PaddedVolume& image, const PaddedVolume& psf, const BlindJob& job) {
    blind_detail::Passes run(BlindForm::kSerial, job, image, psf, 1);
    const BlindResult& now = run.result();
    PaddedVolume observed = image;
    const unsigned sweeps = SweepsOf(job.innerSetting);
    unsigned done = 0;
    for (unsigned j = 0; j < job.iterations; ++j) {
        if (run.Stops(eProgressStepBegin)) return run.End(-8);
        unsigned count = run.Pass(true, sweeps, job.stopE8, false, observed);
        if (count + done > job.iterations) count = job.iterations - done;
        if (run.Stops(eProgressStepEnd, count)) return run.End(-8);
        observed = now.image;
        done += count;
        if (done >= job.iterations) {
            if (run.ClosingPairStops(count)) return run.End(-8);
            break;
        }
        if (run.Stops(eProgressStepBegin)) return run.End(-8);
        run.Pass(false, sweeps, job.stopE8, false, observed);
        if (run.Stops(eProgressStepEnd, count)) return run.End(-8);
        observed = now.image;
    }
    run.Pass(true, job.iterations, -1.0f, true, observed);
    return run.End(run.status());
}

namespace blind_detail {

/// Logarithm of the largest sample, decimal, single precision.
inline float PeakDecades(const PaddedVolume& image) {
    double largest = std::numeric_limits<float>::lowest();
    ForImageColumns(image, [&](int i, int j, int k) { largest = std::max(largest, image.at(i, j, k)); });
    return std::log10(static_cast<float>(largest));
}

/// Sum over a box of the extents of `box` at column 30, row 30 and the middle planes.
inline double SumAtThirty(const PaddedVolume& image, const SRyIRect3D& box) {
    const int deep = box.iMaxZ - box.iMinZ;
    const int first = (image.nz - deep) / 2;
    double sum = 0;
    ForImageColumns(image, [&](int i, int j, int k) {
        if (k < first || k >= first + deep || i < 30 || j < 30) return;
        if (i < 30 + box.iMaxX - box.iMinX && j < 30 + box.iMaxY - box.iMinY) sum += image.at(i, j, k);
    });
    return sum;
}

inline void Measure(BlindResult& r, const BlindJob& job, unsigned done) {
    if (job.truth == nullptr) return;
    const double sum = SumAtThirty(r.image, job.box);
    r.qualityScales.push_back(sum > 1e-10 ? job.truthSum / sum : 1.0);
    r.quality.emplace_back(done, RootMeanSquareError(r.image, *job.truth, job.box, r.qualityScales.back()));
}

}  // namespace blind_detail

/// Image and PSF by turns, both counted; the data follow the estimate for as long as its peak stays within the
/// tolerance of its first one.
inline BlindResult BlindCore(const PaddedVolume& image, const PaddedVolume& psf, const BlindJob& job) {
    blind_detail::Passes run(BlindForm::kParallel, job, image, psf, 0);
    BlindResult& r = run.result();
    PaddedVolume observed = image;
    const unsigned sweeps = SweepsOf(job.innerSetting);
    const float tolerance = job.guardSetting == 0 || job.guardSetting == 7 ? 0.8f : 0.3f;
    unsigned done = 0;
    float first = 0;
    int code = 0;
    for (unsigned j = 0; j < job.iterations; ++j) {
        if (run.Stops(eProgressStepBegin)) return run.End(-8);
        unsigned count = run.Pass(true, sweeps, job.stopE8, false, observed);
        if (count + done > job.iterations) count = job.iterations - done;
        if (run.Stops(eProgressStepEnd, count)) return run.End(-8);
        if (!job.unguarded) {
            const float peak = blind_detail::PeakDecades(r.image);
            if (j == 0) first = peak;
            const float decades = std::abs(peak - first);
            const bool follows = decades < tolerance;
            if (follows) observed = r.image;
            r.guard.push_back({decades, follows});
            if (!std::isnan(decades))
                r.guardMargin = std::min(r.guardMargin, std::abs(double{decades} - tolerance));
        }
        code = run.status();
        if (done + count >= job.iterations) return run.End(run.ClosingPairStops(count) ? -8 : code);
        if (run.Stops(eProgressStepBegin)) return run.End(-8);
        const unsigned onPsf = run.Pass(false, sweeps, job.stopE8, false, observed);
        if (run.Stops(eProgressStepEnd, count)) return run.End(-8);
        code = run.status();
        done += count + onPsf;
        if (done >= job.iterations) return run.End(run.ClosingPairStops(count) ? -8 : code);
        blind_detail::Measure(r, job, done);
    }
    return run.End(code);
}

/// One sweep on the PSF and one on the image by turns, both against what was observed.
inline BlindResult StructuredBlind(const PaddedVolume& image, const PaddedVolume& psf, const BlindJob& job) {
    blind_detail::Passes run(BlindForm::kStructured, job, image, psf, 1);
    BlindResult& r = run.result();
    for (unsigned j = 0; j < job.iterations; ++j) {
        for (const bool onImage : {false, true}) {
            if (job.betweenPasses) job.betweenPasses(onImage, static_cast<int>(j), r.psf, r.image);
            run.Pass(onImage, 1, job.stopE8, false, image);
        }
    }
    return run.End(run.status());
}

}  // namespace gnr::ref
