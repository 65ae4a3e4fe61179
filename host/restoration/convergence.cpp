// SPDX-License-Identifier: MIT
#include "restoration/convergence.h"

#include <algorithm>

namespace rydecon {

namespace {

/// Rounding of transforms, and least-squares methods, leave samples of 0 and below.
constexpr double kLeastOfMean = 1.0e-6;

SampleBox BoxOf(const PaddedVolume& image, const Extent& shape) {
    SampleBox box(shape);
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) std::copy_n(image.Row(j, k), shape.x, box.Row(j, k));
    }
    return box;
}

double MeanOf(const SampleBox& box) {
    double sum = 0.0;
    for (const float sample : box.samples()) sum += double{sample};
    return sum / static_cast<double>(box.samples().size());
}

}  // namespace

ConvergenceSink::ConvergenceSink(const PaddedVolume& image, const Extent& shape, const PaddedVolume& psf,
                                 bool psfChanges, double lift)
    : observed_(BoxOf(image, shape)),
      least_(kLeastOfMean * std::max(0.0, MeanOf(observed_) + lift) + 1.0e-30),
      model_(psf),
      changingPsf_(psfChanges ? &psf : nullptr),
      lift_(lift) {}

void ConvergenceSink::OnIterate(float scale, const float* iterate) {
    if (changingPsf_ != nullptr) model_.TakePsf(*changingPsf_);
    const PaddedVolume& blurred = model_.Blur(iterate);
    const Extent& shape = observed_.size();
    double sum = 0.0;
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) {
            const float* const seen = observed_.Row(j, k);
            const float* const expected = blurred.Row(j, k);
            for (int i = 0; i < shape.x; ++i) {
                sum += DivergenceTerm(double{seen[i]} + lift_, std::max(double{scale} * expected[i], least_));
            }
        }
    }
    curve_.values.push_back(sum / static_cast<double>(observed_.samples().size()));
}

}  // namespace rydecon
