// SPDX-License-Identifier: MIT

#include "report/stop_request.h"

#include <signal.h>

#include <atomic>

#include "report/user_error.h"

namespace rydecon {
namespace {

std::atomic<bool> stopRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

extern "C" void RememberStop(int) {
    stopRequested = true;
}

}  // namespace

void CatchStopSignals() {
    for (const int kind : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        sigaction(kind, nullptr, &before);
        if (before.sa_handler == SIG_IGN) continue;
        struct sigaction action {};
        action.sa_handler = RememberStop;
        action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
        sigaction(kind, &action, nullptr);
    }
}

bool StopRequested() {
    return stopRequested;
}

void LeaveIfStopRequested() {
    if (StopRequested()) throw UserError("stopped; nothing was written", ExitCode::Stopped);
}

}  // namespace rydecon
