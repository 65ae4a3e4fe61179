// SPDX-License-Identifier: MIT
#include "depth_block.h"

#include <processor/fetch.h>
#include <processor/vector_clones.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "complex_product.h"

namespace gnr::fft {

namespace {

/// Rows that are turned into columns together, so that each line of the cache is met once.
constexpr std::ptrdiff_t kRowsTurned = 16;

/// How far ahead of a product its transfer function is asked for.
constexpr std::ptrdiff_t kFloatsAhead = 1024;

/// to[c, v] := from[v, c]
void Turn(const fftwf_complex* from, std::ptrdiff_t fromStride, std::ptrdiff_t rows, std::ptrdiff_t columns,
          fftwf_complex* to, std::ptrdiff_t toStride) {
    using Pair = std::uint64_t __attribute__((vector_size(16)));
    const auto copyOne = [=](std::ptrdiff_t v, std::ptrdiff_t c) {
        std::memcpy(to + c * toStride + v, from + v * fromStride + c, sizeof *to);
    };
    for (std::ptrdiff_t row = 0; row < rows; row += kRowsTurned) {
        const std::ptrdiff_t behind = std::min(row + kRowsTurned, rows);
        for (std::ptrdiff_t c = 0; c < columns; c += 2) {
            std::ptrdiff_t v = row;
            for (; v + 2 <= behind && c + 2 <= columns; v += 2) {
                Pair a;
                Pair b;
                std::memcpy(&a, from + v * fromStride + c, sizeof a);
                std::memcpy(&b, from + (v + 1) * fromStride + c, sizeof b);
                const Pair first = __builtin_shufflevector(a, b, 0, 2);
                const Pair second = __builtin_shufflevector(a, b, 1, 3);
                std::memcpy(to + c * toStride + v, &first, sizeof first);
                std::memcpy(to + (c + 1) * toStride + v, &second, sizeof second);
            }
            for (; v < behind; ++v) {
                copyOne(v, c);
                if (c + 1 < columns) copyOne(v, c + 1);
            }
        }
    }
}

void CopyNumbers(fftwf_complex* to, const fftwf_complex* from, std::ptrdiff_t n) {
    std::memcpy(to, from, static_cast<std::size_t>(n) * sizeof(fftwf_complex));
}

/// a := a b, or a conj(b), with the roundings of complex_product.h, four complex numbers at a time: the products with
/// the real part of b, and those with its imaginary part, in the other places of a and with the signs of i b.
template <bool kConjugate>
inline void MultiplyNumbers(fftwf_complex* a, const fftwf_complex* b, std::ptrdiff_t n) {
    using Floats = float __attribute__((vector_size(32)));
    constexpr std::ptrdiff_t width = sizeof(Floats) / sizeof(fftwf_complex);
    constexpr float ofRe = kConjugate ? 1.0f : -1.0f;
    constexpr Floats signs = {ofRe, -ofRe, ofRe, -ofRe, ofRe, -ofRe, ofRe, -ofRe};
    std::ptrdiff_t i = 0;
    for (; i + width <= n; i += width) {
        Floats v;
        Floats w;
        Fetch(b[i], kFloatsAhead, 1);
        std::memcpy(&v, a + i, sizeof v);
        std::memcpy(&w, b + i, sizeof w);
        const Floats re = __builtin_shufflevector(w, w, 0, 0, 2, 2, 4, 4, 6, 6);
        const Floats im = __builtin_shufflevector(w, w, 1, 1, 3, 3, 5, 5, 7, 7);
        const Floats other = __builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6);
        v = v * re + other * im * signs;
        std::memcpy(a + i, &v, sizeof v);
    }
    for (; i < n; ++i) {
        const Product p = kConjugate ? MultiplyConjugate::Of(a[i][0], a[i][1], b[i][0], b[i][1])
                                     : Multiply::Of(a[i][0], a[i][1], b[i][0], b[i][1]);
        a[i][0] = p.re;
        a[i][1] = p.im;
    }
}

GNR_VECTOR_CLONES
void MultiplyLine(fftwf_complex* a, const fftwf_complex* b, TransferUse use, std::ptrdiff_t n) {
    use == TransferUse::kConjugate ? MultiplyNumbers<true>(a, b, n) : MultiplyNumbers<false>(a, b, n);
}

}  // namespace

DepthBlock::DepthBlock(const VolumeShape& shape, const DepthLayout& layout, std::ptrdiff_t n,
                       fftwf_complex* array)
    : shape_(shape),
      layout_(layout),
      first_(n * DepthLayout::kColumns),
      count_(std::min(DepthLayout::kColumns, ColumnsOfPlane(shape) - first_)),
      array_(array) {}

void DepthBlock::Gather(const float* volume) const {
    const std::ptrdiff_t plane = ColumnsOfPlane(shape_);
    const auto* const from = reinterpret_cast<const fftwf_complex*>(volume) + first_;
    if (layout_.turned()) return Turn(from, plane, shape_.planes, count_, array_, layout_.stride());
    for (std::ptrdiff_t k = 0; k < shape_.planes; ++k) {
        CopyNumbers(array_ + k * layout_.stride(), from + k * plane, count_);
    }
}

void DepthBlock::Scatter(float* volume) const {
    const std::ptrdiff_t plane = ColumnsOfPlane(shape_);
    auto* const to = reinterpret_cast<fftwf_complex*>(volume) + first_;
    if (layout_.turned()) return Turn(array_, layout_.stride(), count_, shape_.planes, to, plane);
    for (std::ptrdiff_t k = 0; k < shape_.planes; ++k) {
        CopyNumbers(to + k * plane, array_ + k * layout_.stride(), count_);
    }
}

void DepthBlock::Transform(const Plan& plan) const {
    for (std::ptrdiff_t c = 0; c < count_; c += DepthLayout::kTogether) {
        fftwf_complex* const first = array_ + c * layout_.ColumnStep();
        fftwf_execute_dft(plan.get(), first, first);
    }
}

void DepthBlock::ClearImaginaryOfSelfConjugates() const {
    const std::ptrdiff_t middleRow = shape_.rows % 2 == 0 ? shape_.rows / 2 : 0;
    const std::ptrdiff_t middlePlane = shape_.planes % 2 == 0 ? shape_.planes / 2 : 0;
    for (const std::ptrdiff_t j : {std::ptrdiff_t{0}, middleRow}) {
        for (const std::ptrdiff_t i : {std::ptrdiff_t{0}, shape_.columns / 2}) {
            const std::ptrdiff_t c = j * shape_.ComplexColumns() + i - first_;
            if (c < 0 || c >= count_) continue;
            fftwf_complex* const column = array_ + c * layout_.ColumnStep();
            column[0][1] = 0.0f;
            column[middlePlane * layout_.PlaneStep()][1] = 0.0f;
        }
    }
}

template <class Visit>
void DepthBlock::EachLine(Visit visit) const {
    const std::ptrdiff_t lines = layout_.turned() ? count_ : shape_.planes;
    const std::ptrdiff_t numbers = layout_.turned() ? shape_.planes : count_;
    std::ptrdiff_t place = first_ * shape_.planes;
    for (std::ptrdiff_t line = 0; line < lines; ++line, place += numbers) {
        visit(array_ + line * layout_.stride(), place, numbers);
    }
}

void DepthBlock::CopyToTransfer(float* transfer) const {
    auto* const to = reinterpret_cast<fftwf_complex*>(transfer);
    EachLine([=](const fftwf_complex* numbers, std::ptrdiff_t place, std::ptrdiff_t count) {
        CopyNumbers(to + place, numbers, count);
    });
}

void DepthBlock::MultiplyBy(const float* transfer, TransferUse use) const {
    const auto* const by = reinterpret_cast<const fftwf_complex*>(transfer);
    EachLine([=](fftwf_complex* numbers, std::ptrdiff_t place, std::ptrdiff_t count) {
        MultiplyLine(numbers, by + place, use, count);
    });
}

}  // namespace gnr::fft
