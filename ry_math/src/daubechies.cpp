// SPDX-License-Identifier: MIT
#include <ry_math/daubechies.h>
#include <ry_system/alloc.h>

#include <array>

#include "result_codes.h"

namespace {

using namespace gnr::detail;

constexpr int kOrder = 4;

/// Spectral factor of the maximally flat half-band filter of order 4 with all zeros inside the unit circle,
/// scaled to the sum sqrt(2). Computed with 60 digits, given to 25.
constexpr std::array<long double, 2 * kOrder> kFather = {
    0.2303778133088965008632912L,   0.7148465705529156470899220L,  0.6308807679298589078817163L,
    -0.02798376941685985421141375L, -0.1870348117190930840795707L, 0.03084138183556076362721936L,
    0.03288301166688519973540751L,  -0.01059740178506903210488321L};

long double FatherTap(std::size_t n) {
    return kFather[n];
}

long double MotherTap(std::size_t n) {
    const long double tap = kFather[kFather.size() - 1 - n];
    return n % 2 == 0 ? tap : -tap;
}

template <class T>
int NewFilter(T*& filter, int* length, int order, long double (*tap)(std::size_t)) {
    filter = nullptr;
    if (length == nullptr) return kWaveletBadArgument;
    *length = 0;
    if (order != kOrder) return kWaveletBadArgument;
    filter = static_cast<T*>(CRyAlloc::Alloc(0, kFather.size() * sizeof(T)));
    if (filter == nullptr) return kWaveletNoMemory;
    for (std::size_t n = 0; n < kFather.size(); ++n) filter[n] = static_cast<T>(tap(n));
    *length = static_cast<int>(kFather.size());
    return kWaveletDone;
}

template <class T>
int Release(T*& filter) {
    CRyAlloc::Free(filter);
    filter = nullptr;
    return kWaveletDone;
}

}  // namespace

int CRyDaubechies2DWave::GetFatherWavelet(float*& pf, int* piLength, int iOrder) {
    return NewFilter(pf, piLength, iOrder, FatherTap);
}

int CRyDaubechies2DWave::GetFatherWavelet(double*& pFilter, int* piLength, int iOrder) {
    return NewFilter(pFilter, piLength, iOrder, FatherTap);
}

int CRyDaubechies2DWave::GetMotherWavelet(float*& pf, int* piLength, int iOrder) {
    return NewFilter(pf, piLength, iOrder, MotherTap);
}

int CRyDaubechies2DWave::GetMotherWavelet(double*& pFilter, int* piLength, int iOrder) {
    return NewFilter(pFilter, piLength, iOrder, MotherTap);
}

int CRyDaubechies2DWave::FreeWavelet(float*& pf) {
    return Release(pf);
}

int CRyDaubechies2DWave::FreeWavelet(double*& pFilter) {
    return Release(pFilter);
}
