// SPDX-License-Identifier: MIT
#pragma once

// How many units of an image one photon is, as told or as the noise shows.

#include <filesystem>
#include <optional>
#include <vector>

#include "volume/plane_stream.h"

namespace rydecon {

/// photons = (sample - offset) / gain
struct PhotonScale {
    double gain = 1.0;
    double offset = 0.0;
    bool gainEstimated = false;
    bool offsetEstimated = false;
};

/// What the user tells of it.
struct PhotonChoice {
    std::optional<double> gain;
    std::optional<double> offset;
};

/// The noise of samples of about one local mean.
struct TransferPoint {
    double mean = 0.0;            ///< weighted as the variance is
    double variance = 0.0;        ///< of the high-pass part with taps side by side
    double coarseVariance = 0.0;  ///< likewise, with a sample between the taps
    double samples = 0.0;
};

/// Noise against light, in up to 128 groups of local means. least and largest bound the samples.
std::vector<TransferPoint> MeasureTransfer(PlaneSource& from, double least, double largest);

/// The line variance = gain (mean - offset) through the points, weighted by what Poisson counts scatter. Points
/// whose coarse variance is more than 1.5 times the fine one show structure, not noise, and are left out. Empty
/// where fewer than two points of 200 samples or more are left, or the slope is not four times its standard
/// error. With a told offset the line goes through it, without through what the points tell.
/// Source: photon transfer, Janesick 2007 (docs/bibliography.md)
std::optional<PhotonScale> FitTransfer(const std::vector<TransferPoint>& points,
                                       std::optional<double> offset);

/// As told, completed by what the image tells; empty for an image of one level or with samples that are not
/// finite, which is not restored. Without a told offset it is 0 beside a told gain. UserError
/// where the image does not tell, and where no photon or more than 1e9 of them are in the brightest sample, or
/// samples below 0 are no counts.
std::optional<PhotonScale> FindPhotonScale(PlaneSource& from, const PhotonChoice& choice,
                                           const std::filesystem::path& path);

}  // namespace rydecon
