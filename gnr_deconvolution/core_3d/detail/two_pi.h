// SPDX-License-Identifier: MIT
#pragma once

// 2 pi as the optical formulas and the small Gaussian take it.

namespace gnr::detail {

/// To 13 decimals; 2 * std::numbers::pi differs in the next.
inline constexpr double kTwoPi = 6.2831853071796;

}  // namespace gnr::detail
