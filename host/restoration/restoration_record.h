// SPDX-License-Identifier: MIT
#pragma once

// What a restoration leaves to tell: for the line at its end and for whatever is written beside its output.

#include <optional>
#include <string>
#include <vector>

#include "cleaning/cleaning.h"
#include "io/sample_encoding.h"
#include "io/stack_header.h"
#include "optics/optics.h"
#include "report/html/restoration_report.h"
#include "restoration/curve.h"
#include "restoration/split_stop.h"
#include "restoration/stack_volume.h"
#include "restoration/tile_plan.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// Why a run ended.
enum class EndOfRun {
    Direct,    ///< a method without iterations
    Limit,     ///< at --iterations
    StopTest,  ///< by the method's own rule
    Split,     ///< at the number of iterations that two halves of the photons agree best at
    Copied,    ///< nothing was restored: all samples of the image are equal
};

/// One restored volume, or one picture.
struct VolumeRecord {
    std::string name;  ///< "channel 2 (GFP), time 5"; empty where the image is no more than this
    int channel = 0;   ///< of the selection, from 0
    Extent shape;
    /// The padded volume that it was restored in, or that each of its blocks was; of a picture, which has frames
    /// by tile, empty.
    Extent frame;
    Extent blocks = {1, 1, 1};  ///< along the axes
    unsigned takenOver = 0;     ///< blocks, or whole volumes, that an earlier run had restored
    unsigned iterations = 0;  ///< for a blind method its sweeps of image and PSF; for a picture of all tiles
    unsigned limit = 0;       ///< what iterations ends at
    EndOfRun end = EndOfRun::Direct;
    SampleRange before;            ///< of the samples as read
    SampleRange after;             ///< of the restored samples
    long long negativeCut = 0;     ///< negative samples that were set to 0 before the method began
    long long clipped = 0;         ///< restored samples that the type of the file could not hold
    double fluxIn = 0.0;           ///< sum of the samples that the method began from
    double fluxOut = 0.0;          ///< sum of the restored samples
    double readSeconds = 0.0;      ///< spent on reading and padding
    double coreSeconds = 0.0;      ///< spent in the library
    double writeSeconds = 0.0;     ///< spent on writing
    std::string psf;               ///< the file in quotes, or "the computed PSF"
    std::optional<Optics> optics;  ///< of a computed PSF, each value with its source
    std::string psfWidths;         ///< of a method that refines the PSF: how its widths changed
    Cleaning cleaning;             ///< found and put right before
    std::optional<Curve> curve;    ///< how well each iterate explains the image, where asked for
    std::optional<SplitRecord> split;
    std::optional<VolumeViews> views;  ///< for a report: the image as read, and restored
    std::vector<ReportPsf> psfs;       ///< for a report: as it was, and as a blind method left it
};

/// One output file.
struct RestorationRecord {
    StackHeader header;
    std::vector<VolumeRecord> volumes;
    std::optional<TileGrid> tiles;      ///< of pictures
    std::optional<ValueRange> rescale;  ///< restored samples that became 0 and the largest integer
    double seconds = 0.0;               ///< from the first byte read to the output in its place
};

}  // namespace rydecon
