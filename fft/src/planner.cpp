// SPDX-License-Identifier: MIT
#include "planner.h"

namespace gnr::fft {

std::mutex& PlannerLock() {
    static std::mutex lock;
    return lock;
}

bool ThreadsAreReady() {
    static const bool ready = fftwf_init_threads() != 0;
    return ready;
}

void DestroyPlan::operator()(fftwf_plan plan) const {
    const std::lock_guard guard(PlannerLock());
    fftwf_destroy_plan(plan);
}

}  // namespace gnr::fft
