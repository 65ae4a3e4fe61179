// SPDX-License-Identifier: MIT
#pragma once

// The paragraph on the restoration that a paper can take over.

#include <span>
#include <string>
#include <vector>

#include "report/html/literature.h"
#include "report/html/restoration_report.h"

namespace rydecon {

struct MethodsText {
    std::string paragraph;                     // plain text
    std::vector<const Reference*> references;  // each once, by name
};

/// What was restored, by which algorithm, with which PSF, iterations and settings. No file is named.
MethodsText WriteMethodsText(const RestorationReport& report);

/// "512 × 512 × 64 voxels", "512 × 512 pixels" for a single plane.
std::string ShownShape(const RestorationReport& report);

/// "0.1 × 0.1 × 0.3 µm" along the axes that the volume has; empty where one of them is not known.
std::string ShownVoxel(const RestorationReport& report);

/// "32 iterations", "15 to 32 iterations", "1 iteration", empty for a direct method.
std::string ShownIterations(std::span<const VolumeReport> volumes);

}  // namespace rydecon
