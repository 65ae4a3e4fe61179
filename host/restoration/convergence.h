// SPDX-License-Identifier: MIT
#pragma once

// How well each iterate of a run explains the image.

#include <cmath>

#include "restoration/curve.h"
#include "restoration/forward_model.h"
#include "restoration/iterate_sink.h"
#include "volume/sample_box.h"

namespace rydecon {

/// n ln(n / mu) - n + mu, for mu above 0: one sample's share of Csiszar's I-divergence, and what the Poisson
/// likelihood of n counts lacks to its best.
inline double DivergenceTerm(double n, double mu) {
    return n > 0.0 ? n * std::log(n / mu) - n + mu : mu;
}

inline constexpr const char* kConvergenceColumn = "i_divergence";

/// Records the mean I-divergence between the image and the blurred iterate, in units of the image. Costs two
/// transforms an iterate, two padded volumes and a copy of the image.
class ConvergenceSink final : public IterateSink {
  public:
    /// image  as the method begins from it, in its margin      shape  of the image itself
    /// psf    as laid out; where it changes, each iterate is blurred by what it is then
    /// lift   what the method adds to the image before it iterates
    ConvergenceSink(const PaddedVolume& image, const Extent& shape, const PaddedVolume& psf, bool psfChanges,
                    double lift);

    void OnIterate(float scale, const float* iterate) override;

    const Curve& curve() const { return curve_; }

  private:
    SampleBox observed_;
    double least_;  // that a blurred sample counts as
    ForwardModel model_;
    const PaddedVolume* changingPsf_;
    double lift_;
    Curve curve_{.label = "mean I-divergence between the image and the blurred estimate",
                 .column = kConvergenceColumn};
};

}  // namespace rydecon
