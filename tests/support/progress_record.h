// SPDX-License-Identifier: MIT
#pragma once

// A progress callback that writes down every call and stops the job at a chosen one.

#include <gnr_deconvolution/object_frame.h>

#include <cstddef>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace gnr::test {

/// One call as the host saw it.
struct ProgressCall {
    std::wstring text;
    unsigned a;
    unsigned b;
    unsigned c;
    unsigned n;
    ERyProgressPhase phase;
    void* hostPointer;
    std::thread::id thread;
};

/// Hand Callback and the record's address to a job.
struct ProgressRecord {
    static constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

    std::size_t stopAt = kNever;  ///< index of the call that answers `answer`
    int answer = 1;
    std::vector<ProgressCall> calls;

    static int Callback(const CRyStringW& text, unsigned a, unsigned b, unsigned c, unsigned n,
                        ERyProgressPhase phase, void* hostPointer) {
        auto& record = *static_cast<ProgressRecord*>(hostPointer);
        record.calls.push_back({text.c_str(), a, b, c, n, phase, hostPointer, std::this_thread::get_id()});
        return record.calls.size() - 1 == record.stopAt ? record.answer : 0;
    }
};

}  // namespace gnr::test
