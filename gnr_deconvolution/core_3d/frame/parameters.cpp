// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/parameters.h>

#include <new>

#include "frame/reference_count.h"

void CRy3DDeconvBaseParameters::AddRef() const {
    iRefCount.Increment();
}

void CRy3DDeconvBaseParameters::Release() const {
    if (!gnr::detail::DroppedLastReference(*this)) return;
    // The destructor is not virtual: derived parts own nothing, so ending the base and handing the block back
    // is the whole of it.
    auto* const object = const_cast<CRy3DDeconvBaseParameters*>(this);
    object->CRy3DDeconvBaseParameters::~CRy3DDeconvBaseParameters();
    CRy3DDeconvBaseParameters::operator delete(object);
}

void CRy3DDeconvBaseParameters::AddZeroPtr(void* p) const {
    gnr::detail::RegisterZeroPtr(*this, p);
}
void CRy3DDeconvBaseParameters::RemoveZeroPtr(void* p) const {
    gnr::detail::WithdrawZeroPtr(*this, p);
}

void* CRy3DDeconvBaseParameters::operator new(size_t uiBytes) {
    return ::operator new(uiBytes);
}
void* CRy3DDeconvBaseParameters::operator new(size_t uiBytes, const std::nothrow_t& noThrow) noexcept {
    return ::operator new(uiBytes, noThrow);
}
void CRy3DDeconvBaseParameters::operator delete(void* pvObject) {
    ::operator delete(pvObject);
}
void CRy3DDeconvBaseParameters::operator delete(void* pvObject, const std::nothrow_t& noThrow) noexcept {
    ::operator delete(pvObject, noThrow);
}
