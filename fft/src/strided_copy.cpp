// SPDX-License-Identifier: MIT
#include "strided_copy.h"

#include <cstring>

namespace gnr::fft {

namespace {

using Strides = std::array<std::ptrdiff_t, 3>;

template <class Element>
void CopyStrided(const Strides& lengths, const Strides& from, const Element* source, const Strides& to,
                 Element* target) {
    for (std::ptrdiff_t k = 0; k < lengths[0]; ++k) {
        for (std::ptrdiff_t j = 0; j < lengths[1]; ++j) {
            const Element* const in = source + k * from[0] + j * from[1];
            Element* const out = target + k * to[0] + j * to[1];
            for (std::ptrdiff_t i = 0; i < lengths[2]; ++i) {
                std::memcpy(out + i * to[2], in + i * from[2], sizeof(Element));
            }
        }
    }
}

}  // namespace

Geometry DenseGeometry(const Geometry& g) {
    const std::ptrdiff_t columns = g.ComplexColumns();
    const std::ptrdiff_t plane = g.lengths[1] * columns;
    return {g.lengths, 0, {2 * plane, 2 * columns, 1}, 0, {plane, columns, 1}};
}

std::ptrdiff_t DenseFloats(const Geometry& g) {
    return 2 * g.lengths[0] * g.lengths[1] * g.ComplexColumns();
}

void ClearRowGaps(const Geometry& g, float* real) {
    for (std::ptrdiff_t k = 0; k < g.lengths[0]; ++k) {
        for (std::ptrdiff_t j = 0; j < g.lengths[1]; ++j) {
            float* const row = real + g.realOffset + k * g.realStrides[0] + j * g.realStrides[1];
            for (std::ptrdiff_t i = g.lengths[2]; i < g.realStrides[1]; ++i) row[i] = 0.0f;
        }
    }
}

void CopyReal(const Geometry& from, const float* source, const Geometry& to, float* target) {
    CopyStrided(from.lengths, from.realStrides, source + from.realOffset, to.realStrides,
                target + to.realOffset);
}

void CopySpectrum(const Geometry& from, const fftwf_complex* source, const Geometry& to,
                  fftwf_complex* target) {
    const Strides frequencies = {from.lengths[0], from.lengths[1], from.ComplexColumns()};
    CopyStrided(frequencies, from.complexStrides, source + from.complexOffset, to.complexStrides,
                target + to.complexOffset);
}

}  // namespace gnr::fft
