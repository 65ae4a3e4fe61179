// SPDX-License-Identifier: MIT
#pragma once

// The small services that the libraries of this family share: wide strings, translated texts, plain memory,
// saved values. This header includes all of them.

#include <ry_system/alloc.h>
#include <ry_system/lite_variant.h>
#include <ry_system/string.h>
#include <ry_system/translation.h>
