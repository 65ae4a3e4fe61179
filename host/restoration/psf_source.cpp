// SPDX-License-Identifier: MIT
#include "restoration/psf_source.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "io/file_error.h"

namespace rydecon {

namespace {

/// Index of an offset from the peak in a period of `side` samples; -1 where the offset does not fit.
int WrappedIndex(int offset, int side) {
    if (offset < -(side / 2) || offset > (side - 1) / 2) return -1;
    return offset < 0 ? offset + side : offset;
}

/// Divides the image columns by their sum, in double.
void NormalizeSum(const PaddedVolume& volume, const std::filesystem::path& path) {
    const Extent side = volume.logical();
    double sum = 0.0;
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) {
            const float* const row = volume.Row(j, k);
            for (int i = 0; i < side.x; ++i) sum += row[i];
        }
    }
    if (!(sum > 0.0)) {
        throw ReadError(path, "the PSF has no sample above 0; a PSF of positive sum is needed");
    }
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) {
            float* const row = volume.Row(j, k);
            for (int i = 0; i < side.x; ++i) row[i] = static_cast<float>(row[i] / sum);
        }
    }
}

}  // namespace

PsfSource::PsfSource(const std::filesystem::path& path, const Messages& messages)
    : path_(path), messages_(messages), reader_(path, messages) {
    FindPeak();
    FindReach();
}

template <class Visit>
void PsfSource::ForEachRow(Visit visit) {
    const StackHeader& h = header();
    std::vector<float> plane(static_cast<std::size_t>(h.width) * static_cast<std::size_t>(h.height));
    for (int k = 0; k < h.planes; ++k) {
        reader_.ReadPlane(k, plane.data(), h.width);
        for (int j = 0; j < h.height; ++j) visit(plane.data() + std::ptrdiff_t{j} * h.width, j, k);
    }
}

void PsfSource::FindPeak() {
    const int width = header().width;
    float largest = -std::numeric_limits<float>::infinity();
    long long nonFinite = 0;
    long long count = 0;
    double sumX = 0.0;
    double sumY = 0.0;
    double sumZ = 0.0;
    ForEachRow([&](const float* row, int j, int k) {
        for (int i = 0; i < width; ++i) {
            if (!std::isfinite(row[i])) {
                ++nonFinite;
            } else if (row[i] >= largest) {
                if (row[i] > largest) sumX = sumY = sumZ = static_cast<double>(count = 0);
                largest = row[i];
                sumX += i;
                sumY += j;
                sumZ += k;
                ++count;
            }
        }
    });
    if (nonFinite > 0) {
        throw ReadError(path_, std::to_string(nonFinite) +
                                   " samples of the PSF are NaN or infinite; all must be finite numbers");
    }
    if (!(largest > 0.0f)) {
        throw ReadError(path_, "the PSF has no sample above 0; a PSF of positive sum is needed");
    }
    const auto middle = [count](double sum) {
        return static_cast<int>(std::floor(sum / static_cast<double>(count)));
    };
    peak_ = {middle(sumX), middle(sumY), middle(sumZ)};
    peakValue_ = largest;
}

void PsfSource::FindReach() {
    const int width = header().width;
    const float level = kReachLevel * peakValue_;
    Extent first = peak_;
    Extent last = peak_;
    ForEachRow([&](const float* row, int j, int k) {
        for (int i = 0; i < width; ++i) {
            if (!(row[i] > level)) continue;
            first = {std::min(first.x, i), std::min(first.y, j), std::min(first.z, k)};
            last = {std::max(last.x, i), std::max(last.y, j), std::max(last.z, k)};
        }
    });
    reach_.low = {peak_.x - first.x, peak_.y - first.y, peak_.z - first.z};
    reach_.high = {last.x - peak_.x, last.y - peak_.y, last.z - peak_.z};
}

void PsfSource::LayOut(const PaddedVolume& volume) {
    const int width = header().width;
    const Extent side = volume.logical();
    double cut = 0.0;
    double kept = 0.0;
    bool larger = false;
    long long negative = 0;
    ForEachRow([&](const float* row, int j, int k) {
        const int toJ = WrappedIndex(j - peak_.y, side.y);
        const int toK = WrappedIndex(k - peak_.z, side.z);
        for (int i = 0; i < width; ++i) {
            const int toI = WrappedIndex(i - peak_.x, side.x);
            const float sample = std::max(row[i], 0.0f);
            if (row[i] < 0.0f) ++negative;
            if (toI < 0 || toJ < 0 || toK < 0) {
                cut += sample;
                larger = true;
                continue;
            }
            kept += sample;
            volume.Row(toJ, toK)[toI] = sample;
        }
    });
    if (negative > 0) {
        messages_.Note(Quoted(path_) + ": " + std::to_string(negative) +
                       " negative samples of the PSF are set to 0");
    }
    if (larger) {
        char percent[32];
        std::snprintf(percent, sizeof percent, "%.3g", 100.0 * cut / (cut + kept));
        messages_.Note(Quoted(path_) + ": the PSF is larger than the volume of " + ToString(side) +
                       " samples and is cropped around its peak; " + percent + " % of its sum is cut off");
    }
    NormalizeSum(volume, path_);
}

}  // namespace rydecon
