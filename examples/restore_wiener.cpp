// SPDX-License-Identifier: MIT

// A complete host: blurs three beads with a Gaussian spot and restores them with the direct Wiener filter.

#include <gnr_deconvolution/gnr_deconvolution.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace {

using Kernels = CRy3DDeconvolutionLow;

/// A padded volume in memory that the cores can work on.
struct ReleaseVolume {
    void operator()(float* pf) const { Kernels::SSE_Destroy(pf); }
};
using VolumePtr = std::unique_ptr<float, ReleaseVolume>;

/// Sample (i, j, k): rows are two floats longer than the image is wide.
float& Sample(const DFT3D& sizes, const VolumePtr& volume, int i, int j, int k) {
    return volume.get()[std::int64_t{k} * sizes.planeStride + std::int64_t{j} * sizes.rowLength + i];
}

/// A Gaussian spot of sum 1, its peak at sample (0, 0, 0) and the rest wrapped around the borders.
void FillPsf(const DFT3D& sizes, const VolumePtr& psf, int x) {
    const auto squared = [](int n, int side, double sigma) {
        const double distance = std::min(n, side - n) / sigma;
        return distance * distance;
    };
    double sum = 0.0;
    for (const bool measure : {true, false}) {
        for (int k = 0; k < sizes.planes; ++k) {
            for (int j = 0; j < sizes.rows; ++j) {
                for (int i = 0; i < x; ++i) {
                    const double value = std::exp(-0.5 * (squared(i, x, 1.5) + squared(j, sizes.rows, 1.5) +
                                                          squared(k, sizes.planes, 2.5)));
                    if (measure) sum += value;
                    if (!measure) Sample(sizes, psf, i, j, k) = static_cast<float>(value / sum);
                }
            }
        }
    }
}

/// Three beads on a dim background, seen through the PSF: each adds its own shifted copy of the spot.
void FillObserved(const DFT3D& sizes, const VolumePtr& image, const VolumePtr& psf, int x) {
    const int beads[][3] = {{12, 20, 5}, {19, 20, 5}, {40, 31, 10}};
    for (int k = 0; k < sizes.planes; ++k) {
        for (int j = 0; j < sizes.rows; ++j) {
            for (int i = 0; i < x; ++i) {
                float value = 10.0f;
                for (const auto& [bx, by, bz] : beads) {
                    value +=
                        20000.0f * Sample(sizes, psf, (i - bx + x) % x, (j - by + sizes.rows) % sizes.rows,
                                          (k - bz + sizes.planes) % sizes.planes);
                }
                Sample(sizes, image, i, j, k) = value;
            }
        }
    }
}

float Brightest(const DFT3D& sizes, const VolumePtr& image, int x) {
    float brightest = 0.0f;
    for (int k = 0; k < sizes.planes; ++k) {
        for (int j = 0; j < sizes.rows; ++j) {
            for (int i = 0; i < x; ++i) brightest = std::max(brightest, Sample(sizes, image, i, j, k));
        }
    }
    return brightest;
}

/// Adds up the finished steps; a non-zero answer would stop the run.
int OnProgress(const CRyStringW& /*text*/, unsigned, unsigned, unsigned, unsigned steps,
               ERyProgressPhase phase, void* hostPointer) {
    if (phase == eProgressStepEnd) *static_cast<unsigned*>(hostPointer) += steps;
    return 0;
}

}  // namespace

int main() {
    // 1. One value chooses the algorithm: its parameters and its core.
    const auto params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener);
    const auto core = CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvWiener);
    if (!params || !core) return 1;

    // 2. Sizes that the core wants. The layout needs an even width, so x is a multiple of 2.
    unsigned x = 64;
    unsigned y = 48;
    unsigned z = 16;
    core->ModifyProposedDimensions(x, y, z, 2, 1, 1);

    // 3. The geometry of all buffers, and the box that holds the real image.
    const int width = static_cast<int>(x);
    DFT3D& sizes = params->sizes;
    FloatPSF3D::DFT3D_InitSizes(&sizes, width, static_cast<int>(y), static_cast<int>(z));
    params->rcImage = {0, sizes.rowLength - 2, 0, sizes.rows, 0, sizes.planes};

    // 4., 5. Does the job fit, and the core's working buffers.
    std::printf("working memory: %llu bytes\n", core->GetRequiredMemorySize(params));
    if (core->Prepare(params) != 0) return 1;

    // 6. The host's buffers and settings, and the run. The result replaces the image.
    const VolumePtr psf(Kernels::SSE_Alloc(sizes.total));
    const VolumePtr image(Kernels::SSE_Alloc(sizes.total));
    if (!psf || !image) return 1;
    FillPsf(sizes, psf, width);
    FillObserved(sizes, image, psf, width);
    const float observed = Brightest(sizes, image, width);

    unsigned steps = 0;
    params->pfPsf = psf.get();
    params->pfImage = image.get();
    params->dRegularization = 0;
    params->pfnProgress = OnProgress;
    params->pProgressData = &steps;
    const int code = core->Run(params);
    if (code != 0) {
        std::fprintf(stderr, "run failed: %d\n", code);
        return 1;
    }

    // 7. The working buffers go; the pointers drop their objects, and the volumes their memory.
    core->Free();
    std::printf("%u steps done\nbrightest sample: %.0f observed, %.0f restored\n", steps, observed,
                Brightest(sizes, image, width));
    return 0;
}
