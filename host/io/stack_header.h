// SPDX-License-Identifier: MIT
#pragma once

// What the program knows of a stack besides its samples.
//
// A stack is a box of planes: `slices` along z, in `channels`, at `times`. Axes come from the metadata of the file,
// never from a guess; the pages of a TIFF file without metadata are slices.

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "io/sample_conversion.h"

namespace rydecon {

/// Place of a plane in its stack, each counted from 0.
struct PlaneIndex {
    int z = 0;
    int c = 0;
    int t = 0;

    bool operator==(const PlaneIndex&) const = default;
};

/// Distances of samples in micrometres; empty where the file does not tell.
struct VoxelSize {
    std::optional<double> x;
    std::optional<double> y;
    std::optional<double> z;
};

/// Time from one time point to the next, in the unit that the file uses ("s", "ms", ...).
struct TimeStep {
    double value = 0.0;
    std::string unit = "s";
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

using Rgb = std::array<std::uint8_t, 3>;

/// What differs from channel to channel; lengths in micrometres.
struct ChannelRecord {
    std::string name;
    std::optional<double> emission;
    std::optional<double> excitation;
    std::optional<double> pinhole;
    std::string acquisitionMode;
    std::optional<Rgb> colour;         // of the brightest sample on the screen
    std::vector<std::uint8_t> lookup;  // ImageJ's table: 256 reds, 256 greens, 256 blues; else empty
};

/// Who understands the metadata of the file.
enum class Container { ImageJ, Ome, PlainTiff, Png };

/// "ImageJ TIFF", ...
std::string NameOf(Container container);

/// Which stacks a caller can work on; the others are refused in one line.
enum class Accept {
    Volume,    // grey, of one channel and one time point
    AnyStack,  // colour counts as channels
};

/// Shape in samples, sample type as the file has it, and what the metadata tell.
struct StackHeader {
    int width = 0;
    int height = 0;
    int slices = 1;
    int channels = 1;
    int times = 1;
    SampleType sampleType = SampleType::Float32;
    std::optional<int> significantBits;  // of integer samples, where less than the type has
    VoxelSize voxel;
    std::string voxelSource;  // which of the metadata told the voxel size: "OME-XML", ...
    std::optional<TimeStep> timeStep;
    ImageOptics optics;                  // of the first channel; OpticsOf tells another's
    std::vector<ChannelRecord> channel;  // one a channel, or none where nothing is told
    Container container = Container::ImageJ;
    std::endian byteOrder = std::endian::native;
    std::string info;  // ImageJ's free text, kept from file to file

    int planes() const { return slices * channels * times; }
};

/// Plane k where planes are counted z by z, then channel by channel, then time by time.
PlaneIndex PlaneAt(const StackHeader& header, int k);

/// The record of channel c, or an empty one.
ChannelRecord RecordOf(const StackHeader& header, int c);

/// The optics of channel c: what all channels share, with the wavelengths, pinhole and mode of this one.
ImageOptics OpticsOf(const StackHeader& header, int c);

}  // namespace rydecon
