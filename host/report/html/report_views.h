// SPDX-License-Identifier: MIT
#pragma once

// Gathers what a report shows of one volume, plane by plane, while it is read and while it is written.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "report/html/volume_views.h"
#include "report/projections.h"

namespace rydecon {

/// Longest side of a picture in a report; larger projections are reduced by a whole number.
inline constexpr int kLongestReportPicture = 1024;
inline constexpr int kMostHistogramBins = 256;

/// Bytes of the VolumeViews of a volume of these sides.
std::uint64_t BytesOfViews(int width, int height, int planes);

/// One image. Takes 12 bytes a pixel of a plane, and the sides of the volume.
class ImageViews {
  public:
    explicit ImageViews(const StackHeader& header);

    void AddPlane(const float* samples, std::ptrdiff_t rowLength);

    OrthogonalViews Pictures(int reduction) const;
    ImageNumbers Numbers() const;
    /// The image's mean along z.
    std::vector<double> MeanPlane() const;
    const ValueHistogram& histogram() const { return histogram_; }

  private:
    Projections projections_;
    ValueHistogram histogram_;
    std::vector<double> sums_;  // along z, of the finite samples
    int planes_ = 0;
};

/// Both images of one volume, in any order of calls; each takes its planes from the first to the last.
class ReportViews {
  public:
    /// Only the sides and the voxel size of the header count.
    explicit ReportViews(const StackHeader& header);

    /// The next plane: header.height rows of header.width samples, `rowLength` floats from row to row.
    void AddBefore(const float* plane, std::ptrdiff_t rowLength) { before_.AddPlane(plane, rowLength); }
    void AddAfter(const float* plane, std::ptrdiff_t rowLength) { after_.AddPlane(plane, rowLength); }

    /// What there is to show. Needs memory for a padded plane for a while; where there is none, the spectra
    /// stay empty.
    VolumeViews Finish() const;

  private:
    SpectrumPair Spectra() const;

    StackHeader header_;
    ImageViews before_;
    ImageViews after_;
};

}  // namespace rydecon
