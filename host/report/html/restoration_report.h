// SPDX-License-Identifier: MIT
#pragma once

// What a report tells about a restoration. All texts are plain UTF-8; the page escapes them.

#include <optional>
#include <string>
#include <vector>

#include "io/stack_header.h"
#include "report/html/volume_views.h"

namespace rydecon {

/// One row of the table of settings.
struct ReportSetting {
    std::string name;    ///< "--iterations", "numerical aperture"
    std::string value;   ///< with its unit
    std::string source;  ///< "command line", "default", "OME-XML"
};

struct ReportTiming {
    std::string step;
    double seconds = 0.0;
};

struct CurvePoint {
    double iteration = 0.0;
    double value = 0.0;  ///< a value that is not finite leaves a gap
};

struct ReportCurve {
    std::string label;  ///< of the values: "I-divergence"
    std::vector<CurvePoint> points;
};

/// A PSF: sections through its largest sample, and its widths.
struct ReportPsf {
    std::string name;    ///< "PSF", "refined PSF"
    std::string source;  ///< "computed from the optics", a file name
    VoxelSize voxel;
    SamplePicture xy;
    SamplePicture xz;  ///< empty for a single plane
    /// Full widths at half maximum in samples; empty where a profile does not fall to its half.
    std::optional<double> widthX;
    std::optional<double> widthY;
    std::optional<double> widthZ;
};

/// One channel at one time.
struct VolumeReport {
    std::string name;                    ///< "channel 2 (GFP), time 5, plane 7"; in place of the next two
    std::string channel;                 ///< name; empty where there is only one
    std::string time;                    ///< "3", "12.5 s"; empty where there is only one
    std::optional<unsigned> iterations;  ///< empty for a direct method
    std::string rounds = "iterations";   ///< what was counted, in the plural
    std::string stopReason;              ///< "the limit", "ended by its stop test"; stands in parentheses
    double seconds = 0.0;
    std::optional<double> fluxIn;  ///< sum of the samples
    std::optional<double> fluxOut;
    ReportCurve convergence;  ///< no points: no chart, and the page says so
    ReportCurve agreement;    ///< of a run on two halves of the data; no points: not mentioned
    std::vector<ReportPsf> psfs;
    std::vector<std::string> warnings;
    /// Emission cut-off 2 NA / wavelength in cycles per micrometre, marked in the spectra.
    std::optional<double> cutOff;
    std::optional<VolumeViews> views;  ///< empty: numbers only
};

/// Where the PSF came from, for the methods paragraph and its literature.
enum class PsfOrigin { File, Layered, Fast };

struct RestorationReport {
    std::string title;           ///< empty: made of the input's name
    std::string programVersion;  ///< "0.1.0"
    std::string created;         ///< date and time; empty: not told
    std::string input;
    std::string output;
    int width = 0;  ///< of one volume, in samples
    int height = 0;
    int planes = 0;
    VoxelSize voxel;
    std::string method;       ///< as --method names it
    bool perPicture = false;  ///< the method is one for pictures
    /// False where the regularization in use does nothing: 1 of `accelerated`, 0 of the others.
    bool regularized = true;
    PsfOrigin psfOrigin = PsfOrigin::File;
    std::string psf;  ///< file name, or "modality widefield, ..."
    std::vector<ReportSetting> settings;
    std::vector<VolumeReport> volumes;
    std::vector<ReportTiming> timings;
    double seconds = 0.0;
    std::optional<double> peakMemory;   ///< bytes
    std::vector<std::string> warnings;  ///< of the run as a whole
};

/// Volumes of a report that have pictures: more would make it too large to open.
inline constexpr int kMostVolumesWithViews = 24;

/// True for the volumes, out of `count`, that should have views: all, or kMostVolumesWithViews of them spread
/// evenly from the first to the last.
constexpr bool ShowsViews(int index, int count) {
    if (count <= kMostVolumesWithViews) return true;
    const long steps = kMostVolumesWithViews - 1;
    const long last = count - 1;
    const long nearest = (index * steps + last / 2) / last;
    return (nearest * last + steps / 2) / steps == index;
}

}  // namespace rydecon
