// SPDX-License-Identifier: MIT
#pragma once

// Marks the classes that hosts use; a shared library hides everything else.

#if defined(__GNUC__)
#define GNR_API __attribute__((visibility("default")))
#else
#define GNR_API
#endif
