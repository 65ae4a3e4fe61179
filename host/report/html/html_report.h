// SPDX-License-Identifier: MIT
#pragma once

// The report of a restoration as one page that needs nothing but itself.

#include <filesystem>
#include <string>

#include "report/html/restoration_report.h"

namespace rydecon {

/// The page: HTML with its style sheet, script and pictures inside.
std::string RenderHtmlReport(const RestorationReport& report);

/// Writes it; the file appears whole or not at all. UserError where that cannot be.
void WriteHtmlReport(const RestorationReport& report, const std::filesystem::path& target, bool overwrite);

}  // namespace rydecon
