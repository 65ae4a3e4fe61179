// SPDX-License-Identifier: MIT
#pragma once

// The private members of the 2D family, for tests.

#include <gnr_deconvolution/deconvolution_2d.h>

namespace gnr::test {

struct PictureAccess {
    using Family = CRy2DDeconvolutionFamily;
    static constexpr auto Prefilter = &Family::PrefilterImageAndPSF;
    static constexpr auto AccRLProcessInner = &Family::AccRLProcessInner;
    static constexpr auto AccIBDProcessInner = &Family::AccIBDProcessInner;
};

}  // namespace gnr::test
