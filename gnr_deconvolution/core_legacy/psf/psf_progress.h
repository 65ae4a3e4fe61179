// SPDX-License-Identifier: MIT
#pragma once

// What PSF generation tells the host while it runs.

#include "frame/progress.h"

namespace gnr::detail {

inline constexpr ProgressText kPsfGeneration = {L"Generating PSF...", "gnr_deconvolution/core_legacy"};

/// What a kernel of the fast model returns when the host stops it.
inline constexpr int kKernelStopped = -1;

}  // namespace gnr::detail
