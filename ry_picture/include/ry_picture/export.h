// SPDX-License-Identifier: MIT
#pragma once

// Marks what a shared ry_picture shows to its users; everything else is hidden.

#if defined(__GNUC__)
#define RY_PICTURE_API __attribute__((visibility("default")))
#else
#define RY_PICTURE_API
#endif
