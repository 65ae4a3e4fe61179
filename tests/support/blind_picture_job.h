// SPDX-License-Identifier: MIT
#pragma once

// Blind restorations of small pictures with a log of their callback.

#include <gnr_deconvolution/deconvolution_2d.h>

#include <vector>

#include "support/pictures.h"
#include "support/progress_log.h"

namespace gnr::test {

/// Pixels of the margin.
inline constexpr unsigned kBlindBorder = 15;
inline constexpr unsigned kBlindPsfSize = 8;
/// Iterations of a cycle.
inline constexpr unsigned kStepsOnImage = 10;
inline constexpr unsigned kStepsOnPsf = 5;
/// Calls of the callback in a whole cycle.
inline constexpr int kCallsPerCycle = 1 + kStepsOnImage + 1 + kStepsOnPsf;

struct BlindJob {
    std::vector<float> psf = LopsidedPsf(kBlindPsfSize);
    float energyRatio = 0.0f;
    unsigned cycles = 1;
    ProgressLog log;

    explicit BlindJob(unsigned cycleCount = 1, int stopAt = -1) : cycles(cycleCount), log(stopAt) {}

    template <class Picture>
    int Run(Picture& destination, Picture& source) {
        return CRy2DDeconvolutionFamily::AccIBDProcessImage_NoSplit_x1(
            &destination, &source, psf.data(), kBlindPsfSize, energyRatio, &ProgressLog::Record, &log, 0,
            cycles, false);
    }
    template <class Picture>
    int RunInTiles(Picture& destination, Picture& source, unsigned x, unsigned y) {
        return CRy2DDeconvolutionFamily::AccIBDProcessImage_x1(
            &destination, &source, psf.data(), kBlindPsfSize, energyRatio, &ProgressLog::Record, &log, 0,
            cycles, false, x, y);
    }
};

/// The scene restored by a job.
struct Restored {
    FloatPicture picture;
    int code;

    explicit Restored(BlindJob& job, unsigned w = 20, unsigned h = 18) : picture(w, h), code(0) {
        FloatPicture source(w, h);
        source.Fill(Scene);
        code = job.Run(picture, source);
    }
    Restored(BlindJob&& job, unsigned w = 20, unsigned h = 18) : Restored(job, w, h) {}
    const std::vector<float>& Samples() const { return picture.Samples(); }
};

inline std::vector<ERyProgressPhase> PhasesOfCycle(unsigned onImage = kStepsOnImage,
                                                   unsigned onPsf = kStepsOnPsf) {
    std::vector<ERyProgressPhase> phases = {eProgressPoll};
    phases.insert(phases.end(), onImage, eProgressPollBlind2D);
    phases.push_back(eProgressPoll);
    phases.insert(phases.end(), onPsf, eProgressPollBlind2D);
    return phases;
}

}  // namespace gnr::test
