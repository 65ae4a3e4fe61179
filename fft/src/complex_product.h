// SPDX-License-Identifier: MIT
#pragma once

// The complex products of packed spectra, rounding by rounding.

namespace gnr::fft {

struct Product {
    float re;
    float im;
};

/// a b
struct Multiply {
    static Product Of(float ar, float ai, float br, float bi) {
        return {ar * br - ai * bi, ar * bi + ai * br};
    }
};

/// a conj(b)
struct MultiplyConjugate {
    static Product Of(float ar, float ai, float br, float bi) {
        return {ar * br + ai * bi, ai * br - ar * bi};
    }
};

}  // namespace gnr::fft
