// SPDX-License-Identifier: MIT
#pragma once

namespace gnr::fft {

/// A product with the transfer function, or with its conjugate.
enum class TransferUse { kPlain, kConjugate };

}  // namespace gnr::fft
