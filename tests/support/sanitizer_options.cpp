// SPDX-License-Identifier: MIT
#include "support/sanitizer.h"

#if GNR_ADDRESS_SANITIZER
/// Exhausted memory gives null under the sanitizer as it does without.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
#endif
