// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>

#include "frame/reference_count.h"

CRyAbstract3DDeconvolutionCore::~CRyAbstract3DDeconvolutionCore() = default;

void CRyAbstract3DDeconvolutionCore::AddRef() const {
    iRefCount.Increment();
}

void CRyAbstract3DDeconvolutionCore::Release() const {
    if (gnr::detail::DroppedLastReference(*this)) delete this;
}

void CRyAbstract3DDeconvolutionCore::AddZeroPtr(void* p) const {
    gnr::detail::RegisterZeroPtr(*this, p);
}
void CRyAbstract3DDeconvolutionCore::RemoveZeroPtr(void* p) const {
    gnr::detail::WithdrawZeroPtr(*this, p);
}
