// SPDX-License-Identifier: MIT
#pragma once

// How long a planned restoration will take, from a measured probe, and the words that tell a plan.

#include <functional>
#include <optional>
#include <string>

#include "restoration/blocks/run_plan.h"
#include "restoration/method.h"

namespace rydecon {

/// Seconds of the library's work for all blocks, run to the limit of iterations. The method's own core runs on
/// a small volume, and its time is scaled by samples and the logarithm of their number. Takes a few tenths of
/// a second, once for each method in a process; empty for a job that itself takes not much longer.
std::optional<double> ForecastSeconds(const Method& method, const MethodSettings& settings,
                                      const RunPlan& plan);

/// The least that several runs take, each of which tells its seconds: other programs make a run longer, and none
/// shorter. Goes on for a moment; empty where a run tells none.
std::optional<double> LeastTime(const std::function<std::optional<double>()>& run);

/// "plan: 3 x 2 x 1 blocks, padded to 250 x 240 x 96 samples each, 310 MiB of 400 MiB (--max-memory), at most
/// about 40 s"
std::string PlanText(const RunPlan& plan, const Method& method, const MethodSettings& settings,
                     std::optional<double> seconds);

/// "about 12 s", "at most about 7 min" where a stop test may end the run sooner, "about 3.5 h"
std::string TimeText(const Method& method, const MethodSettings& settings, double seconds);

}  // namespace rydecon
