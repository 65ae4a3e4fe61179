// SPDX-License-Identifier: MIT
#pragma once

// An accelerated core whose line search is a script, so that the rest of a run can be told exactly.

#include <gnr_deconvolution/cores.h>

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "support/restoration_job.h"

namespace gnr::test {

/// Answers each line search from a script and keeps what it was asked.
class ScriptedCore : public QualityProbe<CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore> {
  public:
    struct Asked {
        float alpha;
        float bound;
        float c;
        float N;
        SRyIRect3D box;
        std::int64_t total;
        std::vector<float> observed;
        const float* buffers[3];
    };
    std::function<std::pair<float, double>(std::size_t)> script = [](std::size_t n) {
        return std::pair(1.0f, static_cast<double>(n));
    };
    std::vector<Asked> asked;

  protected:
    double OptimizeAlphaByLogLikelihood(float& fAlpha, float fAlphaMax, const float* observed,
                                        const float* blurredNew, const float* blurredOld, const DFT3D* pSizes,
                                        float fC, float fN, const SRyIRect3D& rc) override {
        asked.push_back({fAlpha,
                         fAlphaMax,
                         fC,
                         fN,
                         rc,
                         pSizes->total,
                         std::vector<float>(observed, observed + pSizes->total),
                         {observed, blurredNew, blurredOld}});
        const auto [alpha, likelihood] = script(asked.size() - 1);
        fAlpha = alpha;
        return likelihood;
    }
};

}  // namespace gnr::test
