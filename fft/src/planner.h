// SPDX-License-Identifier: MIT
#pragma once

// Plans of FFTW, made and destroyed one at a time.

#include <fftw3.h>

#include <memory>
#include <mutex>
#include <type_traits>

namespace gnr::fft {

/// FFTW makes and destroys plans on shared state; only executing them is safe from several threads.
std::mutex& PlannerLock();

/// True once FFTW's threads are ready. To be asked under the lock.
bool ThreadsAreReady();

struct DestroyPlan {
    void operator()(fftwf_plan plan) const;
};
using Plan = std::unique_ptr<std::remove_pointer_t<fftwf_plan>, DestroyPlan>;

/// Plans under the lock, for `threads` threads, and leaves the planner's thread count as it was. Null where
/// FFTW has no plan.
template <class MakePlan>
Plan MakeGuarded(int threads, MakePlan makePlan) {
    const std::lock_guard guard(PlannerLock());
    if (!ThreadsAreReady()) return nullptr;
    const int before = fftwf_planner_nthreads();
    fftwf_plan_with_nthreads(threads);
    Plan plan(makePlan());
    fftwf_plan_with_nthreads(before);
    return plan;
}

}  // namespace gnr::fft
