// SPDX-License-Identifier: MIT
#pragma once

// One call of a blind inner loop on buffers of its own, for all three forms, and the same pass as a plain chain
// of the exported kernels.

#include <gnr_deconvolution/kernels_3d.h>

#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/progress_log.h"
#include "support/restoration_job.h"
#include "support/volumes.h"

namespace gnr::test {

enum class BlindForm { Serial, Parallel, Sim };
inline constexpr BlindForm kBlindForms[] = {BlindForm::Serial, BlindForm::Parallel, BlindForm::Sim};

inline const char* NameOf(BlindForm form) {
    constexpr const char* names[] = {"Serial", "Parallel", "Sim"};
    return names[static_cast<int>(form)];
}

/// All that a pass works on; working volumes begin as sentinels.
struct BlindCall {
    BlindCall(const Volume& image, const Volume& psf, unsigned n)
        : updated(image),
          fixed(psf),
          observed(image),
          work{Work(image), Work(image), Work(image), Work(image), Work(image), Work(image)},
          planes(static_cast<std::size_t>(4 * image.sizes.planeStride), kSentinel),
          sweeps(n) {}

    static Volume Work(const Volume& like) {
        Volume volume(like.sizes);
        volume.Fill([](int, int, int) { return kSentinel; }).FillPadding(kSentinel);
        return volume;
    }

    const Volume& otf() const { return work[0]; }
    const Volume& v() const { return work[1]; }
    const Volume& previous() const { return work[2]; }
    const Volume& scratch() const { return work[3]; }
    const Volume& gradient1() const { return work[4]; }
    const Volume& gradient2() const { return work[5]; }

    unsigned Run(BlindForm form, ProgressLog* log = nullptr) {
        using Low = CRy3DDeconvolutionLow;
        const RyProgressCallback callback = log != nullptr ? &ProgressLog::Record : nullptr;
        DFT3D s = updated.sizes;
        if (form == BlindForm::Sim) {
            return Low::SIM_AccIBDProcessInner3D(updated, fixed, &s, sweeps, isOfImage, stopE8, planes.data(),
                                                 observed, work[0], work[1], work[2], work[3], work[4],
                                                 work[5], callback, log, status, reports, accelerates);
        }
        const auto run =
            form == BlindForm::Serial ? &Low::AccIBDProcessInner3D : &Low::SSE_AccIBDProcessInner3D;
        return run(updated, fixed, &s, sweeps, isOfImage, stopE8, planes.data(), observed, work[0], work[1],
                   work[2], work[3], work[4], work[5], callback, log, status, reports);
    }

    /// Whether this pass is accelerated.
    bool Accelerates(BlindForm form) const { return form == BlindForm::Sim ? accelerates : sweeps >= 3; }

    Volume updated;
    Volume fixed;
    Volume observed;
    std::array<Volume, 6> work;
    std::vector<float> planes;
    unsigned sweeps;
    bool isOfImage = true;
    float stopE8 = -1.0f;
    bool reports = false;
    bool accelerates = false;  ///< asked of the form that does not decide by itself
    int status = 77;
};

/// The same pass by the exported kernels alone, step by step, stopped at poll number `stopAt`, from 0. Returns
/// nothing where it was stopped. Stop tests and reports are left out.
inline bool RunChain(BlindCall& call, BlindForm form, int stopAt = -1) {
    using Low = CRy3DDeconvolutionLow;
    const DFT3D* const s = &call.updated.sizes;
    const bool parallel = form == BlindForm::Parallel;
    const bool accelerates = call.Accelerates(form);
    auto& [otf, v, previous, scratch, gradient1, gradient2] = call.work;
    const Volume& A = call.updated;
    int polls = 0;
    const auto stopped = [&] { return polls++ == stopAt; };

    const float sum = Low::GetSumOfImageXX(s, call.fixed);
    const float c = sum < 1e-10 ? 1.0f : 1.0f / sum;
    Low::DFT3D_Transform_NonInPlace(s, otf, call.fixed);
    if (accelerates || form != BlindForm::Sim) Low::SetOnesFour(v, previous, gradient1, gradient2, s);
    float alpha = parallel ? 0.0f : 1.0f;
    Low::KERNEL3D_Copy(s, scratch, A);
    if (stopped()) return false;
    for (unsigned i = 0; i < call.sweeps; ++i) {
        if (stopped()) return false;
        if (accelerates) {
            parallel ? Low::SSE_PowVkAlpha3D(v, s, alpha) : Low::PowVkAlpha3D(v, s, alpha);
            Low::KERNEL3D_Multiply(s, A, v);
            if (stopped()) return false;
        }
        Low::DFT3D_Transform_NonInPlace(s, scratch, A);
        Low::KERNEL3D_ComplexMultiply(s, scratch, otf);
        Low::DFT3D_Inversion(s, scratch);
        if (stopped()) return false;
        if (form == BlindForm::Serial) {
            Low::KERNEL3D_Divide(s, scratch, call.observed);
        } else {
            Low::SSE_Divide(scratch, call.observed, s->total);
        }
        Low::DFT3D_Transform(s, scratch);
        Low::KERNEL3D_ComplexMultiplyAdJoint(s, scratch, otf);
        Low::DFT3D_Inversion(s, scratch);
        if (stopped()) return false;
        Low::KERNEL3D_Multiply(s, A, scratch);
        Low::MulFloatC3DXX(s, A, c);
        if (!accelerates) continue;
        if (stopped()) return false;
        Low::GetPVKM1_3D(v, A, previous, s);
        if (stopped()) return false;
        alpha = Low::Recompute_dAlphaK3D(call.planes.data(), A, previous, gradient1, gradient2, s);
        if (stopped()) return false;
        Low::KERNEL3D_Copy(s, previous, A);
        Low::KERNEL3D_Copy(s, gradient2, gradient1);
        Low::KERNEL3D_Copy(s, gradient1, scratch);
    }
    return true;
}

/// A small job: lopsided PSF of sum 1.2, noisy observed image, padding of both full of sentinels.
inline BlindCall SmallBlindCall(unsigned sweeps, int x = 6, int y = 5, int z = 4) {
    Volume psf = AsymmetricPsf(x, y, z, 1.2);
    Volume image = Observed(Scene(x, y, z, 20, 400), AsymmetricPsf(x, y, z), 0.02f);
    return {image, psf, sweeps};
}

}  // namespace gnr::test
