// SPDX-License-Identifier: MIT
#include "restoration/stack_volume.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "io/file_error.h"
#include "io/sample_words.h"
#include "report/stop_request.h"

namespace rydecon {

namespace {

/// Largest sum of a frame in single precision, with room for the products of a transform.
constexpr double kLargestSum = 1.0e30;

/// Smallest sum beside which the library's guard of 1e-10 is a rounding error.
constexpr double kSmallestSum = 1.0e-4;

std::string WithNumber(const char* text, double number) {
    char line[200];
    std::snprintf(line, sizeof line, text, number);
    return line;
}

}  // namespace

void SampleRange::Add(const float* row, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        nonFinite += std::isfinite(row[i]) ? 0 : 1;
        negative += row[i] < 0.0f ? 1 : 0;
        positiveSum += std::max(row[i], 0.0f);
        least = std::min(least, row[i]);
        largest = std::max(largest, row[i]);
    }
}

void RefuseNonFinite(const SampleRange& range, const std::filesystem::path& path) {
    if (range.nonFinite == 0) return;
    throw ReadError(path, NonFiniteReason(range.nonFinite, ""));
}

void NoteNegative(const SampleRange& range, const std::filesystem::path& path, const Messages& messages) {
    if (range.negative == 0) return;
    messages.Note(Quoted(path) + ": " + NegativeNote(range.negative, " of the image"));
}

StackHeader WithStatedVoxel(StackHeader header, const Optics& optics) {
    if (const auto& pixel = optics[Quantity::Pixel]) header.voxel.x = header.voxel.y = pixel->value;
    if (const auto& step = optics[Quantity::ZStep]) header.voxel.z = step->value;
    return header;
}

SampleRange LoadStack(StackReader& reader, const std::filesystem::path& path, const PaddedVolume& volume) {
    const Extent shape = ShapeOf(reader.header());
    SampleRange range;
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        reader.ReadPlane(k, volume.Plane(k), volume.sizes().rowLength);
        for (int j = 0; j < shape.y; ++j) range.Add(volume.Row(j, k), static_cast<std::size_t>(shape.x));
    }
    RefuseNonFinite(range, path);
    return range;
}

void RefuseUnfitRange(const SampleRange& range, const std::filesystem::path& path, const Extent& frame) {
    const bool dark = range.largest <= 0.0f;
    if (dark && range.least < 0.0f) {
        throw ReadError(path, "no sample lies above 0; an image of intensities is needed");
    }
    const double samples = static_cast<double>(frame.x) * frame.y * frame.z;
    const double largest = std::max(std::abs(double{range.least}), std::abs(double{range.largest}));
    if (largest * samples > kLargestSum) {
        throw ReadError(path, WithNumber("samples as large as %g are beyond single precision once they are "
                                         "summed; divide the stack by a constant",
                                         largest));
    }
    if (!dark && range.positiveSum < kSmallestSum) {
        throw ReadError(path, WithNumber("the samples sum to %.3g, too little for single precision; multiply "
                                         "the stack by a constant",
                                         range.positiveSum));
    }
}

void CutNegative(const PaddedVolume& volume, const Extent& shape) {
    for (int k = 0; k < shape.z; ++k) {
        for (int j = 0; j < shape.y; ++j) {
            float* const row = volume.Row(j, k);
            for (int i = 0; i < shape.x; ++i) row[i] = std::max(row[i], 0.0f);
        }
    }
}

}  // namespace rydecon
