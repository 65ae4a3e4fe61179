// SPDX-License-Identifier: MIT
#pragma once

// The turn to compute, which restorations of several images pass on: the next one begins while the one before it
// is written to the disk.

namespace rydecon {

/// The setting of the environment that names the pipe, by the number of its descriptor, over which a process that
/// was given the turn passes it on.
inline constexpr const char* kTurnSetting = "RYDECON_TURN";

/// Tells whoever began this process that it computes no more, has given its memory back, and only writes. Does nothing
/// in a process that was given no turn, and the second time.
void PassTurn();

}  // namespace rydecon
