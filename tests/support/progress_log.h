// SPDX-License-Identifier: MIT
#pragma once

// A progress callback that records every call and can answer "stop" at one of them.

#include <gnr_deconvolution/parameters.h>

#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace gnr::test {

/// One progress call as it arrived.
struct ProgressReport {
    std::wstring text;
    unsigned a;
    unsigned b;
    unsigned c;
    unsigned n;
    ERyProgressPhase phase;
    void* hostPointer = nullptr;
    std::thread::id thread = {};

    /// Equal in what was said; to whom and on which thread is a matter of its own.
    friend bool operator==(const ProgressReport& l, const ProgressReport& r) {
        return std::tie(l.text, l.a, l.b, l.c, l.n, l.phase) == std::tie(r.text, r.a, r.b, r.c, r.n, r.phase);
    }
};

/// What a 3D core sends for one phase.
inline ProgressReport ReportOf(ERyProgressPhase phase) {
    return {L"Performing Deconvolution...", 0, 0, 0, phase == eProgressStepEnd ? 1u : 0u, phase};
}

/// What a 2D entry sends.
inline ProgressReport PictureReport(ERyProgressPhase phase) {
    return {L"Running Deconvolution...", 0, 0, 0, 0, phase};
}

/// Records; answers `answer` at call number `stopAt` (from 0) and 0 otherwise.
class ProgressLog {
  public:
    explicit ProgressLog(int stopAt = -1, int answer = 1) : stopAt_(stopAt), answer_(answer) {}

    void Attach(CRy3DDeconvRunParameters& params) {
        params.pfnProgress = &ProgressLog::Record;
        params.pProgressData = this;
    }
    const std::vector<ProgressReport>& Calls() const { return calls_; }
    std::vector<ERyProgressPhase> Phases() const {
        std::vector<ERyProgressPhase> phases;
        for (const ProgressReport& call : calls_) phases.push_back(call.phase);
        return phases;
    }
    /// Units of work that the host would have counted.
    unsigned Units() const {
        unsigned units = 0;
        for (const ProgressReport& call : calls_) units += call.n;
        return units;
    }

    /// Runs at every call, before the answer; may look at buffers.
    std::function<void(const ProgressReport&)> onCall;

    /// The callback; its host pointer is the log.
    static int Record(const CRyStringW& text, unsigned a, unsigned b, unsigned c, unsigned n,
                      ERyProgressPhase phase, void* pData) {
        ProgressLog& log = *static_cast<ProgressLog*>(pData);
        log.calls_.push_back({text.c_str(), a, b, c, n, phase, pData, std::this_thread::get_id()});
        if (log.onCall) log.onCall(log.calls_.back());
        return static_cast<int>(log.calls_.size()) - 1 == log.stopAt_ ? log.answer_ : 0;
    }

  private:
    int stopAt_;
    int answer_;
    std::vector<ProgressReport> calls_;
};

}  // namespace gnr::test
