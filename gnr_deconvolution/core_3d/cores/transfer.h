// SPDX-License-Identifier: MIT
#pragma once

// Products with the transfer function of a PSF: the same samples as the chain of transform, product and inverse
// transform, whose ways through memory the work between them shares. A row of samples is worked on where the inverse
// transform leaves it, and goes into the next transform from there.

#include <fft/volume_passes.h>
#include <gnr_deconvolution/kernels_3d.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>

#include "detail/parallel.h"
#include "detail/volume_geometry.h"

namespace gnr::detail {

using gnr::fft::RowChunk;
using gnr::fft::TransferUse;

// A blur of x by the PSF, a loop over the rows of what comes of it, and the back-projection of what the loop makes
// of them:
//
//   Transfer transfer(s, otf, {work});
//   transfer.Make(psf, work);
//   transfer.Forward(work, x);
//   transfer.Multiply(work, TransferUse::kPlain);
//   transfer.Sweep(work, work, EachShare{}, [&](const RowChunk& rows, auto*) {
//       rows.EachRow([&](std::int64_t r, float* samples) {
//           transfer.Take(work, r, samples);
//           ...
//           transfer.Put(samples, work, r);
//       });
//   });
//   transfer.Multiply(work, TransferUse::kConjugate);
class Transfer {
  public:
    /// `volumes` are those that products are formed in. The transfer function is kept in `otf`.
    Transfer(const DFT3D& s, float* otf, std::initializer_list<const float*> volumes);

    /// Takes the transfer function of a PSF. `work` is a volume that loses its samples.
    void Make(const float* psf, float* work);

    /// work := F(source)
    void Forward(float* work, const float* source) const;

    /// work := F^-1(work), after Multiply.
    void Inverse(float* work) const;

    /// work := F^-1(work H), or F^-1(work conj(H)), but for what Sweep does.
    void Multiply(float* work, TransferUse use) const;

    /// work(rows, result) on all rows of the volume, chunk by chunk: each row of `from` is taken and each of `to` is
    /// put once. Either may be null; both may be the same; without either there may be no samples. The loop is one of detail/parallel.h; what it gives.
    template <class Loop, class Work>
    auto Sweep(float* from, float* to, const Loop& loop, Work work) const {
        if (passes_) return passes_.Sweep(from, to, loop, work);
        if (from != nullptr) Low::DFT3D_Inversion(&s_, from);
        const std::int64_t chunks = (s_.rows + kRowsTogether - 1) / kRowsTogether;
        float* const samples = to != nullptr ? to : from;
        const auto result = loop.Reduce(s_.planes * chunks, [=, this](std::int64_t i, auto* results) {
            const std::int64_t row = i % chunks * kRowsTogether;
            const std::int64_t first = i / chunks * s_.rows + row;
            const std::int64_t count = std::min(kRowsTogether, s_.rows - row);
            float* const ofFirst = samples != nullptr ? samples + first * s_.rowLength : nullptr;
            work(RowChunk{first, count, ofFirst, s_.rowLength}, results);
        });
        if (to != nullptr) Low::DFT3D_Transform(&s_, to);
        return result;
    }

    /// A row of samples, to be had once.
    void Take(float* from, std::int64_t r, float* samples) const {
        float* const row = from + r * s_.rowLength;
        passes_ ? passes_.InverseRow(row, samples) : CopyRow(samples, row);
    }
    /// The samples are lost.
    void Put(float* samples, float* to, std::int64_t r) const {
        float* const row = to + r * s_.rowLength;
        passes_ ? passes_.ForwardRow(samples, row) : CopyRow(row, samples);
    }

  private:
    using Low = CRy3DDeconvolutionLow;
    static constexpr std::int64_t kRowsTogether = 8;

    void CopyRow(float* to, const float* from) const {
        if (to != from) std::copy_n(from, s_.rowLength, to);
    }

    DFT3D s_;
    float* otf_;
    gnr::fft::VolumePasses passes_;  ///< or none: whole transforms, samples where their rows lie
};

}  // namespace gnr::detail
