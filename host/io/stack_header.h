// SPDX-License-Identifier: MIT
#pragma once

// What the program knows of a stack besides its samples.

#include <optional>
#include <string>

namespace rydecon {

/// Distances of samples in micrometres; empty where the file does not tell.
struct VoxelSize {
    std::optional<double> x;
    std::optional<double> y;
    std::optional<double> z;
};

/// Optics that made the image, as far as its metadata tell; lengths in micrometres.
struct ImageOptics {
    std::optional<double> numericalAperture;
    std::optional<double> refractiveIndex;  // of the immersion medium
    std::optional<double> emission;
    std::optional<double> excitation;
    std::optional<double> pinhole;
    std::optional<double> magnification;
    std::string immersion;        // name of the medium ("Oil"), from which no number follows
    std::string acquisitionMode;  // "WideField", ..., as the file has it
    std::string source;           // which of the metadata told: "OME-XML", ...
};

/// Shape in samples, sample type as the file has it ("uint16", "float32", ...), voxel size.
struct StackHeader {
    int width = 0;
    int height = 0;
    int planes = 0;
    int channels = 1;  // planes come in groups of so many, the colours of one picture
    std::string sampleType = "float32";
    VoxelSize voxel;
    std::string voxelSource;  // which of the metadata told the voxel size: "OME-XML", ...
    ImageOptics optics;
};

}  // namespace rydecon
