// SPDX-License-Identifier: MIT

// Packed transforms in two passes: chunks of rows between frame and half spectrum, and blocks of columns
// between half spectrum and packed frame.

#include <fft/ippi.h>
#include <fft/transfer.h>
#include <fftw3.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>

#include "packed_columns.h"
#include "packed_plans.h"
#include "parallel.h"
#include "strided_rows.h"

using namespace gnr::fft;

struct FFT2DSpec_R_32f {
    PackedSides sides{};
    float forwardScale = 1.0f;
    float inverseScale = 1.0f;
    std::ptrdiff_t shares = 1;  ///< of the work; each has a block of columns
    Plan rowsForward;
    Plan rowsBackward;
    Plan columnsForward;
    Plan columnsBackward;
    int bufferSize = 0;

    std::ptrdiff_t SpectrumValues() const { return sides.height * sides.SpectrumStride(); }
    std::ptrdiff_t BlockValues() const { return sides.BlockStride() * ColumnsOfBlock(sides); }
    std::size_t RoomBytes() const {
        return static_cast<std::size_t>(SpectrumValues() + shares * BlockValues()) * sizeof(fftwf_complex);
    }
};

namespace {

/// Alignment of the half spectrum within the work buffer, in bytes.
constexpr std::size_t kAlignment = 64;
constexpr int kGreatestOrder = 28;

/// Room for half spectrum and blocks: the caller's buffer where it is large enough, else a block of its own.
class WorkRoom {
  public:
    WorkRoom(const FFT2DSpec_R_32f& spec, void* buffer) {
        auto space = static_cast<std::size_t>(spec.bufferSize);
        const std::size_t bytes = spec.RoomBytes();
        if (buffer != nullptr && std::align(kAlignment, bytes, buffer, space) != nullptr) {
            place_ = static_cast<fftwf_complex*>(buffer);
        } else {
            own_.reset(static_cast<fftwf_complex*>(fftwf_malloc(bytes)));
            place_ = own_.get();
        }
    }
    fftwf_complex* Spectrum() const { return place_; }
    fftwf_complex* Block(const FFT2DSpec_R_32f& spec, std::ptrdiff_t share) const {
        return place_ + spec.SpectrumValues() + share * spec.BlockValues();
    }

  private:
    struct FreeBlock {
        void operator()(fftwf_complex* block) const { fftwf_free(block); }
    };
    std::unique_ptr<fftwf_complex, FreeBlock> own_;
    fftwf_complex* place_ = nullptr;
};

/// A plan at work in its room: the passes that transforms are made of.
class Run {
  public:
    Run(const FFT2DSpec_R_32f& spec, void* buffer) : spec_(spec), room_(spec, buffer) {}

    /// The room was had.
    explicit operator bool() const { return room_.Spectrum() != nullptr; }

    float* SamplesOfRow(std::ptrdiff_t row) const {
        return room_.Spectrum()[row * spec_.sides.SpectrumStride()];
    }
    /// A chunk of rows within the half spectrum's room, to spectral rows and back.
    void TransformChunk(fftwf_complex* spectrum) const {
        fftwf_execute_dft_r2c(spec_.rowsForward.get(), *spectrum, spectrum);
    }
    void InvertChunk(fftwf_complex* spectrum) const {
        fftwf_execute_dft_c2r(spec_.rowsBackward.get(), spectrum, *spectrum);
    }
    fftwf_complex* Chunk(std::ptrdiff_t chunk) const {
        return room_.Spectrum() + chunk * RowsOfChunk(spec_.sides) * spec_.sides.SpectrumStride();
    }

    /// Rows of samples to the half spectrum.
    void TransformRows(const float* samples, int step) const {
        ForEachChunk([&](std::ptrdiff_t firstRow, fftwf_complex* spectrum) {
            const PackedSides& s = spec_.sides;
            for (std::ptrdiff_t j = 0; j < RowsOfChunk(s); ++j) {
                std::copy_n(Row(samples, step, firstRow + j), s.width, spectrum[j * s.SpectrumStride()]);
            }
            TransformChunk(spectrum);
        });
    }
    /// The half spectrum to rows of samples.
    void InvertRows(float* samples, int step) const {
        ForEachChunk([&](std::ptrdiff_t firstRow, fftwf_complex* spectrum) {
            const PackedSides& s = spec_.sides;
            InvertChunk(spectrum);
            for (std::ptrdiff_t j = 0; j < RowsOfChunk(s); ++j) {
                std::copy_n(spectrum[j * s.SpectrumStride()], s.width, Row(samples, step, firstRow + j));
            }
        });
    }

    /// Columns of the half spectrum to the packed frame.
    void TransformColumns(const PackedFrame& frame) const {
        ForEachBlock([&](const ColumnBlock& block) {
            TakeTransformed(block);
            PutToFrame(spec_.sides, block, frame, spec_.forwardScale);
        });
    }
    /// The packed frame to columns of the half spectrum.
    void InvertColumns(const PackedFrame& frame) const {
        ForEachBlock([&](const ColumnBlock& block) {
            TakeFromFrame(spec_.sides, frame, block, spec_.inverseScale);
            PutInverted(block);
        });
    }
    /// Columns of the half spectrum to the transfer frame.
    void TransformColumnsToTransfer(float* transfer) const {
        ForEachBlock([&](const ColumnBlock& block) {
            TakeTransformed(block);
            PutToTransfer(spec_.sides, block, transfer, spec_.forwardScale);
        });
    }
    /// Columns of the half spectrum, there and back, times the transfer frame in between.
    void MultiplyColumns(const float* transfer, bool conjugate) const {
        const TransferProduct product = {transfer, conjugate, spec_.forwardScale, spec_.inverseScale};
        ForEachBlock([&](const ColumnBlock& block) {
            TakeTransformed(block);
            MultiplyBlock(spec_.sides, block, product);
            PutInverted(block);
        });
    }

  private:
    /// body(first row, its place in the half spectrum), the chunks shared among the threads.
    template <class Body>
    void ForEachChunk(Body body) const {
        const std::ptrdiff_t together = RowsOfChunk(spec_.sides);
        ParallelShares(spec_.shares, spec_.sides.height / together,
                       [&](std::ptrdiff_t, std::ptrdiff_t first, std::ptrdiff_t last) {
                           for (std::ptrdiff_t n = first * together; n < last * together; n += together) {
                               body(n, room_.Spectrum() + n * spec_.sides.SpectrumStride());
                           }
                       });
    }
    template <class Body>
    void ForEachBlock(Body body) const {
        const std::ptrdiff_t together = ColumnsOfBlock(spec_.sides);
        ParallelShares(spec_.shares, spec_.sides.Columns() / together,
                       [&](std::ptrdiff_t share, std::ptrdiff_t first, std::ptrdiff_t last) {
                           for (std::ptrdiff_t n = first; n < last; ++n) {
                               body(ColumnBlock{n * together, together, room_.Block(spec_, share)});
                           }
                       });
    }
    void TakeTransformed(const ColumnBlock& block) const {
        TakeFromSpectrum(spec_.sides, room_.Spectrum(), block);
        fftwf_execute_dft(spec_.columnsForward.get(), block.values, block.values);
    }
    void PutInverted(const ColumnBlock& block) const {
        fftwf_execute_dft(spec_.columnsBackward.get(), block.values, block.values);
        PutToSpectrum(spec_.sides, block, room_.Spectrum());
    }

    const FFT2DSpec_R_32f& spec_;
    WorkRoom room_;
};

IppStatus CheckTransform(const float* frame, int step, const FFT2DSpec_R_32f* spec) {
    if (frame == nullptr || spec == nullptr) return ippStsNullPtrErr;
    if (step < spec->sides.width * static_cast<std::ptrdiff_t>(sizeof(float)) ||
        step % static_cast<int>(sizeof(float)) != 0)
        return ippStsStepErr;
    return ippStsNoErr;
}

/// Scales of both directions; false for a flag that is none.
bool SetScales(FFT2DSpec_R_32f& spec, int flag) {
    const auto samples = static_cast<double>(spec.sides.Samples());
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

/// Plans and sizes; false where FFTW has no plan.
bool Prepare(FFT2DSpec_R_32f& spec) {
    if (spec.sides.Samples() >= kWorthThreads) spec.shares = omp_get_max_threads();
    // A buffer of more bytes than an int counts is not asked for; the transforms then bring their own.
    const std::size_t wanted = spec.RoomBytes() + kAlignment;
    const bool counted = wanted <= static_cast<std::size_t>(std::numeric_limits<int>::max());
    spec.bufferSize = counted ? static_cast<int>(wanted) : 1;
    spec.rowsForward = PlanRows(spec.sides, Direction::kForward);
    spec.rowsBackward = PlanRows(spec.sides, Direction::kBackward);
    spec.columnsForward = PlanColumns(spec.sides, Direction::kForward);
    spec.columnsBackward = PlanColumns(spec.sides, Direction::kBackward);
    return spec.rowsForward != nullptr && spec.rowsBackward != nullptr && spec.columnsForward != nullptr &&
           spec.columnsBackward != nullptr;
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
    if (!Prepare(*spec)) return ippStsMemAllocErr;
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
    const Run run(*pSpec, pBuffer);
    if (!run) return ippStsMemAllocErr;
    run.TransformRows(pSrcDst, step);
    run.TransformColumns({pSrcDst, step});
    return ippStsNoErr;
}

IppStatus ippiFFTInv_PackToR_32f_C1IR(Ipp32f* pSrcDst, int step, const FFT2DSpec_R_32f* pSpec,
                                      Ipp8u* pBuffer) {
    const IppStatus status = CheckTransform(pSrcDst, step, pSpec);
    if (status != ippStsNoErr) return status;
    const Run run(*pSpec, pBuffer);
    if (!run) return ippStsMemAllocErr;
    run.InvertColumns({pSrcDst, step});
    run.InvertRows(pSrcDst, step);
    return ippStsNoErr;
}

namespace gnr::fft {

IppStatus MakeTransfer(float* frame, const IppiSize& size, const FFT2DSpec_R_32f* pSpec,
                       unsigned char* pBuffer) {
    const int step = DenseStep(size);
    if (size.width < 2) return ippiFFTFwd_RToPack_32f_C1IR(frame, step, pSpec, pBuffer);
    const IppStatus status = CheckTransform(frame, step, pSpec);
    if (status != ippStsNoErr) return status;
    const Run run(*pSpec, pBuffer);
    if (!run) return ippStsMemAllocErr;
    run.TransformRows(frame, step);
    run.TransformColumnsToTransfer(frame);
    return ippStsNoErr;
}

IppStatus MultiplyByTransfer(float* dst, const float* src, const float* transfer, TransferUse use,
                             const IppiSize& size, const FFT2DSpec_R_32f* pSpec, unsigned char* pBuffer) {
    if (size.width < 2) return MultiplyByPackedSpectrum(dst, src, transfer, use, size, pSpec, pBuffer);
    const int step = DenseStep(size);
    if (transfer == nullptr) return ippStsNullPtrErr;
    for (const float* const frame : {static_cast<const float*>(dst), src}) {
        const IppStatus status = CheckTransform(frame, step, pSpec);
        if (status != ippStsNoErr) return status;
    }
    const Run run(*pSpec, pBuffer);
    if (!run) return ippStsMemAllocErr;
    run.TransformRows(src, step);
    run.MultiplyColumns(transfer, use == TransferUse::kConjugate);
    run.InvertRows(dst, step);
    return ippStsNoErr;
}

struct TransferPasses::State {
    State(const FFT2DSpec_R_32f& plan, void* buffer) : spec(plan), run(plan, buffer) {
        // A single column has no transfer frame but a packed one.
        if (plan.sides.width < 2)
            packed.reset(new (std::nothrow) float[static_cast<std::size_t>(plan.sides.height)]);
    }
    bool IsComplete() const { return run && (spec.sides.width > 1 || packed != nullptr); }

    const FFT2DSpec_R_32f& spec;
    Run run;
    std::unique_ptr<float[]> packed;
};

TransferPasses::TransferPasses(const IppiSize& /*size*/, const FFT2DSpec_R_32f* pSpec, unsigned char* pBuffer)
    : run_(pSpec == nullptr ? nullptr : new (std::nothrow) State(*pSpec, pBuffer)) {
    if (run_ != nullptr && !run_->IsComplete()) run_.reset();
}

TransferPasses::~TransferPasses() = default;

std::ptrdiff_t TransferPasses::RowsTogether() const {
    return RowsOfChunk(run_->spec.sides);
}
std::ptrdiff_t TransferPasses::Chunks() const {
    return run_->spec.sides.height / RowsTogether();
}
float* TransferPasses::Samples(std::ptrdiff_t row) const {
    return run_->run.SamplesOfRow(row);
}
void TransferPasses::Transform(std::ptrdiff_t chunk) const {
    run_->run.TransformChunk(run_->run.Chunk(chunk));
}
void TransferPasses::Invert(std::ptrdiff_t chunk) const {
    run_->run.InvertChunk(run_->run.Chunk(chunk));
}
void TransferPasses::Multiply(const float* transfer, TransferUse use) const {
    const bool conjugate = use == TransferUse::kConjugate;
    if (run_->packed == nullptr) return run_->run.MultiplyColumns(transfer, conjugate);
    float* const packed = run_->packed.get();
    const int step = static_cast<int>(sizeof(float));
    const IppiSize column = {1, static_cast<int>(run_->spec.sides.height)};
    run_->run.TransformColumns({packed, step});
    if (conjugate) {
        ippiMulPackConj_32f_C1R(packed, step, transfer, step, packed, step, column);
    } else {
        ippiMulPack_32f_C1IR(transfer, step, packed, step, column);
    }
    run_->run.InvertColumns({packed, step});
}

}  // namespace gnr::fft
