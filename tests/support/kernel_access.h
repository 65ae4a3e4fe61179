// SPDX-License-Identifier: MIT
#pragma once

// The private kernels, for tests.

#include <gnr_deconvolution/kernels_3d.h>

namespace gnr::test {

struct KernelAccess {
    using Low = CRy3DDeconvolutionLow;
    static constexpr auto Add = &Low::INLINE_Add;
    static constexpr auto Subtract = &Low::INLINE_Subtract;
    static constexpr auto Multiply = &Low::INLINE_Multiply;
    static constexpr auto Divide = &Low::INLINE_Divide;
    static constexpr auto DivideOff = &Low::INLINE_DivideOff;
    static constexpr auto ComplexMultiply = &Low::INLINE_ComplexMultiply;
    static constexpr auto ComplexMultiplyAdjoint = &Low::INLINE_ComplexMultiplyAdjoint;
    static constexpr auto Zero = &Low::INLINE_Zero;
    static constexpr auto Copy = &Low::INLINE_Copy;
    static constexpr auto GaussSimpleHat = &Low::INLINE_GaussSimpleHat;
    static constexpr auto GaussHat = &Low::INLINE_GaussHat;
};

}  // namespace gnr::test
