// SPDX-License-Identifier: MIT

// A complete host of the structured-illumination entry. Nine frames show one object under nine stripe patterns,
// three directions of three phases. The frames are the planes of one volume and the PSF lies in its first plane
// alone, so that each frame is blurred by itself; what ties them together is the host's callback: before each
// PSF pass it makes one object of all frames and multiplies it by the nine patterns again.

#include <gnr_deconvolution/gnr_deconvolution.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <numbers>
#include <vector>

namespace {

using Kernels = CRy3DDeconvolutionLow;

constexpr int kSide = 64;
constexpr int kDirections = 3;
constexpr int kPhases = 3;
constexpr int kFrames = kDirections * kPhases;
constexpr double kSpot = 2.5;        // standard deviation of the PSF, in samples
constexpr double kStripes = 10.0;    // period of the patterns
constexpr double kModulation = 0.9;  // their depth
constexpr int kLines[] = {30, 34};   // closer than the PSF resolves
constexpr int kIterations = 60;

struct ReleaseVolume {
    void operator()(float* pf) const { Kernels::SSE_Destroy(pf); }
};
using VolumePtr = std::unique_ptr<float, ReleaseVolume>;

/// Sample (i, j) of frame m: rows are two floats longer than the image is wide.
std::int64_t At(int i, int j, int m) {
    constexpr std::int64_t row = kSide + 2;
    return (std::int64_t{m} * kSide + j) * row + i;
}

/// visit(i, j, m) for every sample of every frame.
template <class Visit>
void ForEachSample(Visit visit) {
    for (int m = 0; m < kFrames; ++m) {
        for (int j = 0; j < kSide; ++j) {
            for (int i = 0; i < kSide; ++i) visit(i, j, m);
        }
    }
}

/// Illumination of frame m. The nine add up to nine everywhere.
double Pattern(int i, int j, int m) {
    const double angle = std::numbers::pi * (m / kPhases) / kDirections;
    const double phase = 2.0 * std::numbers::pi * (m % kPhases) / kPhases;
    const double along = i * std::cos(angle) + j * std::sin(angle);
    return 1.0 + kModulation * std::cos(2.0 * std::numbers::pi * along / kStripes + phase);
}

/// The mean of all frames: for frames that are object times pattern, the object.
std::vector<double> ObjectOf(const float* frames) {
    std::vector<double> object(std::size_t{kSide} * kSide);
    ForEachSample([&](int i, int j, int m) {
        object[static_cast<std::size_t>(j * kSide + i)] += static_cast<double>(frames[At(i, j, m)]) / kFrames;
    });
    return object;
}

void Illuminate(float* frames, const std::vector<double>& object) {
    ForEachSample([&](int i, int j, int m) {
        const double sample = object[static_cast<std::size_t>(j * kSide + i)] * Pattern(i, j, m);
        frames[At(i, j, m)] = static_cast<float>(sample);
    });
}

/// What this host knows that the library does not.
class Microscope final : public IRyIterationDataCallback {
  public:
    void OnBeforePsfPass(int /*iIteration*/, int /*iRows*/, int /*iPlanes*/, float* /*pfPsf*/,
                         float* pfImage) override {
        Illuminate(pfImage, ObjectOf(pfImage));
    }
    /// The PSF keeps its sum.
    void OnBeforeImagePass(int /*iIteration*/, int /*iRows*/, int /*iPlanes*/, float* pfPsf,
                           float* /*pfImage*/) override {
        double sum = 0.0;
        ForEachSample([&](int i, int j, int m) { sum += static_cast<double>(pfPsf[At(i, j, m)]); });
        ForEachSample([&](int i, int j, int m) { pfPsf[At(i, j, m)] /= static_cast<float>(sum); });
    }
};

/// A Gaussian spot of sum 1 in the first plane, its peak at sample (0, 0) and the rest wrapped around.
void FillPsf(float* psf) {
    const auto weight = [](int i, int j) {
        const double x = std::min(i, kSide - i) / kSpot;
        const double y = std::min(j, kSide - j) / kSpot;
        return std::exp(-0.5 * (x * x + y * y));
    };
    double sum = 0.0;
    for (int j = 0; j < kSide; ++j) {
        for (int i = 0; i < kSide; ++i) sum += weight(i, j);
    }
    for (int j = 0; j < kSide; ++j) {
        for (int i = 0; i < kSide; ++i) psf[At(i, j, 0)] = static_cast<float>(weight(i, j) / sum);
    }
}

/// Two bright lines on a dim background, under each pattern, seen through the PSF.
void FillObserved(const DFT3D& sizes, float* frames, const float* psf) {
    std::vector<double> object(std::size_t{kSide} * kSide, 10.0);
    for (int j = 16; j < 48; ++j) {
        for (const int i : kLines) object[static_cast<std::size_t>(j * kSide + i)] = 1000.0;
    }
    Illuminate(frames, object);
    const VolumePtr otf(Kernels::SSE_Alloc(sizes.total));
    std::copy_n(psf, sizes.total, otf.get());
    Kernels::DFT3D_Transform(&sizes, otf.get());
    Kernels::DFT3D_Transform(&sizes, frames);
    Kernels::SSE_ComplexMultiply(frames, otf.get(), sizes.total);
    Kernels::DFT3D_Inversion(&sizes, frames);
    Kernels::CutByZero(&sizes, frames);
}

/// How far the middle between the lines lies below them, as a share of their brightness.
double DipBetweenLines(const float* frames) {
    const std::vector<double> object = ObjectOf(frames);
    const auto column = [&](int i) {
        double sum = 0.0;
        for (int j = 24; j < 40; ++j) sum += object[static_cast<std::size_t>(j * kSide + i)];
        return sum;
    };
    const double lines = 0.5 * (column(kLines[0]) + column(kLines[1]));
    return 1.0 - column((kLines[0] + kLines[1]) / 2) / lines;
}

/// A host that wants to stop answers 1, here and at every later call.
int OnProgress(const CRyStringW& /*text*/, unsigned, unsigned, unsigned, unsigned, ERyProgressPhase /*phase*/,
               void* /*hostPointer*/) {
    return 0;
}

}  // namespace

int main() {
    DFT3D sizes;
    FloatPSF3D::DFT3D_InitSizes(&sizes, kSide, kSide, kFrames);
    const VolumePtr psf(Kernels::SSE_Alloc(sizes.total));
    const VolumePtr frames(Kernels::SSE_Alloc(sizes.total));
    if (!psf || !frames) return 1;
    FillPsf(psf.get());
    FillObserved(sizes, frames.get(), psf.get());
    const double observed = DipBetweenLines(frames.get());

    Microscope microscope;
    CRy3DDeconvolution deconvolution;
    const int code = deconvolution.SIM_LucyRichardsonIBD(&sizes, psf.get(), frames.get(), kIterations,
                                                         OnProgress, nullptr, 0, 0, -1.0f, &microscope);
    if (code != 1) {
        std::fprintf(stderr, "run failed: %d\n", code);
        return 1;
    }
    const double restored = DipBetweenLines(frames.get());
    std::printf("dip between the lines: %.0f %% observed, %.0f %% restored\n", 100.0 * observed,
                100.0 * restored);
    return restored > 0.2 && observed < 0.05 ? 0 : 1;
}
