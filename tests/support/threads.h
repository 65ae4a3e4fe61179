// SPDX-License-Identifier: MIT
#pragma once

// Sets how many threads the parallel loops use, for the length of a scope.

#include <omp.h>

namespace gnr::test {

class ThreadCount {
  public:
    explicit ThreadCount(int count) : before_(omp_get_max_threads()) { omp_set_num_threads(count); }
    ThreadCount(const ThreadCount&) = delete;
    ThreadCount& operator=(const ThreadCount&) = delete;
    ~ThreadCount() { omp_set_num_threads(before_); }

  private:
    int before_;
};

}  // namespace gnr::test
