// SPDX-License-Identifier: MIT
#include "cores/core_buffers.h"

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/return_codes.h>

#include <algorithm>

namespace gnr::detail {

int AllocateBuffers(std::span<float** const> buffers, long long floats) {
    for (float** const buffer : buffers) *buffer = CRy3DDeconvolutionLow::SSE_Alloc(floats);
    return AllPresent(buffers) ? kSuccess : kOutOfMemory;
}

void DestroyBuffers(std::span<float** const> buffers) {
    for (float** const buffer : buffers) {
        CRy3DDeconvolutionLow::SSE_Destroy(*buffer);
        *buffer = nullptr;
    }
}

bool AllPresent(std::span<float** const> buffers) {
    return std::all_of(buffers.begin(), buffers.end(), [](float** b) { return *b != nullptr; });
}

}  // namespace gnr::detail
