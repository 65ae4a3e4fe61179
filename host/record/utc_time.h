// SPDX-License-Identifier: MIT
#pragma once

// The date that records bear.

#include <string>

namespace rydecon {

/// "2026-01-31T12:00:00Z".
std::string NowInUtc();

}  // namespace rydecon
