// SPDX-License-Identifier: MIT
#pragma once

// Working volumes of a one-call entry, freed on every way out.

#include <gnr_deconvolution/kernels_3d.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

#include "frame/progress.h"

namespace gnr::detail {

inline constexpr ProgressText kLegacyDeconvolution3D = {L"Performing Deconvolution...",
                                                        "gnr_deconvolution/core_legacy"};

struct DestroyVolume {
    void operator()(float* volume) const { CRy3DDeconvolutionLow::KERNEL3D_Destroy(volume); }
};
using ScratchVolume = std::unique_ptr<float, DestroyVolume>;

/// N volumes of one geometry, from KERNEL3D_Create.
template <std::size_t N>
class ScratchVolumes {
  public:
    explicit ScratchVolumes(const DFT3D& s) {
        for (ScratchVolume& volume : volumes_) volume.reset(CRy3DDeconvolutionLow::KERNEL3D_Create(&s));
    }

    /// All were had.
    explicit operator bool() const {
        return std::all_of(volumes_.begin(), volumes_.end(), [](const auto& v) { return v != nullptr; });
    }
    float* operator[](std::size_t i) const { return volumes_[i].get(); }

  private:
    std::array<ScratchVolume, N> volumes_;
};

}  // namespace gnr::detail
