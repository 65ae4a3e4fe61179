// SPDX-License-Identifier: MIT
#pragma once

// Arrays of floats with a row every so many bytes, as the ippi operations take them.

#include <fft/ippi.h>

#include <cstddef>

namespace gnr::fft {

inline float* Row(float* first, int step, std::ptrdiff_t j) {
    return reinterpret_cast<float*>(reinterpret_cast<unsigned char*>(first) + j * step);
}
inline const float* Row(const float* first, int step, std::ptrdiff_t j) {
    return reinterpret_cast<const float*>(reinterpret_cast<const unsigned char*>(first) + j * step);
}

/// Status of an operation on arrays of this size: pointers, sides, steps.
template <class... Arrays>
IppStatus CheckArrays(const IppiSize& size, const Arrays&... arrays) {
    if (((arrays.first == nullptr) || ...)) return ippStsNullPtrErr;
    if (size.width < 1 || size.height < 1) return ippStsSizeErr;
    const auto rowBytes =
        static_cast<std::ptrdiff_t>(size.width) * static_cast<std::ptrdiff_t>(sizeof(float));
    if (((arrays.step < rowBytes) || ...)) return ippStsStepErr;
    return ippStsNoErr;
}

/// One array argument: first sample and bytes from row to row.
struct ArrayArgument {
    const float* first;
    int step;
};

}  // namespace gnr::fft
