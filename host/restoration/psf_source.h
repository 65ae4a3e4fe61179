// SPDX-License-Identifier: MIT
#pragma once

// A PSF, wherever it comes from, made ready for the library: peak at the origin with wrap-around, no negative
// samples, sum 1.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "report/messages.h"
#include "restoration/psf_rows.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// How many samples a PSF reaches below and above its peak on each axis.
struct PsfReach {
    Extent low;
    Extent high;
};

/// One PSF. Its rows are walked through three times: to know them, twice, and to lay them out.
class PsfSource {
  public:
    /// Scans the rows. UserError for samples that are not finite and where none is above 0.
    PsfSource(std::unique_ptr<PsfRows> rows, const Messages& messages);

    /// For messages: the file in quotes, or "the computed PSF".
    std::string name() const { return rows_->name(); }

    /// What a computed PSF was computed from; empty for a file.
    std::optional<Optics> optics() const { return rows_->optics(); }

    /// Samples on each axis.
    Extent size() const { return rows_->size(); }

    /// Position of the largest sample; the middle of all of them where several are equally large.
    const Extent& peak() const { return peak_; }

    /// Reach of what is above kReachLevel of the peak: what decides the margin around an image.
    const PsfReach& reach() const { return reach_; }

    /// CRC-32 of its sides and samples. Walks through the rows once more.
    std::uint32_t Checksum();

    /// Memory that it keeps.
    std::uint64_t bytes() const { return rows_->bytes(); }

    /// Lays the PSF into a zeroed volume, peak at sample (0, 0, 0). What does not fit is cut off, with a
    /// note, the first time.
    void LayOut(const PaddedVolume& volume);

    /// Fainter parts of a PSF are kept but ask for no margin.
    static constexpr float kReachLevel = 1e-3f;

  private:
    void FindReach();

    std::unique_ptr<PsfRows> rows_;
    const Messages& messages_;
    Extent peak_;
    float peakValue_ = 0.0f;
    PsfReach reach_;
    bool told_ = false;  // what laying it out loses
};

}  // namespace rydecon
