// SPDX-License-Identifier: MIT
#include "restoration/psf_resampling.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "io/sample_words.h"

namespace rydecon {

namespace {

constexpr double kLobes = 3.0;

double Sinc(double t) {
    if (t == 0.0) return 1.0;
    return std::sin(std::numbers::pi * t) / (std::numbers::pi * t);
}

double Lanczos(double t) {
    return std::abs(t) < kLobes ? Sinc(t) * Sinc(t / kLobes) : 0.0;
}

/// Weights that make one new sample out of the old ones from `first` on.
struct Tap {
    int first = 0;
    std::vector<double> weights;

    double WeightOf(int old) const {
        const std::ptrdiff_t n = std::ptrdiff_t{old} - first;
        const bool inside = n >= 0 && n < static_cast<std::ptrdiff_t>(weights.size());
        return inside ? weights[static_cast<std::size_t>(n)] : 0.0;
    }
};

/// The new sample at the place `at` on an axis of n old ones; `width` old samples a lobe.
Tap TapAt(double at, double width, int n) {
    const auto first = static_cast<int>(std::ceil(at - kLobes * width));
    const auto last = static_cast<int>(std::floor(at + kLobes * width));
    Tap tap{std::max(first, 0), {}};
    double sum = 0.0;
    for (int i = first; i <= last; ++i) {
        const double weight = Lanczos((i - at) / width);
        sum += weight;
        // Outside its volume a PSF is dark; the weight counts nevertheless.
        if (i >= 0 && i < n) tap.weights.push_back(weight);
    }
    for (double& weight : tap.weights) weight /= sum;
    return tap;
}

/// One axis: the new samples on both sides of the peak that lie on the n old ones.
std::vector<Tap> TapsOf(int n, int peak, double ratio) {
    // A step that ends on the last sample but for rounding reaches it.
    const auto steps = [=](int samples) { return static_cast<int>(std::floor(samples / ratio + 1e-9)); };
    std::vector<Tap> taps;
    for (int m = -steps(peak); m <= steps(n - 1 - peak); ++m) {
        taps.push_back(TapAt(peak + m * ratio, std::max(ratio, 1.0), n));
    }
    return taps;
}

int CountOf(const std::vector<Tap>& taps) {
    return static_cast<int>(taps.size());
}

/// Takes the rows of one old plane after the other and adds each plane to the new ones that it counts in.
class Resampler {
  public:
    Resampler(const Extent& old, std::vector<Tap> x, std::vector<Tap> y, std::vector<Tap> z)
        : old_(old),
          x_(std::move(x)),
          y_(std::move(y)),
          z_(std::move(z)),
          narrow_({CountOf(x_), old.y, 1}),
          plane_({CountOf(x_), CountOf(y_), 1}),
          result_({CountOf(x_), CountOf(y_), CountOf(z_)}) {}

    void TakeRow(const float* row, int j, int k) {
        float* out = narrow_.Row(j, 0);
        for (const Tap& tap : x_) {
            double sum = 0.0;
            const float* from = row + tap.first;
            for (const double weight : tap.weights) {
                if (*from > 0.0f) sum += weight * *from;
                ++from;
            }
            *out++ = static_cast<float>(sum);
        }
        negative_ += std::count_if(row, row + old_.x, [](float v) { return v < 0.0f; });
        if (j == old_.y - 1) FinishPlane(k);
    }

    long long negative() const { return negative_; }

    SampleBox Result() && {
        for (float& sample : result_.samples()) sample = std::max(sample, 0.0f);
        return std::move(result_);
    }

  private:
    void FinishPlane(int k) {
        std::fill(plane_.samples().begin(), plane_.samples().end(), 0.0f);
        for (int j = 0; j < plane_.size().y; ++j) {
            const Tap& tap = y_[static_cast<std::size_t>(j)];
            for (std::size_t n = 0; n < tap.weights.size(); ++n) {
                const float* const from = narrow_.Row(tap.first + static_cast<int>(n), 0);
                Add(tap.weights[n], from, plane_.size().x, plane_.Row(j, 0));
            }
        }
        const int samples = plane_.size().x * plane_.size().y;
        for (int m = 0; m < CountOf(z_); ++m) {
            const double weight = z_[static_cast<std::size_t>(m)].WeightOf(k);
            if (weight != 0.0) Add(weight, plane_.Row(0, 0), samples, result_.Row(0, m));
        }
    }

    static void Add(double weight, const float* from, int count, float* to) {
        for (int i = 0; i < count; ++i) to[i] = static_cast<float>(to[i] + weight * from[i]);
    }

    Extent old_;
    std::vector<Tap> x_;
    std::vector<Tap> y_;
    std::vector<Tap> z_;
    SampleBox narrow_;  // one plane, resampled along x
    SampleBox plane_;   // and along y
    SampleBox result_;
    long long negative_ = 0;
};

}  // namespace

SampleBox ResamplePsf(PsfRows& rows, const PitchRatio& ratio, const Messages& messages) {
    const Extent old = rows.size();
    const Extent peak = FindPeak(rows).position;
    Resampler resampler(old, TapsOf(old.x, peak.x, ratio.x), TapsOf(old.y, peak.y, ratio.y),
                        TapsOf(old.z, peak.z, ratio.z));
    rows.ForEachRow([&](const float* row, int j, int k) { resampler.TakeRow(row, j, k); });
    if (resampler.negative() > 0) {
        messages.Note(rows.name() + ": " + NegativeNote(resampler.negative(), " of the PSF"));
    }
    return std::move(resampler).Result();
}

}  // namespace rydecon
