// SPDX-License-Identifier: MIT
#pragma once

// The user's wish to stop (Ctrl-C, a signal to end, a closed terminal), noticed between steps of work so that
// nothing unfinished stays behind.

namespace rydecon {

/// Catches SIGINT, SIGTERM and SIGHUP unless they are ignored already. The first one is a wish, a second one
/// of its kind ends the program at once.
void CatchStopSignals();

/// True once a stop has been asked for.
bool StopRequested();

/// Leaves with a UserError (ExitCode::Stopped) once a stop has been asked for.
void LeaveIfStopRequested();

}  // namespace rydecon
