// SPDX-License-Identifier: MIT
#pragma once

// How well the iterates of one half of the photons explain the other half.

#include <optional>
#include <vector>

#include "restoration/forward_model.h"
#include "restoration/iterate_sink.h"
#include "volume/sample_box.h"

namespace rydecon {

/// Records, for each iterate of one half, the mean I-divergence between the counts of the other half and the
/// blurred iterate, which is the Poisson likelihood but for its sign and a constant.
class HeldOutSink final : public IterateSink {
  public:
    /// counts     photons of the other half
    /// ground     to be added to a blurred iterate so that it is 0 where there is no light
    /// perPhoton  units of the iterate that one photon of a half is
    /// ends       whether the run is to end once the curve has turned
    HeldOutSink(SampleBox counts, double ground, double perPhoton, ForwardModel& model, bool ends);

    /// For a method that steps too far where the image is smooth: judges each iterate after one plain step
    /// towards the half that it was restored from. `own` is that half, `lift` what the method adds to it.
    void SettleBy(const PaddedVolume& own, double lift);

    /// True from the iterate on that turned the curve; for the run to look at.
    const bool* enough() const { return &enough_; }
    const std::vector<double>& values() const { return values_; }

    void OnIterate(float scale, const float* iterate) override;

  private:
    SampleBox counts_;
    double ground_;
    double perPhoton_;
    ForwardModel& model_;
    bool ends_;
    std::optional<PaddedVolume> own_;  // and the lift
    bool enough_ = false;
    std::vector<double> values_;
};

}  // namespace rydecon
