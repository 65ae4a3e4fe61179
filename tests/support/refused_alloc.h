// SPDX-License-Identifier: MIT
#pragma once

// Refuses blocks of CRyAlloc and counts those that live. The unit tests' executable replaces the allocator
// (refused_alloc_test.cpp) by one that asks here.

#include <atomic>
#include <cstddef>
#include <limits>

namespace gnr::test {

/// While it lives, refuses one block: the one with this number, from 0, among those of at least so many bytes.
class RefusedAlloc {
  public:
    explicit RefusedAlloc(int number, std::size_t leastBytes = 1) {
        seen = 0;
        refusedNumber = number;
        least = leastBytes;
    }
    RefusedAlloc(const RefusedAlloc&) = delete;
    RefusedAlloc& operator=(const RefusedAlloc&) = delete;
    ~RefusedAlloc() { least = kNone; }

    /// The block was asked for, and refused.
    bool HasRefused() const { return seen > refusedNumber; }

    /// Blocks handed out and not yet freed.
    static inline std::atomic<int> live{0};

    static bool Refuses(std::size_t bytes) { return bytes >= least && seen++ == refusedNumber; }

  private:
    static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
    static inline std::atomic<std::size_t> least{kNone};
    static inline std::atomic<int> refusedNumber{0};
    static inline std::atomic<int> seen{0};
};

/// Runs call() once for every block that it asks for, that one being refused, until none is. check(code) sees
/// what each refused run returned. No run may leave a block behind.
template <class Call, class Check>
int RefuseEachBlock(std::size_t leastBytes, Call call, Check check) {
    for (int number = 0;; ++number) {
        const int before = RefusedAlloc::live;
        bool refused = false;
        int code = 0;
        {
            const RefusedAlloc refusal(number, leastBytes);
            code = call();
            refused = refusal.HasRefused();
        }
        if (RefusedAlloc::live != before) return -1;
        if (!refused) return number;
        check(code);
    }
}

}  // namespace gnr::test
