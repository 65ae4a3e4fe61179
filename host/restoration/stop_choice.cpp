// SPDX-License-Identifier: MIT
#include "restoration/stop_choice.h"

#include <string>

#include "report/required_range.h"
#include "report/user_error.h"
#include "restoration/method.h"
#include "restoration/restore_job.h"

namespace rydecon {

namespace {

constexpr double kLargestGain = 1.0e9;

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
        RequireUsage(!given || stop.split,
                     std::string(option) + " means nothing without --stop split; add that, or leave it out");
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
                 "--stop split cannot be combined with --checkpoint or --resume; leave them out");
    if (stop.photons.gain) RequireRange("--gain", *stop.photons.gain, 1.0 / kLargestGain, kLargestGain);
    if (stop.photons.offset) RequireRange("--offset", *stop.photons.offset, -kLargestGain, kLargestGain);
}

}  // namespace rydecon
