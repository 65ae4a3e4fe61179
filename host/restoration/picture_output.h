// SPDX-License-Identifier: MIT
#pragma once

// What happens to a restored picture: written, kept until the range of all is known, shown to a report.

#include <utility>
#include <vector>

#include "io/stack_writer.h"
#include "report/html/report_views.h"
#include "report/messages.h"
#include "restoration/kept_volume.h"
#include "restoration/restoration_record.h"
#include "restoration/restore_job.h"
#include "restoration/selected_stack.h"

namespace rydecon {

/// One plane of the file.
class WrittenPicture final : public PlaneSink {
  public:
    WrittenPicture(StackWriter& writer, const PlaneIndex& at) : writer_(writer), at_(at) {}

    void WritePlane(int /*k*/, const float* rows, std::ptrdiff_t rowStride) override {
        writer_.WritePlane(at_, rows, rowStride);
    }

  private:
    StackWriter& writer_;
    PlaneIndex at_;
};

/// Restored pictures that wait in a folder for the range of them all. The folder goes with the object.
class WaitingPictures {
  public:
    WaitingPictures(const RestoreJob& job, const StackHeader& header, const Messages& messages)
        : header_(header), parts_(job.output, false, messages) {
        parts_.Open();
    }
    ~WaitingPictures() { parts_.Remove(); }
    WaitingPictures(const WaitingPictures&) = delete;
    WaitingPictures& operator=(const WaitingPictures&) = delete;

    /// The next one, as PlaneAt counts.
    void Add(const std::vector<float>& plane) {
        kept_.push_back(KeepPlane(parts_, static_cast<unsigned>(kept_.size()), plane.data(), header_.width,
                                  header_.height));
    }
    void WriteTo(StackWriter& writer) const {
        for (std::size_t k = 0; k < kept_.size(); ++k) {
            WrittenPicture to(writer, PlaneAt(header_, static_cast<int>(k)));
            WriteKept(parts_, kept_[k], to);
        }
    }

  private:
    const StackHeader& header_;
    PartFolder parts_;
    std::vector<KeptVolume> kept_;
};

/// What a report shows of one picture.
class PictureViews {
  public:
    PictureViews(const StackHeader& header, int c)
        : header_(HeaderOfChannel(header, c)), views_(OnePlaneOf(header_)) {}

    void AddBefore(const std::vector<float>& plane) { views_.AddBefore(plane.data(), header_.width); }
    void Finish(const std::vector<float>& restored, ReportPsf psf, VolumeRecord& record) {
        views_.AddAfter(restored.data(), header_.width);
        record.views = views_.Finish();
        record.psfs = {std::move(psf)};
    }

  private:
    static StackHeader OnePlaneOf(StackHeader header) {
        header.slices = 1;
        return header;
    }

    StackHeader header_;
    ReportViews views_;
};

}  // namespace rydecon
