// SPDX-License-Identifier: MIT
#pragma once

// What is said of the samples of a stack, an image's or a PSF's, in the same words wherever they are read.

#include <concepts>
#include <string>

#include "report/counted.h"

namespace rydecon {

/// Why a stack is refused: "2 samples of the PSF are NaN or infinite; ...". `ofWhat` is " of the PSF", or empty.
template <std::integral N>
std::string NonFiniteReason(N number, const std::string& ofWhat) {
    return Counted(number, "sample") + ofWhat + " " + IsOrAre(number) +
           " NaN or infinite; all must be finite numbers";
}

/// "1 negative sample of the image is set to 0"
template <std::integral N>
std::string NegativeNote(N number, const std::string& ofWhat) {
    return Counted(number, "negative sample") + ofWhat + " " + IsOrAre(number) + " set to 0";
}

/// Why a PSF is refused.
inline constexpr const char* kNoPositiveSum =
    "the PSF has no sample above 0; a PSF of positive sum is needed";

}  // namespace rydecon
