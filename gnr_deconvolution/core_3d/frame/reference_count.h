// SPDX-License-Identifier: MIT
#pragma once

// The bodies of the four reference-count operations, which cores and parameter objects share.

#include <gnr_deconvolution/object_frame.h>

#include <cstring>
#include <mutex>

namespace gnr::detail {

template <class Object>
void RegisterZeroPtr(const Object& object, void* address) {
    const std::lock_guard guard(object.csZeroPtrs);
    object.setZeroPtrs.insert(address);
}

template <class Object>
void WithdrawZeroPtr(const Object& object, void* address) {
    const std::lock_guard guard(object.csZeroPtrs);
    object.setZeroPtrs.erase(address);
}

/// Drops one reference. True for the one caller that took the last; the watching pointers are null by then.
template <class Object>
bool DroppedLastReference(const Object& object) {
    if (object.iRefCount.Decrement() != 0) return false;
    const std::lock_guard guard(object.csZeroPtrs);
    // Copied as bytes: the variable at the address is a pointer to the watcher's own idea of the class.
    const void* const null = nullptr;
    for (void* const address : object.setZeroPtrs) std::memcpy(address, &null, sizeof null);
    return true;
}

}  // namespace gnr::detail
