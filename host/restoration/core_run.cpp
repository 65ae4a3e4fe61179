// SPDX-License-Identifier: MIT
#include "restoration/core_run.h"

#include <gnr_deconvolution/return_codes.h>

#include "report/progress_bar.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

/// Moves the bar, counts the work and passes Ctrl-C on.
struct ProgressRelay {
    ProgressBar bar;
    const bool* enough = nullptr;
    unsigned units = 0;

    static int Call(const CRyStringW&, unsigned, unsigned, unsigned, unsigned n, ERyProgressPhase phase,
                    void* self) {
        auto& relay = *static_cast<ProgressRelay*>(self);
        if (phase == eProgressStepEnd) {
            relay.units += n;
            relay.bar.Advance(n);
        }
        const bool enough = relay.enough != nullptr && *relay.enough;
        return enough || StopRequested() ? 1 : 0;
    }
};

}  // namespace

unsigned RunCore(PreparedMethod& method, const PaddedVolume& image, const PaddedVolume& psf,
                 const Extent& shape, const CoreRun& run, const Messages& messages) {
    CRy3DDeconvRunParameters& params = *method.params;
    params.sizes = image.sizes();
    params.rcImage = {};
    if (method.looksAtBox) params.rcImage = {0, shape.x, 0, shape.y, 0, shape.z};
    const auto outOfMemory = [&] {
        return UserError("not enough memory: the method needs " +
                         std::to_string(method.core->GetRequiredMemorySize(method.params) / 1000000) +
                         " MB of working buffers; crop the stack or free memory");
    };
    if (method.core->Prepare(method.params) != gnr::kSuccess) throw outOfMemory();
    ProgressRelay relay{ProgressBar(method.units, run.label, messages), run.enough};
    params.pfImage = image.data();
    params.pfPsf = psf.data();
    params.pfnProgress = &ProgressRelay::Call;
    params.pProgressData = &relay;
    const int code = method.core->Run(method.params);
    relay.bar.Finish();
    method.core->Free();
    const bool ended = run.enough != nullptr && *run.enough && !StopRequested();
    if (code == gnr::kStopped && !ended) {
        const std::string left = run.parked != nullptr ? run.parked->WhatIsLeft() : "nothing was written";
        throw UserError("stopped; " + left, ExitCode::Stopped);
    }
    if (code == gnr::kOutOfMemory) throw outOfMemory();
    if (code != gnr::kSuccess && !ended) {
        throw UserError("the restoration failed with code " + std::to_string(code) +
                        "; that is a fault of this program: please report it");
    }
    return relay.units;
}

}  // namespace rydecon
