// SPDX-License-Identifier: MIT
#pragma once

// One pass of blind deconvolution, written once for the three forms of CRy3DDeconvolutionLow. What tells them
// apart is a record of constants, one column of the table in kernels_3d.h each.

#include <gnr_deconvolution/kernels_3d.h>

#include <cstdint>

#include "frame/progress.h"
#include "kernels/blind_sweeps.h"

namespace gnr::detail {

/// Planes of the scratch buffer; the exponent of the acceleration needs two of them.
inline constexpr std::int32_t kScratchPlanes = 4;

enum class StopTest { BeforeUpdate, AfterUpdate };

/// What tells the forms apart. One cell of the table is none: the serial and the structured-illumination form
/// scale by c always, the parallel one where c is not 1, and a product with 1 changes no sample.
struct BlindForm {
    ProgressText text;
    Power power;
    ZeroDivisor zeroDivisor;
    float firstAlpha;
    /// Plain passes too begin with the four volumes of the acceleration set to 1.
    bool fillsAlways;
    StopTest stopTest;
    /// Plain passes have a stop test too.
    bool testsPlainPasses;
    /// The pass ends too where the energy ratio has settled.
    bool endsWhenSettled;
    /// What the count of sweeps has on top after the last sweep, and where a poll was answered with a stop.
    unsigned surplus;
};

/// One call: the arguments that the three forms share, in their order.
struct BlindPass {
    float* updated;
    float* fixed;
    const DFT3D& sizes;
    unsigned sweeps;
    bool isOfImage;
    float stopEnergy;
    float* planes;
    float* observed;
    float* otf;
    float* v;
    float* previous;
    float* scratch;
    float* gradient1;
    float* gradient2;
    RyProgressCallback callback;
    void* hostPointer;
    int& status;
    bool reports;
};

/// Passes of so many sweeps or more are accelerated by the forms that decide by themselves.
inline constexpr unsigned kLeastSweepsToAccelerate = 3;
constexpr bool AcceleratesBySweeps(unsigned sweeps) {
    return sweeps >= kLeastSweepsToAccelerate;
}

/// Sweeps a pass by the setting that the drivers take.
constexpr unsigned SweepsPerPass(std::int64_t setting) {
    if (setting == 0) return 1;
    return setting == 1 ? 10 : 20;
}

/// Runs the pass; its count of sweeps.
unsigned RunBlindPass(const BlindForm& form, const BlindPass& pass, bool accelerates);

}  // namespace gnr::detail
