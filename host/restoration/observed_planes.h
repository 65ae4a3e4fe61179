// SPDX-License-Identifier: MIT
#pragma once

// What a report shows of a volume, gathered from its planes as they pass on their way in and out.

#include "report/html/report_views.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// Hands planes on and shows each to the views, the first time that it is read, in their order. Until all were read
/// once, the planes are read by one thread.
class ObservedSource final : public PlaneSource {
  public:
    ObservedSource(PlaneSource& from, ReportViews& views) : from_(from), views_(views) {}

    Extent shape() const override { return from_.shape(); }
    void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) override {
        from_.ReadPlane(k, rows, rowStride);
        if (k != next_) return;
        views_.AddBefore(rows, rowStride);
        ++next_;
    }

  private:
    PlaneSource& from_;
    ReportViews& views_;
    int next_ = 0;
};

/// Shows planes to the views and hands them on.
class ObservedSink final : public PlaneSink {
  public:
    ObservedSink(PlaneSink& to, ReportViews& views) : to_(to), views_(views) {}

    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override {
        views_.AddAfter(rows, rowStride);
        to_.WritePlane(k, rows, rowStride);
    }

  private:
    PlaneSink& to_;
    ReportViews& views_;
};

}  // namespace rydecon
