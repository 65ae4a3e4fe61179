// SPDX-License-Identifier: MIT
#pragma once

// Jobs for the drivers of blind deconvolution, and what the drivers are made of: passes of the exported inner
// loops on buffers of the test.

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/legacy.h>

#include <string>

#include "support/blind_call.h"

namespace gnr::test {

inline Volume BlindObserved() {
    return Observed(Scene(6, 5, 4, 20, 400), AsymmetricPsf(6, 5, 4, 1.0, 1.5), 0.02f);
}
inline Volume BlindGuess() {
    return AsymmetricPsf(6, 5, 4);
}

/// Image, PSF and the data that passes fit, improved pass by pass.
class BlindReplay {
  public:
    BlindReplay(const Volume& observed, const Volume& guess) : image(observed), psf(guess), data(observed) {}

    unsigned ImagePass(BlindForm form, unsigned sweeps, float stopE8) {
        return Pass(form, image, psf, sweeps, stopE8, true);
    }
    unsigned PsfPass(BlindForm form, unsigned sweeps, float stopE8) {
        return Pass(form, psf, image, sweeps, stopE8, false);
    }

    Volume image;
    Volume psf;
    Volume data;

  private:
    unsigned Pass(BlindForm form, Volume& updated, const Volume& fixed, unsigned sweeps, float stopE8,
                  bool isOfImage) {
        BlindCall call(updated, fixed, sweeps);
        call.observed = data;
        call.stopE8 = stopE8;
        call.isOfImage = isOfImage;
        const unsigned count = call.Run(form);
        updated = call.updated;
        return count;
    }
};

/// A run of the blind core without stop test.
struct BlindCoreJob : RestorationJob<CRy3DBlindDeconvRunParameters> {
    explicit BlindCoreJob(unsigned iterations = 4, int inner = 0)
        : RestorationJob<CRy3DBlindDeconvRunParameters>(BlindObserved(), BlindGuess()) {
        params.uiIterations = iterations;
        params.iBlindInnerSetting = inner;
        params.fBlindValue = -1.0f;
    }
    BlindReplay Replay() const { return {image, psf}; }
};

/// The passes of a run under no stop test, `cycles` of image and PSF, the data following where asked.
inline void ReplayCycles(BlindReplay& replay, int cycles, unsigned sweeps, bool follows,
                         bool endsWithImage = false) {
    for (int n = 0; n < cycles; ++n) {
        replay.ImagePass(BlindForm::Parallel, sweeps, -1);
        if (follows) replay.data = replay.image;
        if (n + 1 == cycles && endsWithImage) return;
        replay.PsfPass(BlindForm::Parallel, sweeps, -1);
    }
}

inline void ExpectReplayed(const BlindCoreJob& job, const BlindReplay& replay) {
    EXPECT_TRUE(SameImage(job.image, replay.image)) << "image";
    EXPECT_TRUE(SameImage(job.psf, replay.psf)) << "psf";
}

/// Whole sequences, written as a line: b begin, e4 end with 4 units, p poll.
inline std::string LineOf(const ProgressLog& log) {
    std::string line;
    for (const ProgressReport& report : log.Calls()) {
        if (!line.empty()) line += ' ';
        switch (report.phase) {
            case eProgressStepBegin:
                line += report.n == 0 ? "b" : "b?";
                break;
            case eProgressStepEnd:
                line += 'e' + std::to_string(report.n);
                break;
            case eProgressPoll:
                line += report.n == 0 ? "p" : "p?";
                break;
            default:
                line += '?';
        }
    }
    return line;
}

}  // namespace gnr::test
