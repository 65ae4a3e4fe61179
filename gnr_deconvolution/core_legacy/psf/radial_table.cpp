// SPDX-License-Identifier: MIT
#include "psf/radial_table.h"

#include <algorithm>
#include <cmath>

#include "detail/parallel.h"

namespace gnr::detail {

GridAxis GridAxis::Centered(std::int32_t length) {
    const std::int32_t middle = length / 2;
    return {length, middle, middle, middle + 1};
}

GridAxis GridAxis::Wrapped(std::int32_t length, std::int32_t offsets) {
    return {length, 0, length, offsets};
}

std::int32_t GridAxis::PlacesAhead() const {
    return std::clamp(length - ahead, 0, offsets);
}

std::int32_t GridAxis::PlacesBehind() const {
    return std::min(behind + 1, offsets);
}

RadialLayout::RadialLayout(const GridAxis& columns, const GridAxis& rows, double stepsPerSample,
                           std::size_t entries)
    : columns_(columns), rows_(rows) {
    columns_.offsets = std::max(columns_.offsets, 0);
    rows_.offsets = std::max(rows_.offsets, 0);
    const auto across = static_cast<std::size_t>(columns_.offsets);
    const auto down = static_cast<std::size_t>(rows_.offsets);
    entry_.resize(across * down);
    fraction_.resize(across * down);
    covered_.resize(down);

    const double end = static_cast<double>(entries) - 1.0;
    ParallelFor(rows_.offsets, [=, this](std::int64_t v) {
        const std::size_t first = static_cast<std::size_t>(v) * across;
        std::int32_t u = 0;
        for (; u < columns_.offsets; ++u) {
            const double x = stepsPerSample * std::sqrt(static_cast<double>(v * v + std::int64_t{u} * u));
            if (!(x < end)) break;
            const std::size_t place = first + static_cast<std::size_t>(u);
            entry_[place] = static_cast<std::int32_t>(x);
            fraction_[place] = x - entry_[place];
        }
        covered_[static_cast<std::size_t>(v)] = u;
    });
}

/// The rows at offsets v and -v.
void RadialLayout::LayRows(const RadialTable& table, std::int64_t v, float* plane,
                           std::int64_t rowLength) const {
    float* const ahead = v < rows_.PlacesAhead() ? plane + (rows_.ahead + v) * rowLength : nullptr;
    float* const behind =
        v > 0 && v < rows_.PlacesBehind() ? plane + (rows_.behind - v) * rowLength : nullptr;
    if (ahead != nullptr) Interpolate(table, v, ahead);
    if (ahead != nullptr && behind != nullptr) CopySamples(ahead, behind);
    if (ahead == nullptr && behind != nullptr) Interpolate(table, v, behind);
}

void RadialLayout::Interpolate(const RadialTable& table, std::int64_t v, float* row) const {
    const std::int64_t first = v * columns_.offsets;
    const std::int32_t* const entry = entry_.data() + first;
    const double* const fraction = fraction_.data() + first;
    const std::int32_t covered = covered_[static_cast<std::size_t>(v)];
    const auto sample = [=, &table](std::int32_t u) {
        if (u >= covered) return 0.0f;
        const double* const at = table.data() + entry[u];
        return static_cast<float>((1.0 - fraction[u]) * at[0] + fraction[u] * at[1]);
    };
    const std::int32_t placesAhead = columns_.PlacesAhead();
    const std::int32_t placesBehind = columns_.PlacesBehind();
    float* const ahead = row + columns_.ahead;
    float* const behind = row + columns_.behind;
    for (std::int32_t u = 0; u < placesAhead; ++u) ahead[u] = sample(u);
    for (std::int32_t u = 1; u < placesBehind; ++u) behind[-u] = u < placesAhead ? ahead[u] : sample(u);
}

void RadialLayout::CopySamples(const float* from, float* to) const {
    std::copy_n(from + columns_.ahead, columns_.PlacesAhead(), to + columns_.ahead);
    const std::int32_t behind = columns_.PlacesBehind() - 1;
    if (behind > 0) std::copy_n(from + columns_.behind - behind, behind, to + columns_.behind - behind);
}

}  // namespace gnr::detail
