// SPDX-License-Identifier: MIT
#include <fft/volume_passes.h>
#include <fftw3.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include "complex_product.h"
#include "planner.h"

namespace gnr::fft {

namespace {

/// Columns that are taken to a small array together, to be transformed along z there: eight lines of the cache from
/// each plane.
constexpr std::ptrdiff_t kColumnsOfBlock = 64;
/// Complex numbers between the lines of the array, so that they do not meet in the same places of the cache.
constexpr std::ptrdiff_t kGap = 8;
/// Columns of a block, or planes of turned columns, that go together: a multiple of what the cache moves at once.
constexpr std::ptrdiff_t kTogether = 16;

/// Volumes of fewer samples cost less than the threads that would share them.
constexpr std::ptrdiff_t kWorthThreads = std::ptrdiff_t{1} << 15;
/// Fewer columns are not worth a call of their own along y.
constexpr std::ptrdiff_t kLeastOfGroup = 16;

/// FFTW wants a place's alignment within this, in bytes. Complex numbers lie at its start or in its middle.
constexpr std::uintptr_t kAlignment = 16;
constexpr std::size_t kPlaces = kAlignment / sizeof(fftwf_complex);

std::size_t PlaceOf(const fftwf_complex* p) {
    return reinterpret_cast<std::uintptr_t>(p) % kAlignment / sizeof(fftwf_complex);
}

/// Stands for volumes and arrays while plans are made, which want to know the alignment alone.
alignas(64) float standIn[2][16];

fftwf_complex* StandIn(std::size_t place) {
    return reinterpret_cast<fftwf_complex*>(standIn[0]) + place;
}

/// A plan for each place of its spectrum.
using PlacedPlans = std::array<Plan, kPlaces>;

Plan PlanRow(const VolumeShape& shape, std::size_t place, bool forward) {
    const auto n = static_cast<int>(shape.columns);
    return MakeGuarded(1, [&] {
        return forward ? fftwf_plan_dft_r2c_1d(n, standIn[1], StandIn(place), FFTW_ESTIMATE)
                       : fftwf_plan_dft_c2r_1d(n, StandIn(place), standIn[1], FFTW_ESTIMATE);
    });
}

/// `count` columns of n numbers, in place: `step` from number to number, `stride` from column to column.
Plan PlanColumns(std::ptrdiff_t n, std::ptrdiff_t step, std::ptrdiff_t count, std::ptrdiff_t stride,
                 std::size_t place, bool forward) {
    const fftwf_iodim64 axis = {n, step, step};
    const fftwf_iodim64 columns = {count, stride, stride};
    return MakeGuarded(1, [&] {
        return fftwf_plan_guru64_dft(1, &axis, 1, &columns, StandIn(place), StandIn(place),
                                     forward ? FFTW_FORWARD : FFTW_BACKWARD, FFTW_ESTIMATE);
    });
}

/// How the array holds a block of columns: plane by plane, or turned, column by column. Powers of two are transformed
/// as well between planes as within columns; for other lengths FFTW's estimates go wrong where numbers lie apart.
struct BlockLayout {
    explicit BlockLayout(std::ptrdiff_t planes)
        : turned(planes > 128 || (planes & (planes - 1)) != 0),
          stride((turned ? planes + planes % 2 : kColumnsOfBlock) + kGap),
          lines(turned ? kColumnsOfBlock : planes) {}

    /// Where a number lies.
    std::ptrdiff_t At(std::ptrdiff_t plane, std::ptrdiff_t column) const {
        return turned ? column * stride + plane : plane * stride + column;
    }
    std::ptrdiff_t Numbers() const { return lines * stride; }

    bool turned;
    std::ptrdiff_t stride;  ///< complex numbers from line to line
    std::ptrdiff_t lines;
};

/// to[c, v] := from[v, c]
void Turn(const fftwf_complex* from, std::ptrdiff_t fromStride, std::ptrdiff_t rows, std::ptrdiff_t columns,
          fftwf_complex* to, std::ptrdiff_t toStride) {
    using Pair = std::uint64_t __attribute__((vector_size(16)));
    const auto copyOne = [=](std::ptrdiff_t v, std::ptrdiff_t c) {
        std::memcpy(to + c * toStride + v, from + v * fromStride + c, sizeof *to);
    };
    for (std::ptrdiff_t row = 0; row < rows; row += kTogether) {
        const std::ptrdiff_t behind = std::min(row + kTogether, rows);
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

/// The passes of one direction.
struct PlansOneWay {
    PlacedPlans row;
    /// Groups of columns along y come in two sizes at the most: the lesser one, and one more.
    std::array<PlacedPlans, 2> columns;
    Plan depth;
};

struct FreeFloats {
    void operator()(float* p) const { fftwf_free(p); }
};

/// Block of columns: the first of them within a plane, and how many.
struct Block {
    std::ptrdiff_t first;
    std::ptrdiff_t count;
};

/// Numbers that are read soon.
void Prefetch(const fftwf_complex* numbers, std::ptrdiff_t n) {
    constexpr std::ptrdiff_t line = 8;
    for (std::ptrdiff_t i = 0; i < n; i += line) __builtin_prefetch(numbers + i, 0, 2);
}

void CopyNumbers(fftwf_complex* to, const fftwf_complex* from, std::ptrdiff_t n) {
    std::memcpy(to, from, static_cast<std::size_t>(n) * sizeof(fftwf_complex));
}

/// a := a b, or a conj(b), with the roundings of complex_product.h. Two complex numbers at a time: the products with
/// the real part of b, and those with its imaginary part, in the other places of a and with the signs of i b.
template <bool kConjugate>
void MultiplyNumbers(fftwf_complex* a, const fftwf_complex* b, std::ptrdiff_t n) {
    using Floats = float __attribute__((vector_size(16)));
    constexpr std::ptrdiff_t width = sizeof(Floats) / sizeof(fftwf_complex);
    constexpr float ofRe = kConjugate ? 1.0f : -1.0f;
    constexpr Floats signs = {ofRe, -ofRe, ofRe, -ofRe};
    std::ptrdiff_t i = 0;
    for (; i + width <= n; i += width) {
        Floats v;
        Floats w;
        std::memcpy(&v, a + i, sizeof v);
        std::memcpy(&w, b + i, sizeof w);
        const Floats re = __builtin_shufflevector(w, w, 0, 0, 2, 2);
        const Floats im = __builtin_shufflevector(w, w, 1, 1, 3, 3);
        const Floats other = __builtin_shufflevector(v, v, 1, 0, 3, 2);
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

}  // namespace

struct VolumePasses::State {
    State(const VolumeShape& s, Directions directions, float scaleOfInverse, std::ptrdiff_t shares,
          std::ptrdiff_t groups)
        : shape(s), scale(scaleOfInverse), groupsOfPlane(groups) {
        complete = (directions == Directions::kInverse || MakePlans(there, true)) &&
                   (directions == Directions::kForward || MakePlans(back, false)) && MakeRoom(shares);
    }

    bool MakePlans(PlansOneWay& plans, bool forward) const {
        const std::ptrdiff_t columns = shape.ComplexColumns();
        bool had = true;
        for (std::size_t place = 0; place < kPlaces; ++place) {
            plans.row[place] = PlanRow(shape, place, forward);
            had = had && plans.row[place] != nullptr;
            for (std::size_t more = 0; more < (columns % groupsOfPlane == 0 ? 1 : 2); ++more) {
                const std::ptrdiff_t count = columns / groupsOfPlane + static_cast<std::ptrdiff_t>(more);
                Plan& plan = plans.columns[more][place];
                plan = PlanColumns(shape.rows, columns, count, 1, place, forward);
                had = had && plan != nullptr;
            }
        }
        plans.depth = layout.turned ? PlanColumns(shape.planes, 1, kTogether, layout.stride, 0, forward)
                                    : PlanColumns(shape.planes, layout.stride, kTogether, 1, 0, forward);
        return had && plans.depth != nullptr;
    }
    bool MakeRoom(std::ptrdiff_t shares) {
        constexpr std::ptrdiff_t line = 16;
        floatsOfRow = (shape.RowFloats() + line - 1) / line * line;
        floatsOfShare = floatsOfRow + 2 * layout.Numbers();
        const std::size_t floats = static_cast<std::size_t>(shares * floatsOfShare);
        room.reset(static_cast<float*>(fftwf_malloc(floats * sizeof(float))));
        // What lies behind samples and behind a narrow block is transformed too, and should hold numbers.
        if (room != nullptr) std::fill_n(room.get(), floats, 0.0f);
        return room != nullptr;
    }

    std::ptrdiff_t ColumnsOfPlane() const { return shape.rows * shape.ComplexColumns(); }
    Block BlockOf(std::ptrdiff_t block) const {
        const std::ptrdiff_t first = block * kColumnsOfBlock;
        return {first, std::min(kColumnsOfBlock, ColumnsOfPlane() - first)};
    }
    fftwf_complex* Array(std::ptrdiff_t share) const {
        return reinterpret_cast<fftwf_complex*>(room.get() + share * floatsOfShare + floatsOfRow);
    }
    /// From a volume to the array and back.
    void Gather(const float* volume, const Block& block, fftwf_complex* array) const {
        const auto* const from = reinterpret_cast<const fftwf_complex*>(volume) + block.first;
        if (layout.turned)
            return Turn(from, ColumnsOfPlane(), shape.planes, block.count, array, layout.stride);
        for (std::ptrdiff_t k = 0; k < shape.planes; ++k) {
            CopyNumbers(array + layout.At(k, 0), from + k * ColumnsOfPlane(), block.count);
        }
    }
    void Scatter(const fftwf_complex* array, const Block& block, float* volume) const {
        auto* const to = reinterpret_cast<fftwf_complex*>(volume) + block.first;
        if (layout.turned) return Turn(array, layout.stride, block.count, shape.planes, to, ColumnsOfPlane());
        for (std::ptrdiff_t k = 0; k < shape.planes; ++k) {
            CopyNumbers(to + k * ColumnsOfPlane(), array + layout.At(k, 0), block.count);
        }
    }
    void TransformBlock(const Plan& plan, const Block& block, fftwf_complex* array) const {
        for (std::ptrdiff_t c = 0; c < block.count; c += kTogether) {
            fftwf_complex* const first = array + layout.At(0, c);
            fftwf_execute_dft(plan.get(), first, first);
        }
    }
    /// visit(numbers of the array, their place in a transfer volume, how many) along the lines of a block.
    template <class Visit>
    void EachLine(const Block& block, fftwf_complex* array, Visit visit) const {
        const std::ptrdiff_t lines = layout.turned ? block.count : shape.planes;
        const std::ptrdiff_t numbers = layout.turned ? shape.planes : block.count;
        std::ptrdiff_t place = block.first * shape.planes;
        for (std::ptrdiff_t line = 0; line < lines; ++line, place += numbers) {
            visit(array + line * layout.stride, place, numbers);
        }
    }
    /// A real volume's spectrum is real where a frequency is its own conjugate; FFTW's algorithms for prime lengths
    /// leave rounding there.
    void ClearImaginaryOfSelfConjugates(const Block& block, fftwf_complex* array) const {
        const std::ptrdiff_t middleRow = shape.rows % 2 == 0 ? shape.rows / 2 : 0;
        const std::ptrdiff_t middlePlane = shape.planes % 2 == 0 ? shape.planes / 2 : 0;
        for (const std::ptrdiff_t j : {std::ptrdiff_t{0}, middleRow}) {
            for (const std::ptrdiff_t i : {std::ptrdiff_t{0}, shape.columns / 2}) {
                const std::ptrdiff_t c = j * shape.ComplexColumns() + i - block.first;
                if (c < 0 || c >= block.count) continue;
                array[layout.At(0, c)][1] = 0.0f;
                array[layout.At(middlePlane, c)][1] = 0.0f;
            }
        }
    }
    void TakeForward(const float* volume, const Block& block, fftwf_complex* array) const {
        Gather(volume, block, array);
        TransformBlock(there.depth, block, array);
        ClearImaginaryOfSelfConjugates(block, array);
    }
    void PutInverse(fftwf_complex* array, const Block& block, float* volume) const {
        TransformBlock(back.depth, block, array);
        Scatter(array, block, volume);
    }
    void TransformColumns(const PlansOneWay& plans, float* volume, std::ptrdiff_t group) const {
        const std::ptrdiff_t columns = shape.ComplexColumns();
        const std::ptrdiff_t ofPlane = group % groupsOfPlane;
        const std::ptrdiff_t first = columns * ofPlane / groupsOfPlane;
        const std::ptrdiff_t count = columns * (ofPlane + 1) / groupsOfPlane - first;
        float* const plane = volume + group / groupsOfPlane * shape.PlaneFloats();
        auto* const place = reinterpret_cast<fftwf_complex*>(plane) + first;
        const auto more = static_cast<std::size_t>(count - columns / groupsOfPlane);
        fftwf_execute_dft(plans.columns[more][PlaceOf(place)].get(), place, place);
    }

    VolumeShape shape;
    BlockLayout layout{shape.planes};
    float scale;
    std::ptrdiff_t groupsOfPlane;
    PlansOneWay there;
    PlansOneWay back;
    std::ptrdiff_t floatsOfRow = 0;
    std::ptrdiff_t floatsOfShare = 0;
    std::unique_ptr<float, FreeFloats> room;
    bool complete = false;
};

VolumePasses::VolumePasses(const VolumeShape& shape, Directions directions, float scale,
                           std::ptrdiff_t threads)
    : shape_(shape), shares_(shape.planes * shape.PlaneFloats() < kWorthThreads ? 1 : threads) {
    if (!Fit(shape)) return;
    const std::ptrdiff_t wanted = (4 * shares_ + shape.planes - 1) / shape.planes;
    const std::ptrdiff_t most = std::max(shape.ComplexColumns() / kLeastOfGroup, std::ptrdiff_t{1});
    const std::ptrdiff_t groups = PlaneByPlane() ? 1 : std::min(wanted, most);
    state_.reset(new (std::nothrow) State(shape, directions, scale, shares_, groups));
    if (state_ != nullptr && !state_->complete) state_.reset();
}

VolumePasses::~VolumePasses() = default;

bool VolumePasses::Fit(const VolumeShape& shape) {
    constexpr std::ptrdiff_t longest = std::numeric_limits<int>::max();
    return shape.planes > 0 && shape.rows > 0 && shape.columns > 0 && shape.columns % 2 == 0 &&
           shape.columns <= longest;
}

void VolumePasses::ForwardRow(float* samples, float* row) const {
    auto* const spectrum = reinterpret_cast<fftwf_complex*>(row);
    fftwf_execute_dft_r2c(state_->there.row[PlaceOf(spectrum)].get(), samples, spectrum);
}

void VolumePasses::InverseRow(float* row, float* samples) const {
    auto* const spectrum = reinterpret_cast<fftwf_complex*>(row);
    fftwf_execute_dft_c2r(state_->back.row[PlaceOf(spectrum)].get(), spectrum, samples);
    const float scale = state_->scale;
    for (std::ptrdiff_t i = 0; i < shape_.columns; ++i) samples[i] *= scale;
    for (std::ptrdiff_t i = shape_.columns; i < shape_.RowFloats(); ++i) samples[i] = 0.0f;
}

std::ptrdiff_t VolumePasses::GroupsOfColumns() const {
    return shape_.planes * state_->groupsOfPlane;
}
void VolumePasses::ForwardColumns(float* volume, std::ptrdiff_t group) const {
    state_->TransformColumns(state_->there, volume, group);
}
void VolumePasses::InverseColumns(float* volume, std::ptrdiff_t group) const {
    state_->TransformColumns(state_->back, volume, group);
}

float* VolumePasses::Samples(std::ptrdiff_t share) const {
    return state_->room.get() + share * state_->floatsOfShare;
}

std::ptrdiff_t VolumePasses::Blocks() const {
    return (state_->ColumnsOfPlane() + kColumnsOfBlock - 1) / kColumnsOfBlock;
}

void VolumePasses::ForwardBlock(float* volume, std::ptrdiff_t share, std::ptrdiff_t block) const {
    const Block columns = state_->BlockOf(block);
    if (shape_.planes == 1) {
        // A single plane is its own transform along z.
        auto* const numbers = reinterpret_cast<fftwf_complex*>(volume) + columns.first;
        return state_->ClearImaginaryOfSelfConjugates(columns, numbers);
    }
    fftwf_complex* const array = state_->Array(share);
    state_->TakeForward(volume, columns, array);
    state_->Scatter(array, columns, volume);
}

void VolumePasses::InverseBlock(float* volume, std::ptrdiff_t share, std::ptrdiff_t block) const {
    if (shape_.planes == 1) return;
    const Block columns = state_->BlockOf(block);
    fftwf_complex* const array = state_->Array(share);
    state_->Gather(volume, columns, array);
    state_->PutInverse(array, columns, volume);
}

// A transfer volume holds a block after the other, each line by line.

void VolumePasses::TransferBlock(float* transfer, const float* volume, std::ptrdiff_t share,
                                 std::ptrdiff_t block) const {
    const Block columns = state_->BlockOf(block);
    fftwf_complex* const array = state_->Array(share);
    state_->TakeForward(volume, columns, array);
    auto* const to = reinterpret_cast<fftwf_complex*>(transfer);
    state_->EachLine(columns, array,
                     [to](const fftwf_complex* numbers, std::ptrdiff_t place, std::ptrdiff_t count) {
                         CopyNumbers(to + place, numbers, count);
                     });
}

void VolumePasses::MultiplyBlock(float* volume, const float* transfer, TransferUse use, std::ptrdiff_t share,
                                 std::ptrdiff_t block) const {
    const Block columns = state_->BlockOf(block);
    fftwf_complex* const array = state_->Array(share);
    const auto* const by = reinterpret_cast<const fftwf_complex*>(transfer);
    // The processor would begin to fetch ahead only while the product waits for it.
    Prefetch(by + columns.first * shape_.planes, columns.count * shape_.planes);
    state_->TakeForward(volume, columns, array);
    const bool conjugate = use == TransferUse::kConjugate;
    state_->EachLine(columns, array, [=](fftwf_complex* numbers, std::ptrdiff_t place, std::ptrdiff_t count) {
        conjugate ? MultiplyNumbers<true>(numbers, by + place, count)
                  : MultiplyNumbers<false>(numbers, by + place, count);
    });
    state_->PutInverse(array, columns, volume);
}

}  // namespace gnr::fft
