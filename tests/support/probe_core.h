// SPDX-License-Identifier: MIT
#pragma once

// A core without an algorithm: shows what the base class does, its protected operations included.

#include <gnr_deconvolution/cores.h>

namespace gnr::test {

class ProbeCore : public CRyAbstract3DDeconvolutionCore {
  public:
    /// destroyed, when not null, counts destructor runs.
    explicit ProbeCore(int* destroyed = nullptr) : destroyed_(destroyed) {}
    ~ProbeCore() override {
        if (destroyed_ != nullptr) ++*destroyed_;
    }

    using CRyAbstract3DDeconvolutionCore::ComputeRMSE;
    using CRyAbstract3DDeconvolutionCore::LogQualityVect;

    unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters>) override { return 0; }
    int ModifyProposedDimensions(unsigned&, unsigned&, unsigned&, unsigned, unsigned, unsigned) override {
        return kSuccess;
    }
    int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters>) override { return kSuccess; }
    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters>) override { return kSuccess; }
    int Free() override { return kSuccess; }

  private:
    int* destroyed_;
};

}  // namespace gnr::test
