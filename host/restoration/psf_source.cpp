// SPDX-License-Identifier: MIT
#include "restoration/psf_source.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

#include "io/sample_words.h"

namespace rydecon {

namespace {

/// Index of an offset from the peak in a period of `side` samples; -1 where the offset does not fit.
int WrappedIndex(int offset, int side) {
    if (offset < -(side / 2) || offset > (side - 1) / 2) return -1;
    return offset < 0 ? offset + side : offset;
}

/// Divides the image columns by their sum, in double.
void NormalizeSum(const PaddedVolume& volume, const PsfRows& rows) {
    const Extent side = volume.logical();
    double sum = 0.0;
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) {
            const float* const row = volume.Row(j, k);
            for (int i = 0; i < side.x; ++i) sum += row[i];
        }
    }
    if (!(sum > 0.0)) throw rows.Refusal(kNoPositiveSum);
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) {
            float* const row = volume.Row(j, k);
            for (int i = 0; i < side.x; ++i) row[i] = static_cast<float>(row[i] / sum);
        }
    }
}

}  // namespace

PsfSource::PsfSource(std::unique_ptr<PsfRows> rows, const Messages& messages)
    : rows_(std::move(rows)), messages_(messages) {
    const PsfPeak peak = FindPeak(*rows_);
    peak_ = peak.position;
    peakValue_ = peak.value;
    FindReach();
}

void PsfSource::FindReach() {
    const int width = rows_->size().x;
    const float level = kReachLevel * peakValue_;
    Extent first = peak_;
    Extent last = peak_;
    rows_->ForEachRow([&](const float* row, int j, int k) {
        for (int i = 0; i < width; ++i) {
            if (!(row[i] > level)) continue;
            first = {std::min(first.x, i), std::min(first.y, j), std::min(first.z, k)};
            last = {std::max(last.x, i), std::max(last.y, j), std::max(last.z, k)};
        }
    });
    reach_.low = {peak_.x - first.x, peak_.y - first.y, peak_.z - first.z};
    reach_.high = {last.x - peak_.x, last.y - peak_.y, last.z - peak_.z};
}

std::uint32_t PsfSource::Checksum() {
    const Extent side = rows_->size();
    const auto extend = [](std::uint32_t checksum, const void* bytes, std::size_t count) {
        return static_cast<std::uint32_t>(crc32_z(checksum, static_cast<const Bytef*>(bytes), count));
    };
    std::uint32_t checksum = extend(0, &side, sizeof side);
    rows_->ForEachRow([&](const float* row, int, int) {
        checksum = extend(checksum, row, sizeof(float) * static_cast<std::size_t>(side.x));
    });
    return checksum;
}

void PsfSource::LayOut(const PaddedVolume& volume) {
    const int width = rows_->size().x;
    const Extent side = volume.logical();
    double cut = 0.0;
    double kept = 0.0;
    bool larger = false;
    long long negative = 0;
    rows_->ForEachRow([&](const float* row, int j, int k) {
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
    if (negative > 0 && !told_) {
        messages_.Note(rows_->name() + ": " + NegativeNote(negative, " of the PSF"));
    }
    if (larger && !told_) {
        char percent[32];
        std::snprintf(percent, sizeof percent, "%.3g", 100.0 * cut / (cut + kept));
        messages_.Note(rows_->name() + ": the PSF is larger than the volume of " + ToString(side) +
                       " samples and is cropped around its peak; " + percent + " % of its sum is cut off");
    }
    told_ = true;
    NormalizeSum(volume, *rows_);
}

}  // namespace rydecon
