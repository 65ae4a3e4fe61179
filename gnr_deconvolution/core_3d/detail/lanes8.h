// SPDX-License-Identifier: MIT
#pragma once

// Eight values side by side, in as many registers as the processor needs; for use inside one function, where
// no calling convention is concerned.

namespace gnr::detail {

using Floats8 [[gnu::vector_size(32)]] = float;
using Floats4 [[gnu::vector_size(16)]] = float;
using Doubles4 [[gnu::vector_size(32)]] = double;

}  // namespace gnr::detail
