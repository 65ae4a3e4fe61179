// SPDX-License-Identifier: MIT
#pragma once

// Progress and stop of one job, as one small object.

#include <gnr_deconvolution/object_frame.h>
#include <gnr_deconvolution/parameters.h>

namespace gnr::detail {

/// What a job says it is doing, and which part of the library says it.
struct ProgressText {
    const wchar_t* text;
    const char* source;
};
inline constexpr ProgressText kDeconvolution3D = {L"Performing Deconvolution...",
                                                  "gnr_deconvolution/core_3d"};

/// Calls the host's callback; every call answers whether the host wants to stop.
class Progress {
  public:
    Progress(const ProgressText& text, RyProgressCallback callback, void* hostPointer)
        : text_(text), callback_(callback), hostPointer_(hostPointer) {}
    Progress(const ProgressText& text, const CRy3DDeconvRunParameters& params)
        : Progress(text, params.pfnProgress, params.pProgressData) {}

    /// A unit of work begins.
    [[nodiscard]] bool StopAtBegin() const { return Stop(eProgressStepBegin, 0); }
    /// `units` of work are done.
    [[nodiscard]] bool StopAtEnd(unsigned units = 1) const { return Stop(eProgressStepEnd, units); }
    /// Nothing begins or ends; only asks.
    [[nodiscard]] bool StopAtPoll() const { return Stop(eProgressPoll, 0); }

    [[nodiscard]] bool Stop(ERyProgressPhase phase, unsigned units) const;

  private:
    ProgressText text_;
    RyProgressCallback callback_;
    void* hostPointer_;
};

}  // namespace gnr::detail
