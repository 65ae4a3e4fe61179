// SPDX-License-Identifier: MIT

#include "report/html/report_views.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "report/user_error.h"

namespace rydecon {
namespace {

int Reduced(int side, int reduction) {
    return (side + reduction - 1) / reduction;
}

/// The largest of reduction * reduction neighbours; fewer at the far borders.
SamplePicture Reduce(const std::vector<float>& samples, int width, int height, int reduction) {
    SamplePicture picture{Reduced(width, reduction), Reduced(height, reduction), {}};
    picture.samples.assign(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height),
                           std::numeric_limits<float>::quiet_NaN());
    auto sample = samples.begin();
    for (int j = 0; j < height; ++j) {
        float* const row =
            picture.samples.data() + static_cast<std::ptrdiff_t>(j / reduction) * picture.width;
        for (int i = 0; i < width; ++i, ++sample) {
            float& largest = row[i / reduction];
            if (!(largest >= *sample)) largest = *sample;
        }
    }
    return picture;
}

int ReductionOf(int width, int height, int planes) {
    return Reduced(std::max({width, height, planes, 1}), kLongestReportPicture);
}

}  // namespace

std::uint64_t BytesOfViews(int width, int height, int planes) {
    constexpr std::uint64_t kImages = 2;
    const int reduction = ReductionOf(width, height, planes);
    const auto across = static_cast<std::uint64_t>(Reduced(width, reduction));
    const auto down = static_cast<std::uint64_t>(Reduced(height, reduction));
    const auto deep = planes < 2 ? 0 : static_cast<std::uint64_t>(Reduced(planes, reduction));
    const std::uint64_t pictures = sizeof(float) * (across * down + deep * (across + down));
    const std::uint64_t charts =
        sizeof(std::uint64_t) * kMostHistogramBins + sizeof(double) * std::uint64_t{kMostRings};
    return kImages * (pictures + charts);
}

ImageViews::ImageViews(const StackHeader& header)
    : projections_(header),
      sums_(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height)) {}

void ImageViews::AddPlane(const float* samples, std::ptrdiff_t rowLength) {
    const auto width = static_cast<std::size_t>(projections_.header().width);
    projections_.AddPlane(samples, rowLength);
    const float* row = samples;
    for (std::size_t n = 0; n < sums_.size(); n += width, row += rowLength) {
        histogram_.AddRow(row, width);
        for (std::size_t i = 0; i < width; ++i) {
            if (std::isfinite(row[i])) sums_[n + i] += row[i];
        }
    }
    ++planes_;
}

OrthogonalViews ImageViews::Pictures(int reduction) const {
    const StackHeader& header = projections_.header();
    OrthogonalViews views;
    views.xy = Reduce(projections_.xy(), header.width, header.height, reduction);
    if (header.planes() < 2) return views;
    views.xz = Reduce(projections_.xz(), header.width, header.planes(), reduction);
    views.yz = Reduce(projections_.yz(), header.planes(), header.height, reduction);
    return views;
}

ImageNumbers ImageViews::Numbers() const {
    ImageNumbers numbers;
    numbers.sum = std::accumulate(sums_.begin(), sums_.end(), 0.0);
    numbers.least = histogram_.least();
    numbers.largest = histogram_.largest();
    numbers.nonFinite = projections_.nonFinite();
    numbers.finite = sums_.size() * static_cast<std::uint64_t>(planes_) - numbers.nonFinite;
    return numbers;
}

std::vector<double> ImageViews::MeanPlane() const {
    std::vector<double> mean = sums_;
    for (double& sample : mean) sample /= std::max(planes_, 1);
    return mean;
}

ReportViews::ReportViews(const StackHeader& header) : header_(header), before_(header), after_(header) {}

SpectrumPair ReportViews::Spectra() const {
    SpectrumPair pair;
    pair.rings = RingsOf(header_);
    try {
        pair.before = RadialPower(before_.MeanPlane(), header_, pair.rings);
        pair.after = RadialPower(after_.MeanPlane(), header_, pair.rings);
    } catch (const UserError&) {
        return {};
    }
    const ImageNumbers numbers = before_.Numbers();
    const double mean = numbers.finite > 0 ? numbers.sum / static_cast<double>(numbers.finite) : 0.0;
    if (mean == 0.0) return pair;
    for (auto* const powers : {&pair.before, &pair.after}) {
        for (double& power : *powers) power /= mean * mean;
    }
    return pair;
}

VolumeViews ReportViews::Finish() const {
    VolumeViews views;
    views.header = header_;
    views.reduction = ReductionOf(header_.width, header_.height, header_.planes());
    views.before = before_.Pictures(views.reduction);
    views.after = after_.Pictures(views.reduction);
    views.numbersBefore = before_.Numbers();
    views.numbersAfter = after_.Numbers();
    views.histogram = OnSameBins(before_.histogram(), after_.histogram(), kMostHistogramBins);
    views.spectrum = Spectra();
    return views;
}

}  // namespace rydecon
