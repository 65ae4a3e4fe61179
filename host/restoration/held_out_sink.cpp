// SPDX-License-Identifier: MIT
#include "restoration/held_out_sink.h"

#include <algorithm>
#include <utility>

#include "restoration/convergence.h"
#include "restoration/curve.h"

namespace rydecon {

namespace {

/// Photons that the blurred estimate expects in a sample at least: the logarithm of 0 would outweigh all.
constexpr double kLeastExpected = 1.0e-3;

}  // namespace

HeldOutSink::HeldOutSink(SampleBox counts, double ground, double perPhoton, ForwardModel& model, bool ends)
    : counts_(std::move(counts)), ground_(ground), perPhoton_(perPhoton), model_(model), ends_(ends) {}

void HeldOutSink::SettleBy(const PaddedVolume& own, double lift) {
    ground_ -= lift;
    own_.emplace(own.logical());
    std::transform(own.data(), own.data() + own.sizes().total, own_->data(),
                   [lift](float sample) { return std::max(0.0f, sample + static_cast<float>(lift)); });
}

void HeldOutSink::OnIterate(float scale, const float* iterate) {
    const PaddedVolume& blurred = own_ ? model_.BlurStepped(iterate, *own_) : model_.Blur(iterate);
    const double units = own_ ? 1.0 : double{scale};
    const Extent& shape = counts_.size();
    double sum = 0.0;
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) {
            const float* const count = counts_.Row(j, k);
            const float* const expected = blurred.Row(j, k);
            for (int i = 0; i < shape.x; ++i) {
                const double photons = (units * double{expected[i]} + ground_) / perPhoton_;
                sum += DivergenceTerm(double{count[i]}, std::max(photons, kLeastExpected));
            }
        }
    }
    values_.push_back(sum / static_cast<double>(counts_.samples().size()));
    enough_ = ends_ && HasTurned(values_);
}

}  // namespace rydecon
