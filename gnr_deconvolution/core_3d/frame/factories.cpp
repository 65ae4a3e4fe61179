// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/parameters.h>

#include <new>

namespace {

/// Hands a new object, whose own count is 1, over to a smart pointer, count 1 again. Null gives an empty one.
template <class Base>
CRyRefCountPtr<Base> Adopt(Base* object) {
    CRyRefCountPtr<Base> result(object);
    if (object != nullptr) object->Release();
    return result;
}

}  // namespace

CRyRefCountPtr<CRyAbstract3DDeconvolutionCore> CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(
    ERyLow3DDeconvolutionType eType) {
    CRyAbstract3DDeconvolutionCore* core = nullptr;
    switch (eType) {
        case eDeconvBlind:
            core = new (std::nothrow) CRy3DBlindDeconvolutionCore;
            break;
        case eDeconvWiener:
            core = new (std::nothrow) CRy3DWienerDeconvolutionCore;
            break;
        case eDeconvAcceleratedLucyRichardsonTM:
            core = new (std::nothrow) CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore;
            break;
        case eDeconvLandweber:
            core = new (std::nothrow) CRy3DLandweberDeconvolutionCore(false);
            break;
        case eDeconvLandweberAutomatic:
            core = new (std::nothrow) CRy3DLandweberDeconvolutionCore(true);
            break;
        default:
            break;
    }
    return Adopt(core);
}

CRyRefCountPtr<CRy3DDeconvRunParameters> CRy3DDeconvRunParameters::Create3DDeconvParameters(
    ERyLow3DDeconvolutionType eType) {
    CRy3DDeconvRunParameters* params = nullptr;
    switch (eType) {
        case eDeconvBlind:
            params = new CRy3DBlindDeconvRunParameters;
            break;
        case eDeconvWiener:
        case eDeconvLandweber:
        case eDeconvDirectRun:
            params = new CRy3DDeconvRunParameters;
            break;
        case eDeconvAcceleratedLucyRichardsonTM:
        case eDeconvLandweberAutomatic:
        case eDeconvDirectAuto:
        case eDeconvDirectAuto2:
            params = new CRy3DAutoDeconvRunParameters;
            break;
        default:
            return {};
    }
    params->eType = eType;
    return Adopt(params);
}
