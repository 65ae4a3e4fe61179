// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>

#include <array>
#include <limits>

#include "kernels/damped_likelihood.h"

namespace {

using gnr::detail::LineSample;

/// No step goes so far: the last value tried is 4096.
constexpr float kAlphaLimit = 8192.0f;

bool MayTry(float alpha, float alphaMax) {
    return alpha <= alphaMax && alpha < kAlphaLimit;
}

/// How many of alpha, 2 alpha, ... may be tried, up to one sweep.
int TrialsFrom(float alpha, float alphaMax) {
    int trials = 0;
    for (; trials < gnr::detail::kTrialsPerSweep && MayTry(alpha, alphaMax); ++trials) alpha *= 2.0f;
    return trials;
}

}  // namespace

double CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore::OptimizeAlphaByLogLikelihood(
    float& fAlpha, float fAlphaMax, const float* pfObserved_, const float* pfBlurredNew_,
    const float* pfBlurredOld_, const DFT3D* pSizes, float fC, float fN, const SRyIRect3D& rc) {
    const gnr::detail::LikelihoodLine line = {pfObserved_, pfBlurredNew_, pfBlurredOld_, pSizes, rc, fC, fN};
    double bestGain = std::numeric_limits<double>::lowest();
    double bestLikelihood = std::numeric_limits<double>::lowest();

    bool gaining = true;
    while (gaining && MayTry(fAlpha, fAlphaMax)) {
        std::array<LineSample, gnr::detail::kTrialsPerSweep> samples;
        const int trials = TrialsFrom(fAlpha, fAlphaMax);
        gnr::detail::SampleLine(line, fAlpha, trials, samples.data());
        for (int t = 0; t < trials; ++t) {
            const LineSample& sample = samples[static_cast<std::size_t>(t)];
            if (sample.gain < bestGain) {
                gaining = false;
                break;
            }
            bestGain = sample.gain;
            bestLikelihood = sample.likelihood;
            fAlpha *= 2.0f;
        }
    }
    // Whatever ended the search, alpha is one doubling past the last that was accepted.
    fAlpha /= 2.0f;
    if (fAlpha < 1.0f) fAlpha = 1.0f;
    return bestLikelihood;
}
