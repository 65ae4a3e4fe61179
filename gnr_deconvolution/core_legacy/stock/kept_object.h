// SPDX-License-Identifier: MIT
#pragma once

// Objects that stay allocated by contract, which a leak sanitizer would take for forgotten ones.

#if defined(__SANITIZE_ADDRESS__)
#define GNR_FINDS_LEAKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(leak_sanitizer)
#define GNR_FINDS_LEAKS 1
#endif
#endif

#if defined(GNR_FINDS_LEAKS)
#include <sanitizer/lsan_interface.h>
#endif

namespace gnr::detail {

inline void MarkKeptObject([[maybe_unused]] const void* object) {
#if defined(GNR_FINDS_LEAKS)
    __lsan_ignore_object(object);
#endif
}

}  // namespace gnr::detail
