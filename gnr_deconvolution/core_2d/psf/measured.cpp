// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_2d.h>

#include <cstddef>
#include <cstdint>

#include "kernels/energy_2d.h"

float FloatPSF2D::GetDesiredHalfE8(float* pf, unsigned w, unsigned h) {
    return gnr::detail::EnergyOfImage(pf, w, h);
}

void FloatPSF2D::GetPSFFromPicBuf(float* pf, SRyPicBuf* pPic, unsigned uiComponent) {
    const auto* const samples = static_cast<const std::uint16_t*>(pPic->pData) + uiComponent;
    const std::size_t stride = pPic->uiPitch / 2;
    const auto sample = [&](std::size_t x, std::size_t y) {
        return samples[y * stride + x * pPic->uiComponents];
    };
    std::uint32_t total = 0;
    for (std::size_t y = 0; y < pPic->uiHeight; ++y) {
        for (std::size_t x = 0; x < pPic->uiWidth; ++x) total += sample(x, y);
    }
    for (std::size_t y = 0; y < pPic->uiHeight; ++y) {
        for (std::size_t x = 0; x < pPic->uiWidth; ++x) {
            *pf++ = static_cast<float>(sample(x, y)) / static_cast<float>(total);
        }
    }
}
