// SPDX-License-Identifier: MIT
#include "optics/computed_psf.h"

#include <gnr_deconvolution/return_codes.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "report/progress_bar.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

using enum Quantity;

constexpr double kNanometresPerMicrometre = 1000.0;
constexpr int kLeastSide = 8;
constexpr std::int64_t kMostSamples = std::numeric_limits<std::int32_t>::max();

int OddSide(unsigned long long samples) {
    return static_cast<int>(std::min<unsigned long long>(samples, kMostSamples / 2) | 1U);
}

/// An even number of samples: the generators are symmetric about side / 2 only there.
int EvenSide(int side) {
    return side + side % 2;
}

/// The grid to compute a volume of `size` on. The layered model fills radii up to half the number of rows
/// only, whatever the width.
Extent GridFor(const Optics& optics, const Extent& size) {
    const int rows = std::max(size.y, std::min(size.x, RecommendedExtent(optics).y));
    return {EvenSide(std::max(size.x, kLeastSide)), EvenSide(std::max(rows, kLeastSide)), size.z};
}

void FillShortRecord(const Optics& optics, SDiffractionParams& record) {
    record.iModality = optics.modality->value;
    record.dNA = optics.Value(NumericalAperture);
    record.dRefractiveIndex = optics.Value(RefractiveIndex);
    record.dWavelength = optics.LeadingWavelength();
    record.dSphericalAberration = optics.ValueOr(Spherical, 0.0);
    record.dXYPitch = optics.Value(Pixel);
    record.dZPitch = optics.Value(ZStep);
}

SDiffractionParamsEx LongRecord(const Optics& optics) {
    SDiffractionParamsEx record;
    FillShortRecord(optics, record);
    // Where nothing is known of one wavelength the modality reads the other only.
    record.dWavelength = optics.ValueOr(Excitation, optics.LeadingWavelength());
    record.dEmissionWavelength = optics.ValueOr(Emission, optics.LeadingWavelength());
    record.dSampleRefractiveIndex = optics.ValueOr(SampleIndex, record.dRefractiveIndex);
    record.dDepthNm = optics.ValueOr(Depth, 0.0) * kNanometresPerMicrometre;
    record.dPinhole = optics.ValueOr(Pinhole, 0.0);
    record.dMagnification = optics.ValueOr(Magnification, 0.0);
    record.bInvertZ = optics.invertZ;
    record.uiMaxZSamples = std::numeric_limits<std::uint32_t>::max();
    return record;
}

/// Moves the bar with each plane and passes Ctrl-C on.
struct PlaneRelay {
    ProgressBar bar;

    static int Call(const CRyStringW&, unsigned, unsigned, unsigned, unsigned, ERyProgressPhase, void* self) {
        static_cast<PlaneRelay*>(self)->bar.Advance(1);
        return StopRequested() ? 1 : 0;
    }
};

void RequireAddressable(const Extent& size) {
    const std::int64_t plane = (std::int64_t{size.x} + 2) * size.y;
    if (plane <= kMostSamples && plane * size.z <= kMostSamples) return;
    throw UserError("a PSF of " + ToString(size) + " samples is above the limit of " +
                    std::to_string(kMostSamples) + "; choose larger distances of samples or a smaller size");
}

}  // namespace

Extent RecommendedExtent(const Optics& optics) {
    const PitchFactors factors = PitchFactorsOf(*optics.modality, optics.model);
    const double wavelength = optics.LeadingWavelength() * kNanometresPerMicrometre;
    const double na = optics.Value(NumericalAperture);
    const bool wide = optics.modality->widefield;
    const int across =
        OddSide(FloatPSF3D::GetRecommendedXYSize(wavelength, na, optics.Value(Pixel) * factors.xy, wide));
    const int deep = OddSide(FloatPSF3D::GetRecommendedZSize(wavelength, optics.Value(RefractiveIndex), na,
                                                             optics.Value(ZStep) * factors.z, wide));
    return {across, across, deep};
}

ComputedPsf::ComputedPsf(const Optics& optics, const Extent& size, const Messages& messages) : size_(size) {
    Generate(optics, messages);
    NormalizeSum();
}

void ComputedPsf::Generate(const Optics& optics, const Messages& messages) {
    const Extent even = GridFor(optics, size_);
    RequireAddressable(even);
    DFT3D sizes;
    FloatPSF3D::DFT3D_InitSizes(&sizes, even.x, even.y, even.z);
    LeaveIfStopRequested();
    PlaneRelay relay{ProgressBar(static_cast<unsigned>(even.z), "computing the PSF", messages)};
    int code = 0;
    if (optics.model == PsfModel::Fast) {
        SDiffractionParams record;
        FillShortRecord(optics, record);
        code = volume_.GeneratePSF(&sizes, &record, &PlaneRelay::Call, &relay, 1.0f, true, true);
    } else {
        const SDiffractionParamsEx record = LongRecord(optics);
        code = volume_.GeneratePSFEx(&sizes, &record, &PlaneRelay::Call, &relay, true, true);
    }
    relay.bar.Finish();
    LeaveIfStopRequested();
    if (code != gnr::kSuccess) {
        throw UserError("not enough memory for a PSF of " + ToString(size_) +
                        " samples; choose a smaller size or free memory");
    }
}

float* ComputedPsf::MutableRow(int j, int k) const {
    // side / 2 of the grid comes to side / 2 of the volume.
    const std::int64_t x = (volume_.sizes.rowLength - 2) / 2 - size_.x / 2;
    const std::int64_t y = volume_.sizes.rows / 2 - size_.y / 2 + j;
    return volume_.pfPSF + std::int64_t{k} * volume_.sizes.planeStride + y * volume_.sizes.rowLength + x;
}

void ComputedPsf::NormalizeSum() {
    double sum = 0.0;
    for (int k = 0; k < size_.z; ++k) {
        for (int j = 0; j < size_.y; ++j) {
            const float* const row = Row(j, k);
            for (int i = 0; i < size_.x; ++i) sum += row[i];
        }
    }
    if (!(std::isfinite(sum) && sum > 0.0)) {
        throw UserError("these optics give no PSF on this grid (its sum is " + std::to_string(sum) +
                        "); choose another size, other distances of samples or the other --model");
    }
    for (int k = 0; k < size_.z; ++k) {
        for (int j = 0; j < size_.y; ++j) {
            float* const row = MutableRow(j, k);
            for (int i = 0; i < size_.x; ++i) row[i] = static_cast<float>(row[i] / sum);
        }
    }
}

Widths ComputedPsf::MeasuredWidths(const Optics& optics) const {
    const Extent c = centre();
    std::vector<double> alongX(Row(c.y, c.z), Row(c.y, c.z) + size_.x);
    std::vector<double> alongZ;
    alongZ.reserve(static_cast<std::size_t>(size_.z));
    for (int k = 0; k < size_.z; ++k) alongZ.push_back(Row(c.y, k)[c.x]);
    const auto peak = std::max_element(alongZ.begin(), alongZ.end()) - alongZ.begin();
    return {WidthOfProfile(alongX, c.x, optics.Value(Pixel)),
            WidthOfProfile(alongZ, static_cast<int>(peak), optics.Value(ZStep))};
}

}  // namespace rydecon
