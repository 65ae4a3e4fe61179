// SPDX-License-Identifier: MIT
#pragma once

// The report of a restoration as one page that needs nothing but itself.

#include <filesystem>
#include <string>

#include "io/temporary_file.h"
#include "report/html/restoration_report.h"

namespace rydecon {

/// The page: HTML with its style sheet, script and pictures inside.
std::string RenderHtmlReport(const RestorationReport& report);

/// The file of a page. Opened before a long run, it tells then whether it can be written. Not committed, it
/// leaves nothing. Each failure is a UserError.
class HtmlReportFile {
  public:
    HtmlReportFile(const std::filesystem::path& target, bool overwrite) : file_(target, overwrite) {}

    void Write(const RestorationReport& report);
    void Commit() { file_.Commit(); }

  private:
    TemporaryFile file_;
};

}  // namespace rydecon
