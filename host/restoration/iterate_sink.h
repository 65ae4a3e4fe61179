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

/// Shows each iterate to several sinks in turn.
class IterateSinks final : public IterateSink {
  public:
    void Add(IterateSink* sink) { sinks_.push_back(sink); }
    bool empty() const { return sinks_.empty(); }
    void OnIterate(float scale, const float* iterate) override {
        for (IterateSink* const sink : sinks_) sink->OnIterate(scale, iterate);
    }

  private:
    std::vector<IterateSink*> sinks_;
};

/// Passes progress on, and shows the finished iterate first, from the volume that a run restores in place.
struct IterateRelay {
    const float* iterate;
    IterateSink* sink;
    RyProgressCallback next;
    void* context;

    static int Call(const CRyStringW& text, unsigned a, unsigned b, unsigned c, unsigned n,
                    ERyProgressPhase phase, void* self) {
        const auto& relay = *static_cast<IterateRelay*>(self);
        if (phase == eProgressStepEnd && relay.sink != nullptr) relay.sink->OnIterate(1.0f, relay.iterate);
        return relay.next != nullptr ? relay.next(text, a, b, c, n, phase, relay.context) : 0;
    }
};

/// A core that iterates in the host's image without measuring: its iterates are shown as its steps end.
template <class Core>
class RelayedCore final : public Core {
  public:
    template <class... Arguments>
    explicit RelayedCore(IterateSink* sink, Arguments... arguments) : Core(arguments...), sink_(sink) {}

    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) override {
        IterateRelay relay{params->pfImage, sink_, params->pfnProgress, params->pProgressData};
        params->pfnProgress = &IterateRelay::Call;
        params->pProgressData = &relay;
        const int code = Core::Run(params);
        params->pfnProgress = relay.next;
        params->pProgressData = relay.context;
        return code;
    }

  private:
    IterateSink* sink_;
};

/// A core that hands its iterates to a sink instead of writing the library's diagnostic file.
template <class Core>
class ObservedCore : public Core {
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
