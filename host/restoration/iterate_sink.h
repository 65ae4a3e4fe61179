// SPDX-License-Identifier: MIT
#pragma once

// Looks at each iterate of a core, through the slots that cores keep for measuring against a reference.

#include <gnr_deconvolution/cores.h>

#include <utility>
#include <vector>

namespace rydecon {

/// Receives each iterate while a run has a reference volume.
class IterateSink {
  public:
    virtual ~IterateSink() = default;
    /// scale  factor from the iterate's units to those of the image
    virtual void OnIterate(float scale, const float* iterate) = 0;
};

/// A core that hands its iterates to a sink instead of writing the library's diagnostic file.
template <class Core>
class ObservedCore final : public Core {
  public:
    template <class... Arguments>
    explicit ObservedCore(IterateSink* sink, Arguments... arguments) : Core(arguments...), sink_(sink) {}

  protected:
    void ComputeRMSE(std::vector<std::pair<unsigned, double>>&, unsigned, const SRyIRect3D&, const DFT3D*,
                     float fScale, const float* pfIterate, const float*) override {
        if (sink_ != nullptr) sink_->OnIterate(fScale, pfIterate);
    }
    void LogQualityVect(const std::vector<std::pair<unsigned, double>>&, unsigned) override {}

  private:
    IterateSink* sink_;
};

}  // namespace rydecon
