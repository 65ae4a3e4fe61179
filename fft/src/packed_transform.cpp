// SPDX-License-Identifier: MIT
#include <fft/ippi.h>
#include <fftw3.h>
#include <omp.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "packed_layout.h"
#include "planner.h"

namespace {

using namespace gnr::fft;

/// Alignment of the half spectrum within the work buffer, in bytes.
constexpr std::size_t kAlignment = 64;
constexpr int kGreatestOrder = 28;
/// Below so many samples threads cost more than they give.
constexpr std::ptrdiff_t kWorthThreads = std::ptrdiff_t{1} << 15;

struct FreeBlock {
    void operator()(void* block) const { fftwf_free(block); }
};
using Block = std::unique_ptr<void, FreeBlock>;

struct Sides {
    std::ptrdiff_t width;
    std::ptrdiff_t height;

    std::size_t SpectrumBytes() const {
        return static_cast<std::size_t>(height) * static_cast<std::size_t>(width / 2 + 1) *
               sizeof(fftwf_complex);
    }
    int DenseStep() const { return static_cast<int>(width * static_cast<std::ptrdiff_t>(sizeof(float))); }
};

enum class Direction { kForward, kBackward };

/// A plan between real rows `step` bytes apart and dense complex rows.
Plan PlanTransform(const Sides& s, Direction direction, float* real, int step, fftwf_complex* spectrum,
                   unsigned flags) {
    const std::ptrdiff_t row = step / static_cast<std::ptrdiff_t>(sizeof(float));
    const std::ptrdiff_t columns = s.width / 2 + 1;
    const bool forward = direction == Direction::kForward;
    const fftwf_iodim64 axes[] = {
        {s.height, forward ? row : columns, forward ? columns : row},
        {s.width, 1, 1},
    };
    const int threads = s.width * s.height >= kWorthThreads ? omp_get_max_threads() : 1;
    return MakeGuarded(threads, [&] {
        return forward ? fftwf_plan_guru64_dft_r2c(2, axes, 0, nullptr, real, spectrum, flags)
                       : fftwf_plan_guru64_dft_c2r(2, axes, 0, nullptr, spectrum, real, flags);
    });
}

/// Stands for aligned memory where FFTW wants to know the alignment only.
alignas(kAlignment) float alignedPlaces[2][kAlignment / sizeof(float)];

Plan PlanAligned(const Sides& s, Direction direction) {
    return PlanTransform(s, direction, alignedPlaces[0], s.DenseStep(),
                         reinterpret_cast<fftwf_complex*>(alignedPlaces[1]), FFTW_ESTIMATE);
}

}  // namespace

struct FFT2DSpec_R_32f {
    Sides sides{};
    float forwardScale = 1.0f;
    float inverseScale = 1.0f;
    Plan forward;   ///< aligned frames without gaps
    Plan backward;  ///< the same
    int bufferSize = 0;
};

namespace {

/// Room for the half spectrum: the caller's buffer where it is large enough, else a block of its own.
class SpectrumRoom {
  public:
    SpectrumRoom(const FFT2DSpec_R_32f& spec, void* buffer) {
        std::size_t space = static_cast<std::size_t>(spec.bufferSize);
        const std::size_t bytes = spec.sides.SpectrumBytes();
        if (buffer != nullptr && std::align(kAlignment, bytes, buffer, space) != nullptr) {
            place_ = buffer;
        } else {
            own_.reset(fftwf_malloc(bytes));
            place_ = own_.get();
        }
    }
    fftwf_complex* Get() const { return static_cast<fftwf_complex*>(place_); }

  private:
    Block own_;
    void* place_ = nullptr;
};

IppStatus CheckTransform(const float* frame, int step, const FFT2DSpec_R_32f* spec) {
    if (frame == nullptr || spec == nullptr) return ippStsNullPtrErr;
    if (step < spec->sides.DenseStep() || step % static_cast<int>(sizeof(float)) != 0) return ippStsStepErr;
    return ippStsNoErr;
}

/// Whether the plan that the specification keeps fits this frame.
bool IsAlignedAndDense(const FFT2DSpec_R_32f& spec, const float* frame, int step) {
    return step == spec.sides.DenseStep() &&
           fftwf_alignment_of(const_cast<float*>(frame)) == fftwf_alignment_of(alignedPlaces[0]);
}

/// Runs one direction between frame and spectrum, by the kept plan or by one for this frame alone.
bool Execute(const FFT2DSpec_R_32f& spec, Direction direction, float* frame, int step,
             fftwf_complex* spectrum) {
    const bool forward = direction == Direction::kForward;
    Plan own;
    fftwf_plan plan = (forward ? spec.forward : spec.backward).get();
    if (!IsAlignedAndDense(spec, frame, step)) {
        own = PlanTransform(spec.sides, direction, frame, step, spectrum, FFTW_ESTIMATE | FFTW_UNALIGNED);
        if (own == nullptr) return false;
        plan = own.get();
    }
    if (forward) {
        fftwf_execute_dft_r2c(plan, frame, spectrum);
    } else {
        fftwf_execute_dft_c2r(plan, spectrum, frame);
    }
    return true;
}

/// Scales of both directions; false for a flag that is none.
bool SetScales(FFT2DSpec_R_32f& spec, int flag) {
    const double samples = static_cast<double>(spec.sides.width) * static_cast<double>(spec.sides.height);
    switch (flag) {
        case IPP_FFT_DIV_FWD_BY_N:
            spec.forwardScale = static_cast<float>(1.0 / samples);
            return true;
        case IPP_FFT_DIV_INV_BY_N:
            spec.inverseScale = static_cast<float>(1.0 / samples);
            return true;
        case IPP_FFT_DIV_BY_SQRTN:
            spec.forwardScale = spec.inverseScale = static_cast<float>(1.0 / std::sqrt(samples));
            return true;
        case IPP_FFT_NODIV_BY_ANY:
            return true;
        default:
            return false;
    }
}

}  // namespace

IppStatus ippiFFTInitAlloc_R_32f(FFT2DSpec_R_32f** ppSpec, int orderX, int orderY, int flag,
                                 IppHintAlgorithm) {
    if (ppSpec == nullptr) return ippStsNullPtrErr;
    *ppSpec = nullptr;
    const auto usable = [](int order) { return order >= 0 && order <= kGreatestOrder; };
    if (!usable(orderX) || !usable(orderY)) return ippStsFftOrderErr;
    std::unique_ptr<FFT2DSpec_R_32f> spec(new (std::nothrow) FFT2DSpec_R_32f);
    if (spec == nullptr) return ippStsMemAllocErr;
    spec->sides = {std::ptrdiff_t{1} << orderX, std::ptrdiff_t{1} << orderY};
    if (!SetScales(*spec, flag)) return ippStsFftFlagErr;
    // A buffer of more bytes than an int counts is not asked for; the transforms then bring their own.
    const std::size_t wanted = spec->sides.SpectrumBytes() + kAlignment;
    const bool counted = wanted <= static_cast<std::size_t>(std::numeric_limits<int>::max());
    spec->bufferSize = counted ? static_cast<int>(wanted) : 1;
    spec->forward = PlanAligned(spec->sides, Direction::kForward);
    spec->backward = PlanAligned(spec->sides, Direction::kBackward);
    if (spec->forward == nullptr || spec->backward == nullptr) return ippStsMemAllocErr;
    *ppSpec = spec.release();
    return ippStsNoErr;
}

IppStatus ippiFFTFree_R_32f(FFT2DSpec_R_32f* pSpec) {
    if (pSpec == nullptr) return ippStsNullPtrErr;
    delete pSpec;
    return ippStsNoErr;
}

IppStatus ippiFFTGetBufSize_R_32f(const FFT2DSpec_R_32f* pSpec, int* pSize) {
    if (pSpec == nullptr || pSize == nullptr) return ippStsNullPtrErr;
    *pSize = pSpec->bufferSize;
    return ippStsNoErr;
}

IppStatus ippiFFTFwd_RToPack_32f_C1IR(Ipp32f* pSrcDst, int step, const FFT2DSpec_R_32f* pSpec,
                                      Ipp8u* pBuffer) {
    const IppStatus status = CheckTransform(pSrcDst, step, pSpec);
    if (status != ippStsNoErr) return status;
    const SpectrumRoom room(*pSpec, pBuffer);
    if (room.Get() == nullptr) return ippStsMemAllocErr;
    if (!Execute(*pSpec, Direction::kForward, pSrcDst, step, room.Get())) return ippStsMemAllocErr;
    Pack({pSpec->sides.width, pSpec->sides.height, pSrcDst, step, room.Get()}, pSpec->forwardScale);
    return ippStsNoErr;
}

IppStatus ippiFFTInv_PackToR_32f_C1IR(Ipp32f* pSrcDst, int step, const FFT2DSpec_R_32f* pSpec,
                                      Ipp8u* pBuffer) {
    const IppStatus status = CheckTransform(pSrcDst, step, pSpec);
    if (status != ippStsNoErr) return status;
    const SpectrumRoom room(*pSpec, pBuffer);
    if (room.Get() == nullptr) return ippStsMemAllocErr;
    Unpack({pSpec->sides.width, pSpec->sides.height, pSrcDst, step, room.Get()}, pSpec->inverseScale);
    return Execute(*pSpec, Direction::kBackward, pSrcDst, step, room.Get()) ? ippStsNoErr : ippStsMemAllocErr;
}
