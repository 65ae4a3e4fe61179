// SPDX-License-Identifier: MIT
#pragma once

// The pictures of a PSF, and how wide it is.

#include <string>

#include "report/html/restoration_report.h"

namespace rydecon {

/// A "<figure>".
std::string PsfFigure(const ReportPsf& psf);

}  // namespace rydecon
