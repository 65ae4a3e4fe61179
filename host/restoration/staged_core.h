// SPDX-License-Identifier: MIT
#pragma once

// The one-call total-variation entries, which run in stages, in the form of a core.

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/memory_stock.h>

#include "restoration/iterate_sink.h"

namespace rydecon {

/// Where a staged run begins, and what it leaves on its way.
class StageStore {
  public:
    virtual ~StageStore() = default;
    /// Before the first iteration: may replace the estimate. Returns the iterations that it has behind it.
    virtual unsigned Begin() = 0;
    /// Whether the run is to be cut into stages.
    virtual bool Saves() const = 0;
    /// After each whole stage, with all iterations so far.
    virtual void EndOfStage(unsigned iterations) = 0;
};

/// One of the library's staged entries.
struct StagedEntry {
    using Function = int (*)(DFT3D*, float*, float*, int, RyProgressCallback, void*, int, int, unsigned,
                             CRyMemoryStock*, bool, bool);
    Function call;
    unsigned volumes;  ///< that a call and the stock hold
    bool restarts =
        false;  ///< a call begins its search direction anew, so that the result depends on the stages
};

/// dRegularization is a whole number. The entry allocates in Run, so that -3 comes from there.
class StagedCore final : public CRyAbstract3DDeconvolutionCore {
  public:
    /// stage  iterations of a stage, from 1; a run is cut into stages where it is saved or where they matter
    /// sink   shown each iterate; may be null
    StagedCore(const StagedEntry& entry, unsigned stage, IterateSink* sink);

    /// Before Run; null for a run from the image to its end.
    void set_store(StageStore* store) { store_ = store; }

    /// Iterations of a stage, or 0 where the result does not depend on it.
    unsigned stage_in_result() const { return entry_.restarts ? stage_ : 0; }

    unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned divisorX, unsigned divisorY,
                                 unsigned divisorZ) override;
    int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) override;
    int Free() override;

  private:
    int RunStages(CRy3DDeconvRunParameters& params, CRyMemoryStock& parked);

    StagedEntry entry_;
    unsigned stage_;
    IterateSink* sink_;
    StageStore* store_ = nullptr;
};

}  // namespace rydecon
