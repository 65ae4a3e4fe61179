// SPDX-License-Identifier: MIT
#pragma once

// The one-call entries as chains of the exported serial kernels, step by step as they are defined, one kernel
// a step: whoever fuses steps must give these bits.

#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/object_frame.h>

#include <cstdint>
#include <vector>

#include "support/volumes.h"

namespace gnr::ref {

using Chain = CRy3DDeconvolutionLow;
using test::Volume;

inline float ChainPsfFactor(const Volume& psf) {
    const float sum = Chain::GetSumOfImageXX(&psf.sizes, psf);
    return static_cast<double>(sum) >= 1e-10 ? 1.0f / sum : 1.0f;
}

inline Volume ChainSpectrum(const Volume& v) {
    Volume spectrum = v;
    Chain::DFT3D_Transform(&v.sizes, spectrum);
    return spectrum;
}

// ---------------------------------------------------------------------------------------------------- Wiener

inline Volume WienerChain(Volume image, const Volume& psf, double K) {
    const DFT3D* const s = &image.sizes;
    const Volume A = ChainSpectrum(psf);
    Chain::ComplexConjugate(A, s);
    const float sum = Chain::GetSumOfImageXX(s, image);
    Chain::MulFloatC3DXX(s, image, 1.0f / (sum + 1e-10f));
    Chain::DFT3D_Transform(s, image);
    Chain::ComputeWiener3D(s, image, A, K);
    Chain::DFT3D_Inversion(s, image);
    const float now = Chain::GetSumOfImageXX(s, image);
    Chain::MulFloatC3DXX(s, image, (sum + 1e-10f) / (now + 1e-10f));
    Chain::CutByZero(s, image);
    return image;
}

// ------------------------------------------------------------------------------------------ Richardson-Lucy

/// t := H^T (g / (H f)), the back-projection with H itself where `adjoint` is false.
inline void ChainCorrection(Volume& t, const Volume& f, const Volume& g, const Volume& H,
                            bool adjoint = true) {
    const DFT3D* const s = &f.sizes;
    Chain::KERNEL3D_Copy(s, t, f);
    Chain::DFT3D_Transform(s, t);
    Chain::KERNEL3D_ComplexMultiply(s, t, H);
    Chain::DFT3D_Inversion(s, t);
    Chain::KERNEL3D_Divide(s, t, g);
    Chain::DFT3D_Transform(s, t);
    if (adjoint) {
        Chain::KERNEL3D_ComplexMultiplyAdJoint(s, t, H);
    } else {
        Chain::KERNEL3D_ComplexMultiply(s, t, H);
    }
    Chain::DFT3D_Inversion(s, t);
}

inline Volume LucyRichardsonTMChain(Volume f, const Volume& psf, int iterations, std::uint32_t strength) {
    const DFT3D* const s = &f.sizes;
    const float norm = ChainPsfFactor(psf);
    const Volume g = f;
    const Volume H = ChainSpectrum(psf);
    Volume R(f.sizes);
    Volume t(f.sizes);
    for (int i = 0; i < iterations; ++i) {
        ChainCorrection(t, f, g, H);
        if (strength != 0) {
            const float a = static_cast<float>(strength * 2u);
            const float weight = a * -1e-06f * a;
            Chain::GetRegularization(s, R, f, weight);
            Chain::KERNEL3D_Multiply(s, f, R);
        }
        Chain::KERNEL3D_Multiply(s, f, t);
        Chain::MulFloatC3DXX(s, f, norm);
    }
    return f;
}

struct ChainOfAutomatic {
    Volume image;
    unsigned done;
};

inline ChainOfAutomatic LucyRichardsonTMAutomaticChain(Volume f, const Volume& psf, int iterations,
                                                       double strength, const SRyIRect3D& box,
                                                       double stopRatio) {
    const DFT3D* const s = &f.sizes;
    const auto divergence = [&](const Volume& g) {
        double d = 0;
        const auto at = [](int n) { return static_cast<unsigned long long>(n); };
        Chain::CalculateIDIV(f, g, d, at(box.iMinX), at(box.iMaxX), at(box.iMinY), at(box.iMaxY),
                             at(box.iMinZ), at(box.iMaxZ), s);
        return d;
    };
    const float max = Chain::GetMaxOfImageXX(s, f);
    Chain::MulFloatC3DXX(s, f, 1.0f / (max + 1e-10f));
    const float norm = ChainPsfFactor(psf);
    Chain::ClipSmallerThanZero(s, f);
    const Volume g = f;
    const Volume H = ChainSpectrum(psf);
    Volume R(f.sizes);
    Volume t(f.sizes);
    float lambda = static_cast<float>(strength * static_cast<double>(-0.2f) * strength);
    double d1 = 0;
    double before = 1.0;
    unsigned done = 0;
    for (int i = 0; i < iterations; ++i) {
        double current = before;
        if (i == 1) d1 = divergence(g);
        if (i > 1) {
            current = d1 / divergence(g);
            if (i > 4 && (before < current || stopRatio < current / before)) i = iterations - 1;
        }
        ChainCorrection(t, f, g, H);
        if (strength != 0) {
            Chain::GetRegularizationIterative(s, R, f, lambda);
            Chain::KERNEL3D_Multiply(s, f, R);
        }
        Chain::KERNEL3D_Multiply(s, f, t);
        if (norm != 1.0f) Chain::MulFloatC3DXX(s, f, norm);
        Chain::ClipSmallerThanZero(s, f);
        ++done;
        before = current;
    }
    Chain::MulFloatC3DXX(s, f, max + 1e-10f);
    return {f, done};
}

inline Volume LucyRichardsonChain(Volume x, const Volume& spectrum, int iterations) {
    const Volume O = x;
    Volume W(x.sizes);
    for (int n = 0; n < iterations; ++n) {
        ChainCorrection(W, x, O, spectrum, false);
        Chain::KERNEL3D_Multiply(&x.sizes, x, W);
    }
    return x;
}

inline Volume LucyRichardsonRealTVChain(Volume x, const Volume& kernel, int iterations,
                                        std::uint32_t strength) {
    DFT3D sizes = x.sizes;
    const float c = ChainPsfFactor(kernel);
    const Volume O = x;
    const Volume Hs = ChainSpectrum(kernel);
    Volume W(x.sizes);
    Volume R(x.sizes);
    const float f = static_cast<float>(2u * strength);
    const float lambda = f * 0.0001f * f;
    for (int n = 0; n < iterations; ++n) {
        ChainCorrection(W, x, O, Hs);
        if (strength != 0) {
            Chain::GetRegularizationRLTV(&sizes, R, x, lambda);
            Chain::KERNEL3D_Multiply(&sizes, x, R);
        }
        Chain::KERNEL3D_Multiply(&sizes, x, W);
        Chain::MulFloatC3DXX(&sizes, x, c);
    }
    return x;
}

}  // namespace gnr::ref
