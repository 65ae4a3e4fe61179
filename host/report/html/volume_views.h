// SPDX-License-Identifier: MIT
#pragma once

// What a report shows of one volume before and after its restoration; small, whatever the volume.

#include <cstdint>
#include <vector>

#include "io/stack_header.h"
#include "report/html/radial_spectrum.h"
#include "report/html/value_histogram.h"

namespace rydecon {

/// Samples in rows; not-a-number where there is none.
struct SamplePicture {
    int width = 0;
    int height = 0;
    std::vector<float> samples;

    bool empty() const { return samples.empty(); }
};

/// Maximum projections. XZ has z downwards, YZ has z to the right; both are empty for a single plane.
struct OrthogonalViews {
    SamplePicture xy;
    SamplePicture xz;
    SamplePicture yz;
};

/// Of all finite samples of an image.
struct ImageNumbers {
    double sum = 0.0;
    float least = 0.0f;
    float largest = 0.0f;
    std::uint64_t finite = 0;
    std::uint64_t nonFinite = 0;
};

/// Mean power on rings of spatial frequency, over the squared mean of the image before, if that is not 0.
struct SpectrumPair {
    FrequencyRings rings;
    std::vector<double> before;
    std::vector<double> after;
};

struct VolumeViews {
    StackHeader header;  // of the volume, not of the pictures
    int reduction = 1;   // samples along each axis of which the pictures show the largest
    OrthogonalViews before;
    OrthogonalViews after;
    ImageNumbers numbersBefore;
    ImageNumbers numbersAfter;
    HistogramPair histogram;
    SpectrumPair spectrum;
};

}  // namespace rydecon
