// SPDX-License-Identifier: MIT
#pragma once

// Orthogonal wavelet transforms of pictures and volumes with periodic borders, and the filters that they
// take. This header includes all of them.

#include <ry_math/daubechies.h>
#include <ry_math/wavelet_2d.h>
#include <ry_math/wavelet_3d.h>
