// SPDX-License-Identifier: MIT
#include "restoration/psf_rows.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "io/file_error.h"
#include "io/sample_words.h"
#include "restoration/stack_volume.h"

namespace rydecon {

std::string FilePsfRows::name() const {
    return Quoted(path_);
}

Extent FilePsfRows::size() const {
    return ShapeOf(header());
}

void FilePsfRows::ForEachRow(const Visit& visit) {
    const Extent side = size();
    std::vector<float> plane(static_cast<std::size_t>(side.x) * static_cast<std::size_t>(side.y));
    for (int k = 0; k < side.z; ++k) {
        reader_.ReadPlane(k, plane.data(), side.x);
        for (int j = 0; j < side.y; ++j) visit(plane.data() + std::ptrdiff_t{j} * side.x, j, k);
    }
}

UserError FilePsfRows::Refusal(const std::string& reason) const {
    return ReadError(path_, reason);
}

void BoxPsfRows::ForEachRow(const Visit& visit) {
    const Extent side = size();
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) visit(samples_.Row(j, k), j, k);
    }
}

void ComputedPsfRows::ForEachRow(const Visit& visit) {
    const Extent side = size();
    for (int k = 0; k < side.z; ++k) {
        for (int j = 0; j < side.y; ++j) visit(psf_.Row(j, k), j, k);
    }
}

PsfPeak FindPeak(PsfRows& rows) {
    const int width = rows.size().x;
    float largest = -std::numeric_limits<float>::infinity();
    long long nonFinite = 0;
    long long count = 0;
    double sumX = 0.0;
    double sumY = 0.0;
    double sumZ = 0.0;
    rows.ForEachRow([&](const float* row, int j, int k) {
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
        throw rows.Refusal(NonFiniteReason(nonFinite, " of the PSF"));
    }
    if (!(largest > 0.0f)) throw rows.Refusal(kNoPositiveSum);
    const auto middle = [count](double sum) {
        return static_cast<int>(std::floor(sum / static_cast<double>(count)));
    };
    return {{middle(sumX), middle(sumY), middle(sumZ)}, largest};
}

}  // namespace rydecon
