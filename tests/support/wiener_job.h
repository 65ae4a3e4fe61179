// SPDX-License-Identifier: MIT
#pragma once

// One Wiener job: a core and its parameters from the factories, an image, a PSF.

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/parameters.h>

#include <cmath>

#include "support/progress_log.h"
#include "support/volumes.h"

namespace gnr::test {

/// A PSF wrapped around the origin, unlike in every direction, of the given sum.
inline Volume LopsidedPsf(int x, int y, int z, double sum) {
    Volume psf(x, y, z);
    const auto profile = [](int n, int length, double width, double lean) {
        const double distance = (n + length / 2) % length - length / 2;
        return std::exp(-std::pow((distance - lean) / width, 2)) +
               (distance > 0 ? 0.1 * lean / distance : 0.0);
    };
    psf.Fill([&](int i, int j, int k) {
        return profile(i, x, 1.4, 0.3) * profile(j, y, 1.0, 0.4) * profile(k, z, 1.8, 0.2);
    });
    double total = 0.0;
    for (int k = 0; k < z; ++k) {
        for (int j = 0; j < y; ++j) {
            for (int i = 0; i < x; ++i) total += psf.at(i, j, k);
        }
    }
    return psf.Fill([&](int i, int j, int k) { return psf.at(i, j, k) * sum / total; });
}

struct WienerJob {
    WienerJob(const Volume& observed, const Volume& spread, double regularization = 0.0)
        : core(CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvWiener)),
          params(CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener)),
          image(observed),
          psf(spread) {
        params->sizes = image.sizes;
        params->pfImage = image;
        params->pfPsf = psf;
        params->dRegularization = regularization;
    }
    /// Reports to a log.
    int Run(ProgressLog& log) {
        params->pfnProgress = &ProgressLog::Record;
        params->pProgressData = &log;
        return core->Run(params);
    }
    int Run() { return core->Run(params); }

    CRyRefCountPtr<CRyAbstract3DDeconvolutionCore> core;
    CRyRefCountPtr<CRy3DDeconvRunParameters> params;
    Volume image;
    Volume psf;
};

}  // namespace gnr::test
