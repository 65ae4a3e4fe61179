// SPDX-License-Identifier: MIT
#pragma once

// A PSF file, made ready for the library: peak at the origin with wrap-around, no negative samples, sum 1.

#include <filesystem>

#include "io/stack_reader.h"
#include "report/messages.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// How many samples a PSF reaches below and above its peak on each axis.
struct PsfReach {
    Extent low;
    Extent high;
};

/// One PSF file. Read twice, plane by plane: once to know it, once to lay it out.
class PsfSource {
  public:
    /// Opens and scans the file. UserError for samples that are not finite and for a sum of 0.
    PsfSource(const std::filesystem::path& path, const Messages& messages);

    const StackHeader& header() const { return reader_.header(); }

    /// Position of the largest sample; the middle of all of them where several are equally large.
    const Extent& peak() const { return peak_; }

    /// Reach of what is above kReachLevel of the peak: what decides the margin around an image.
    const PsfReach& reach() const { return reach_; }

    /// Lays the PSF into a zeroed volume, peak at sample (0, 0, 0). What does not fit is cut off, with a
    /// note.
    void LayOut(const PaddedVolume& volume);

    /// Fainter parts of a PSF are kept but ask for no margin.
    static constexpr float kReachLevel = 1e-3f;

  private:
    void FindPeak();
    void FindReach();
    template <class Visit>
    void ForEachRow(Visit visit);

    std::filesystem::path path_;
    const Messages& messages_;
    StackReader reader_;
    Extent peak_;
    float peakValue_ = 0.0f;
    PsfReach reach_;
};

}  // namespace rydecon
