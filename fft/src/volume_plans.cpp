// SPDX-License-Identifier: MIT
#include "volume_plans.h"

#include <cstdint>

namespace gnr::fft {

namespace {

/// What FFTW's alignment is counted in, in bytes.
constexpr std::uintptr_t kAlignment = 16;

std::size_t PlaceOf(const fftwf_complex* p) {
    return reinterpret_cast<std::uintptr_t>(p) % kAlignment / sizeof(fftwf_complex);
}

/// Stand for a volume and an array while plans are made.
alignas(64) float aVolume[16];
alignas(64) float anArray[16];

fftwf_complex* InVolume(std::size_t place) {
    return reinterpret_cast<fftwf_complex*>(aVolume) + place;
}

Plan PlanRow(const VolumeShape& shape, std::size_t place, bool forward) {
    const auto n = static_cast<int>(shape.columns);
    return MakeGuarded(1, [&] {
        return forward ? fftwf_plan_dft_r2c_1d(n, anArray, InVolume(place), FFTW_ESTIMATE)
                       : fftwf_plan_dft_c2r_1d(n, InVolume(place), anArray, FFTW_ESTIMATE);
    });
}

/// `count` columns of n numbers, in place: `step` from number to number, `stride` from column to column.
Plan PlanColumns(std::ptrdiff_t n, std::ptrdiff_t step, std::ptrdiff_t count, std::ptrdiff_t stride,
                 std::size_t place, bool forward) {
    const fftwf_iodim64 axis = {n, step, step};
    const fftwf_iodim64 columns = {count, stride, stride};
    return MakeGuarded(1, [&] {
        return fftwf_plan_guru64_dft(1, &axis, 1, &columns, InVolume(place), InVolume(place),
                                     forward ? FFTW_FORWARD : FFTW_BACKWARD, FFTW_ESTIMATE);
    });
}

}  // namespace

bool VolumePlans::Make(const VolumeShape& shape, const DepthLayout& depth, std::ptrdiff_t groupsOfPlane,
                       bool forward) {
    columns_ = shape.ComplexColumns();
    groups_ = groupsOfPlane;
    const std::size_t sizes = columns_ % groups_ == 0 ? 1 : 2;
    bool had = true;
    for (std::size_t place = 0; place < kPlaces; ++place) {
        row_[place] = PlanRow(shape, place, forward);
        had = had && row_[place] != nullptr;
        for (std::size_t more = 0; more < sizes; ++more) {
            const std::ptrdiff_t count = columns_ / groups_ + static_cast<std::ptrdiff_t>(more);
            group_[more][place] = PlanColumns(shape.rows, columns_, count, 1, place, forward);
            had = had && group_[more][place] != nullptr;
        }
    }
    depth_ =
        PlanColumns(shape.planes, depth.PlaneStep(), DepthLayout::kTogether, depth.ColumnStep(), 0, forward);
    return had && depth_ != nullptr;
}

void VolumePlans::ForwardRow(float* samples, fftwf_complex* row) const {
    fftwf_execute_dft_r2c(row_[PlaceOf(row)].get(), samples, row);
}
void VolumePlans::InverseRow(fftwf_complex* row, float* samples) const {
    fftwf_execute_dft_c2r(row_[PlaceOf(row)].get(), row, samples);
}

void VolumePlans::TransformColumns(fftwf_complex* plane, std::ptrdiff_t group) const {
    const std::ptrdiff_t first = columns_ * group / groups_;
    const std::ptrdiff_t count = columns_ * (group + 1) / groups_ - first;
    const auto more = static_cast<std::size_t>(count - columns_ / groups_);
    fftwf_execute_dft(group_[more][PlaceOf(plane + first)].get(), plane + first, plane + first);
}

}  // namespace gnr::fft
