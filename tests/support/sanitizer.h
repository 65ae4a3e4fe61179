// SPDX-License-Identifier: MIT
#pragma once

// Whether the tests run under the address sanitizer, whose allocator keeps freed blocks for a while and cannot
// be replaced.

#if defined(__SANITIZE_ADDRESS__)
#define GNR_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define GNR_ADDRESS_SANITIZER 1
#endif
#endif
#ifndef GNR_ADDRESS_SANITIZER
#define GNR_ADDRESS_SANITIZER 0
#endif
