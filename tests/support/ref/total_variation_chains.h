// SPDX-License-Identifier: MIT
#pragma once

// The total-variation divergence in plain loops, and the two resumable restorations as chains of the exported
// serial kernels, step by step as they are defined. Every volume has a value in every float: where the chain
// leaves some unset, they are 0 here.

#include <gnr_deconvolution/kernels_3d.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "support/ref/entry_chains.h"
#include "support/volumes.h"

namespace gnr::ref {

/// T = forward divergence of the normalised forward gradient of x. A volume of one row or one plane has
/// neither, and keeps what the four buffers hold.
inline void TotalVariationDivergence(const DFT3D& s, float* gx, float* gy, float* gz, float* T,
                                     const float* x) {
    const std::int64_t X = s.rowLength;
    const std::int64_t Y = s.rows;
    const std::int64_t Z = s.planes;
    const std::int64_t S = s.planeStride;
    const auto fillBorders = [&](float* volume) {
        for (std::int64_t k = 0; k < Z - 1; ++k) {
            for (std::int64_t j = 0; j < Y - 1; ++j) {
                float* const row = volume + k * S + j * X;
                row[X - 3] = row[X - 4];
            }
            float* const last = volume + k * S + (Y - 1) * X;
            if (Y > 1) std::copy_n(last - X, X, last);
        }
        float* const last = volume + (Z - 1) * S;
        if (Z > 1) std::copy_n(last - S, S, last);
    };
    const auto forSamples = [&](auto visit) {
        for (std::int64_t k = 0; k < Z - 1; ++k) {
            for (std::int64_t j = 0; j < Y - 1; ++j) {
                for (std::int64_t i = 0; i < X - 3; ++i) visit(k * S + j * X + i);
            }
        }
    };
    forSamples([&](std::int64_t i) {
        const float differenceX = x[i + 1] - x[i];
        const float differenceY = x[i + X] - x[i];
        const float differenceZ = x[i + S] - x[i];
        const double dx = differenceX;
        const double dy = differenceY;
        const double dz = differenceZ;
        const double n = std::sqrt(dy * dy + dx * dx + dz * dz);
        gx[i] = n <= 1e-20 ? 0.0f : static_cast<float>(dx / n);
        gy[i] = n <= 1e-20 ? 0.0f : static_cast<float>(dy / n);
        gz[i] = n <= 1e-20 ? 0.0f : static_cast<float>(dz / n);
    });
    for (float* const component : {gx, gy, gz}) fillBorders(component);
    forSamples([&](std::int64_t i) {
        const float alongY = gy[i + X] - gy[i];
        const float alongX = gx[i + 1] - gx[i];
        const float alongZ = gz[i + S] - gz[i];
        const float sum = alongY + alongX;
        T[i] = sum + alongZ;
    });
    fillBorders(T);
}

/// f c f in float, f twice the strength.
inline float ChainWeight(std::uint32_t strength, float c) {
    const float f = static_cast<float>(2u * strength);
    return f * c * f;
}

/// A := H^T H x, B := H^T g.
inline void ChainNormalEquation(Volume& A, Volume& B, const Volume& x, const Volume& g, const Volume& Hs) {
    const DFT3D* const s = &x.sizes;
    Chain::KERNEL3D_Copy(s, A, x);
    Chain::KERNEL3D_Copy(s, B, Hs);
    Chain::DFT3D_Transform(s, A);
    Chain::KERNEL3D_ComplexMultiplyAdJoint(s, B, Hs);
    Chain::KERNEL3D_ComplexMultiply(s, A, B);
    Chain::DFT3D_Inversion(s, A);
    Chain::KERNEL3D_Copy(s, B, g);
    Chain::DFT3D_Transform(s, B);
    Chain::KERNEL3D_ComplexMultiplyAdJoint(s, B, Hs);
    Chain::DFT3D_Inversion(s, B);
}

/// What a run needs beside the estimate.
struct ChainInputs {
    ChainInputs(const Volume& image, const Volume& kernel, float weight)
        : g(image), Hs(ChainSpectrum(kernel)), lambda(weight) {}
    Volume g;
    Volume Hs;
    float lambda;
};

/// `withTerm`: whether the setting of this call is other than 0.
inline void AdditiveChain(Volume& x, const ChainInputs& run, int iterations, bool withTerm) {
    const DFT3D* const s = &x.sizes;
    Volume A(x.sizes);
    Volume B(x.sizes);
    const Volume gx(x.sizes);
    const Volume gy(x.sizes);
    const Volume gz(x.sizes);
    const Volume T(x.sizes);
    for (int k = 0; k < iterations; ++k) {
        ChainNormalEquation(A, B, x, run.g, run.Hs);
        Chain::KERNEL3D_Subtract(s, B, A);
        if (withTerm) {
            TotalVariationDivergence(*s, gx, gy, gz, T, x);
            Chain::MulFloatC3DXX(s, T, run.lambda);
            Chain::KERNEL3D_Subtract(s, B, T);
        }
        Chain::KERNEL3D_Add(s, x, B);
    }
}

inline void ICTMChain(Volume& x, const ChainInputs& run, int iterations) {
    const DFT3D* const s = &x.sizes;
    Volume A(x.sizes);
    Volume B(x.sizes);
    const Volume R(x.sizes);
    const Volume previousR(x.sizes);
    const Volume P(x.sizes);
    const Volume previousP(x.sizes);
    for (int k = 0; k < iterations; ++k) {
        ChainNormalEquation(A, B, x, run.g, run.Hs);
        Chain::KERNEL3D_Subtract(s, A, B);
        if (k != 0) Chain::KERNEL3D_Copy(s, previousR, R);
        Chain::KERNEL3D_Copy(s, R, x);
        Chain::MulFloatC3DXX(s, R, run.lambda);
        Chain::KERNEL3D_Add(s, R, A);
        if (k == 0) {
            Chain::KERNEL3D_Copy(s, P, R);
        } else {
            Chain::KERNEL3D_Copy(s, previousP, P);
            Chain::KERNEL3D_Copy(s, P, R);
            Chain::KERNEL3D_Copy(s, B, R);
            Chain::KERNEL3D_Copy(s, A, previousR);
            Chain::KERNEL3D_Multiply(s, B, B);
            Chain::KERNEL3D_Multiply(s, A, A);
            Chain::KERNEL3D_DivideOff(s, B, A, 1.0f);
            Chain::KERNEL3D_Multiply(s, B, previousP);
            Chain::KERNEL3D_Add(s, P, B);
        }
        Chain::KERNEL3D_Copy(s, B, P);
        Chain::MulFloatC3DXX(s, B, 0.003f);
        Chain::KERNEL3D_Add(s, x, B);
    }
}

}  // namespace gnr::ref
