// SPDX-License-Identifier: MIT
#pragma once

// The one-call Landweber iteration on wavelet coefficients, in the form of a core.

#include <gnr_deconvolution/cores.h>

namespace rydecon {

/// Needs sides that its wavelet levels divide, and at least 16 planes. dRegularization is a whole number,
/// dScale the factor of the threshold. The entry allocates in Run, so that -3 comes from there.
class CoefficientCore : public CRyAbstract3DDeconvolutionCore {
  public:
    unsigned long long GetRequiredMemorySize(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int ModifyProposedDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned divisorX, unsigned divisorY,
                                 unsigned divisorZ) override;
    int Prepare(CRyRefCountPtr<CRy3DDeconvBaseParameters> params) override;
    int Run(CRyRefCountPtr<CRy3DDeconvRunParameters> params) override;
    int Free() override;
};

}  // namespace rydecon
