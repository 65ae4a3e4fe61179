// SPDX-License-Identifier: MIT
#pragma once

// The operating system under the libraries of this family: temporary folders, and plain files with counted
// reads and writes. This header includes all of them.

#include <ry_platform/files.h>
#include <ry_platform/folders.h>
