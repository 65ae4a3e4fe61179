// SPDX-License-Identifier: MIT
#pragma once

// Reports of restorations that never ran, for tests of the page.

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "report/html/psf_sections.h"
#include "report/html/report_views.h"
#include "report/html/restoration_report.h"
#include "volume/padded_volume.h"

namespace rydecon::test {

inline StackHeader HeaderOfShape(int width, int height, int planes, const VoxelSize& voxel = {}) {
    StackHeader header;
    header.width = width;
    header.height = height;
    header.slices = planes;
    header.voxel = voxel;
    return header;
}

/// A bent filament and two shells, `blur` samples wide, on a background; other seeds shift them.
inline float SceneSample(const StackHeader& header, double i, double j, double k, double blur, int seed) {
    const double x = i / header.width - 0.5;
    const double y = j / header.height - 0.5;
    const double z = header.planes() > 1 ? k / (header.planes() - 1) - 0.5 : 0.0;
    const double width = 0.008 + 0.008 * blur;
    const auto ridge = [&](double distance, double depth) {
        return std::exp(-distance * distance / (2.0 * width * width) - depth * depth / (0.02 + 0.05 * blur));
    };
    double light =
        12.0 +
        std::fmod(std::abs(std::sin(i * 12.9898 + j * 78.233 + k * 37.719 + seed) * 43758.5), 1.0) * 6.0;
    light += 900.0 / (1.0 + 2.0 * blur) * ridge(y - 0.22 * std::sin(7.0 * x + seed), z - 0.4 * x);
    light += 700.0 / (1.0 + 2.0 * blur) * ridge(std::hypot(x + 0.2, y + 0.15) - 0.13, z + 0.1);
    light += 1200.0 / (1.0 + 2.0 * blur) * ridge(std::hypot(x - 0.22, y - 0.12) - 0.06, z);
    return static_cast<float>(light);
}

/// The views of a blurred scene and of a sharper one, their planes in padded rows.
inline VolumeViews ViewsOfScene(const StackHeader& header, int seed = 0) {
    ReportViews views(header);
    const int rowLength = header.width + 2;
    std::vector<float> plane(static_cast<std::size_t>(rowLength) * static_cast<std::size_t>(header.height),
                             -1e9f);
    for (const double blur : {1.5, 0.3}) {
        for (int k = 0; k < header.planes(); ++k) {
            for (int j = 0; j < header.height; ++j) {
                for (int i = 0; i < header.width; ++i) {
                    plane[static_cast<std::size_t>(j * rowLength + i)] =
                        SceneSample(header, i, j, k, blur, seed);
                }
            }
            blur > 1.0 ? views.AddBefore(plane.data(), rowLength) : views.AddAfter(plane.data(), rowLength);
        }
    }
    return views.Finish();
}

/// An hourglass, wrapped around a volume of its own.
inline ReportPsf PsfOfScene(const VoxelSize& voxel) {
    const Extent side = {32, 31, 41};
    const PaddedVolume psf(side);
    const auto wrap = [](int at, int period) { return at > period / 2 ? at - period : at; };
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) {
            for (int i = 0; i < side.x; ++i) {
                const double r = std::hypot(wrap(i, side.x), wrap(j, side.y));
                const double width = 1.6 + 0.5 * std::abs(wrap(k, side.z));
                psf.Row(j, k)[i] =
                    static_cast<float>(std::exp(-r * r / (2.0 * width * width)) / (width * width));
            }
        }
    }
    ReportPsf report = DescribeWrappedPsf(psf, side, voxel);
    report.name = "PSF used";
    report.source = "optics, layered model";
    return report;
}

inline VolumeReport VolumeOfScene(const StackHeader& header, int seed = 0) {
    VolumeReport volume;
    volume.iterations = 32U - static_cast<unsigned>(seed);
    volume.stopReason = "ended by its stop test";
    volume.seconds = 4.1 + seed;
    volume.views = ViewsOfScene(header, seed);
    volume.fluxIn = volume.views->numbersBefore.sum;
    volume.fluxOut = volume.views->numbersAfter.sum;
    volume.convergence.label = "mean I-divergence";
    for (int n = 1; n <= 32 - seed; ++n) {
        volume.convergence.points.push_back({static_cast<double>(n), 0.004 + 1.4 * std::exp(-0.31 * n)});
    }
    return volume;
}

/// A report about volumes of this shape, complete but for the volumes themselves.
inline RestorationReport ReportOfShape(const StackHeader& header) {
    RestorationReport report;
    report.programVersion = "1.2.3";
    report.created = "2026-01-31 12:00";
    report.input = "cells.tif";
    report.output = "restored.tif";
    report.width = header.width;
    report.height = header.height;
    report.planes = header.planes();
    report.voxel = header.voxel;
    report.method = "accelerated";
    report.regularized = false;
    report.psfOrigin = PsfOrigin::Layered;
    report.psf = "modality widefield, numerical aperture 1.4, refractive index 1.515, emission 525 nm";
    report.settings = {{"--iterations", "50", "default"},
                       {"--regularization", "1", "default"},
                       {"--stop-ratio", "1.0007", "command line"},
                       {"numerical aperture", "1.4", "OME-XML"}};
    report.timings = {
        {"reading", 0.31}, {"point spread function", 1.24}, {"restoration", 64.2}, {"writing", 0.4}};
    report.seconds = 66.15;
    report.peakMemory = 812e6;
    return report;
}

}  // namespace rydecon::test
