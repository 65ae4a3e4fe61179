// SPDX-License-Identifier: MIT

#include "report/similarity.h"

#include <algorithm>
#include <cmath>

namespace rydecon {

void SimilaritySums::Range::Add(float sample) {
    least = std::min(least, sample);
    largest = std::max(largest, sample);
}

void SimilaritySums::AddPlane(const float* a, const float* b, std::size_t samples) {
    double sumA = 0.0;
    double sumB = 0.0;
    for (std::size_t i = 0; i < samples; ++i) {
        nonFiniteA_ += std::isfinite(a[i]) ? 0 : 1;
        nonFiniteB_ += std::isfinite(b[i]) ? 0 : 1;
        rangeA_.Add(a[i]);
        rangeB_.Add(b[i]);
        sumA += a[i];
        sumB += b[i];
        const double difference = static_cast<double>(a[i]) - b[i];
        squaredDifference_ += difference * difference;
    }

    const auto count = static_cast<double>(samples);
    const double meanA = sumA / count;
    const double meanB = sumB / count;
    for (std::size_t i = 0; i < samples; ++i) {
        const double fromMeanA = a[i] - meanA;
        const double fromMeanB = b[i] - meanB;
        squareA_ += fromMeanA * fromMeanA;
        squareB_ += fromMeanB * fromMeanB;
        product_ += fromMeanA * fromMeanB;
    }

    if (count_ > 0.0) {
        const double gapA = meanA - sumA_ / count_;
        const double gapB = meanB - sumB_ / count_;
        const double weight = count_ * count / (count_ + count);
        squareA_ += gapA * gapA * weight;
        squareB_ += gapB * gapB * weight;
        product_ += gapA * gapB * weight;
    }
    count_ += count;
    sumA_ += sumA;
    sumB_ += sumB;
}

Similarity SimilaritySums::Result() const {
    Similarity result;
    result.rmse = std::sqrt(squaredDifference_ / count_);
    if (rangeB_.largest > 0.0f) result.psnr = 20.0 * std::log10(rangeB_.largest / result.rmse);
    if (!rangeA_.Constant() && !rangeB_.Constant()) {
        const double correlation = product_ / std::sqrt(squareA_) / std::sqrt(squareB_);
        result.pearson = std::clamp(correlation, -1.0, 1.0);
    }
    if (sumB_ != 0.0) result.fluxRatio = sumA_ / sumB_;
    return result;
}

}  // namespace rydecon
