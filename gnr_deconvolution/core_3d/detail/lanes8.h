// SPDX-License-Identifier: MIT
#pragma once

// Eight values side by side, in as many registers as the processor needs; for use inside one function, where
// no calling convention is concerned.

namespace gnr::detail {

using Floats8 [[gnu::vector_size(32)]] = float;
using Doubles8 [[gnu::vector_size(64)]] = double;

}  // namespace gnr::detail
