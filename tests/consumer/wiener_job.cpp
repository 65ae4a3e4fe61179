// SPDX-License-Identifier: MIT

// A program outside of the project: restores a wave whose result is known in closed form, makes a PSF of a
// picture, and saves a range.
//
//   image  2 + cos(2 pi i / N)             PSF  1/2 at 0, 1/4 on either side along x
//   H(1)   1/2 + cos(2 pi / N) / 2         K    0.01
//   the filter passes the wave H / (H^2 + K) times and the mean 1 / (1 + K) times

#include <gnr_deconvolution/gnr_deconvolution.h>

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace {

/// A picture with two pixels of 1 and 3 is a PSF of 1/4 and 3/4.
bool PicturesWork() {
    SRyPicBuf picture;
    CRyPicBufAPI::Init(&picture);
    if (CRyPicBufAPI::Reinit(&picture, 2, 1, 0, 12, 1, true) != 0) return false;
    static_cast<std::uint16_t*>(picture.pData)[0] = 1;
    static_cast<std::uint16_t*>(picture.pData)[1] = 3;
    float psf[2] = {};
    FloatPSF2D::GetPSFFromPicBuf(psf, &picture, 0);
    CRyPicBufAPI::Free(&picture);
    return psf[0] == 0.25f && psf[1] == 0.75f;
}

/// A range comes back from its bytes.
bool RangesWork() {
    CRyLiteVariantW writer;
    CRyUintRange range(5, 2);
    range.SaveToLiteVariant(writer);
    CRyLiteVariantR reader(writer.Data().data(), writer.Data().size());
    CRyUintRange loaded;
    unsigned least = 0;
    unsigned greatest = 0;
    return loaded.LoadFromLiteVariant(reader) == 0 && loaded.Get(&least, &greatest) == 0 && least == 2 &&
           greatest == 5;
}

}  // namespace

int main() {
    if (!PicturesWork() || !RangesWork()) return 1;
    constexpr int kWidth = 8;
    constexpr double kNoise = 0.01;
    const double step = 2 * std::acos(-1.0) / kWidth;

    const auto params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener);
    const auto core = CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvWiener);
    if (!params || !core) return 1;
    FloatPSF3D::DFT3D_InitSizes(&params->sizes, kWidth, 3, 2);
    float* const image = CRy3DDeconvolutionLow::SSE_Alloc(params->sizes.total);
    float* const psf = CRy3DDeconvolutionLow::SSE_Alloc(params->sizes.total);
    if (image == nullptr || psf == nullptr) return 1;
    for (int row = 0; row < 6; ++row) {
        for (int i = 0; i < kWidth; ++i) {
            image[row * (kWidth + 2) + i] = static_cast<float>(2 + std::cos(step * i));
        }
    }
    psf[0] = 0.5f;
    psf[1] = psf[kWidth - 1] = 0.25f;
    params->pfImage = image;
    params->pfPsf = psf;
    if (core->Prepare(params) != 0 || core->Run(params) != 0 || core->Free() != 0) return 1;

    const double H = 0.5 + 0.5 * std::cos(step);
    const double gain = H / (H * H + kNoise) * (1 + kNoise);
    double worst = 0.0;
    for (int i = 0; i < kWidth; ++i) {
        worst = std::fmax(worst, std::fabs(image[i] - (2 + gain * std::cos(step * i))));
    }
    CRy3DDeconvolutionLow::SSE_Destroy(image);
    CRy3DDeconvolutionLow::SSE_Destroy(psf);
    std::printf("worst difference %g\n", worst);
    return worst < 1e-5 ? 0 : 1;
}
