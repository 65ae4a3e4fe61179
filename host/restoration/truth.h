// SPDX-License-Identifier: MIT
#pragma once

// The known truth of a simulation, and how far each iterate lies from it.

#include <filesystem>
#include <memory>

#include "report/messages.h"
#include "restoration/iterate_sink.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// Prints "iteration <n> rmse <value>" on standard output for each iterate it is shown.
class Truth : public IterateSink {
  public:
    /// Reads the file into the frame of the job. UserError where its shape is not that of the image.
    Truth(const std::filesystem::path& path, const Extent& shape, const Extent& frame,
          const Messages& messages);

    /// The volume, for a core's reference.
    const float* volume() const { return truth_.data(); }

    /// What the method adds to the image before it iterates, in units of the image.
    void set_pedestal(double pedestal) { pedestal_ = pedestal; }

    /// How many iterates an earlier run was shown.
    void set_iterates(unsigned iterates) { iterates_ = iterates; }

    void OnIterate(float scale, const float* iterate) override;

  private:
    PaddedVolume truth_;
    Extent shape_;
    double pedestal_ = 0.0;
    unsigned iterates_ = 0;
};

/// The pedestal that the accelerated method lifts an image by: up to a fortieth of its range, 20 at most,
/// where its darkest sample lies below that. Over the whole buffer.
double PedestalOfAccelerated(const PaddedVolume& image);

/// Likewise, of samples from least to greatest.
float PedestalOfRange(float least, float greatest);

}  // namespace rydecon
