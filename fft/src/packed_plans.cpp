// SPDX-License-Identifier: MIT
#include "packed_plans.h"

namespace gnr::fft {

namespace {

/// Stands for the work buffer, of which FFTW wants to know the alignment alone.
alignas(64) float alignedPlace[16];

}  // namespace

Plan PlanRows(const PackedSides& s, Direction direction) {
    float* const real = alignedPlace;
    auto* const spectrum = reinterpret_cast<fftwf_complex*>(alignedPlace);
    const std::ptrdiff_t complexStride = s.SpectrumStride();
    const std::ptrdiff_t realStride = 2 * complexStride;
    const fftwf_iodim64 axis = {s.width, 1, 1};
    const bool forward = direction == Direction::kForward;
    const fftwf_iodim64 rows = {RowsOfChunk(s), forward ? realStride : complexStride,
                                forward ? complexStride : realStride};
    return MakeGuarded(1, [&] {
        return forward ? fftwf_plan_guru64_dft_r2c(1, &axis, 1, &rows, real, spectrum, FFTW_ESTIMATE)
                       : fftwf_plan_guru64_dft_c2r(1, &axis, 1, &rows, spectrum, real, FFTW_ESTIMATE);
    });
}

Plan PlanColumns(const PackedSides& s, Direction direction) {
    auto* const block = reinterpret_cast<fftwf_complex*>(alignedPlace);
    const fftwf_iodim64 axis = {s.height, 1, 1};
    const fftwf_iodim64 columns = {ColumnsOfBlock(s), s.BlockStride(), s.BlockStride()};
    const int sign = direction == Direction::kForward ? FFTW_FORWARD : FFTW_BACKWARD;
    return MakeGuarded(
        1, [&] { return fftwf_plan_guru64_dft(1, &axis, 1, &columns, block, block, sign, FFTW_ESTIMATE); });
}

}  // namespace gnr::fft
