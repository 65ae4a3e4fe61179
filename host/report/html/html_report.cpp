// SPDX-License-Identifier: MIT

#include "report/html/html_report.h"

#include <algorithm>
#include <map>

#include "report/html/markup.h"
#include "report/html/methods_text.h"
#include "report/html/page_assets.h"
#include "report/html/volume_section.h"

namespace rydecon {
namespace {

constexpr std::size_t kMostNamed = 4;  // volumes that a warning names

/// Where two volumes and more are told apart by numbers, at the least.
std::string NameInList(const VolumeReport& volume, std::size_t number) {
    const std::string name = NameOf(volume);
    return name.empty() ? "Volume " + std::to_string(number + 1) : name;
}

std::string NameOfFile(const std::string& path) {
    return std::filesystem::path(path).filename().string();
}

std::string TitleOf(const RestorationReport& report) {
    return report.title.empty() ? "Restoration of " + NameOfFile(report.input) : report.title;
}

/// Nothing may be fetched: the page is all there is.
std::string Head(const RestorationReport& report) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta name=\"color-scheme\" content=\"light dark\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; img-src data:; "
           "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n"
           "<meta name=\"generator\" content=\"rydecon " +
           Escaped(report.programVersion) + "\">\n" + Element("title", TitleOf(report)) +
           "\n<link rel=\"icon\" href=\"data:,\">\n<style>\n" + std::string(kPageStyle) +
           "</style>\n<noscript><style>.toolbar, .divider { display: none; } "
           ".compare[data-mode] .stage { grid-template-columns: 1fr 1fr; gap: 14px; } "
           ".compare[data-mode] .layer { display: grid; grid-area: auto; } "
           ".compare[data-mode] .after .clip { clip-path: none; } "
           ".compare[data-mode] .after .frame::after { display: none; } "
           ".compare[data-mode] .palette { display: flex; }</style></noscript>\n</head>\n<body>\n";
}

std::string Fact(const std::string& name, const std::string& value, const std::string& detail = "") {
    if (value.empty()) return "";
    return "<div>" + Element("dt", name) + "<dd>" + Escaped(value) +
           (detail.empty() ? "" : Element("small", detail)) + "</dd></div>";
}

/// The reason where all volumes have one.
std::string CommonStopReason(const std::vector<VolumeReport>& volumes) {
    if (volumes.empty()) return "";
    const std::string& reason = volumes.front().stopReason;
    const bool common = std::all_of(volumes.begin(), volumes.end(),
                                    [&](const VolumeReport& volume) { return volume.stopReason == reason; });
    return common ? reason : "";
}

std::string Facts(const RestorationReport& report) {
    const std::string voxel = ShownVoxel(report);
    std::string html = "<dl class=\"facts\">" + Fact("Method", report.method) +
                       Fact("Iterations", ShownIterations(report.volumes), CommonStopReason(report.volumes)) +
                       Fact("Time", ShownDuration(report.seconds)) +
                       Fact("Size", ShownShape(report), voxel.empty() ? "voxel size not known" : voxel);
    if (report.peakMemory) html += Fact("Memory, at most", ShownBytes(*report.peakMemory));
    if (report.volumes.size() == 1) {
        html += Fact("Sum after / before", ShownFluxRatio(report.volumes.front()));
    } else {
        html += Fact("Volumes", std::to_string(report.volumes.size()));
    }
    return html + "</dl>";
}

std::string Header(const RestorationReport& report) {
    return "<header>" + Element("h1", TitleOf(report)) + "<p class=\"files\"><b>" + Escaped(report.input) +
           "</b> → <b>" + Escaped(report.output) + "</b>" +
           (report.created.empty() ? "" : " · " + Escaped(report.created)) + "</p>" + Facts(report) +
           "</header>\n";
}

/// Names of the volumes, or their number where they are many.
std::string WhichVolumes(const RestorationReport& report, const std::vector<std::size_t>& numbers) {
    if (report.volumes.size() < 2) return "";
    if (numbers.size() > kMostNamed) {
        return std::to_string(numbers.size()) + " of " + std::to_string(report.volumes.size()) + " volumes: ";
    }
    std::string names;
    for (const std::size_t n : numbers)
        names += (names.empty() ? "" : "; ") + NameInList(report.volumes[n], n);
    return names + ": ";
}

/// Those of the run, then those of the volumes, each text once.
std::string WarningsSection(const RestorationReport& report) {
    std::map<std::string, std::vector<std::size_t>> volumesOf;
    for (std::size_t n = 0; n < report.volumes.size(); ++n) {
        for (const std::string& warning : report.volumes[n].warnings) volumesOf[warning].push_back(n);
    }
    std::string list;
    for (const std::string& warning : report.warnings) list += Element("li", warning);
    for (const auto& [warning, numbers] : volumesOf) {
        list += Element("li", WhichVolumes(report, numbers) + warning);
    }
    if (list.empty()) return "";
    return "<section class=\"warnings\"><h2>Warnings</h2><ul>" + list + "</ul></section>\n";
}

std::string Table(const std::vector<std::string>& columns, const std::string& rows) {
    std::string html = "<div class=\"wide\"><table><thead><tr>";
    for (const std::string& column : columns) html += Element("th", column, "scope=\"col\"");
    return html + "</tr></thead><tbody>" + rows + "</tbody></table></div>";
}

std::string Row(const std::vector<std::string>& cells) {
    std::string html = "<tr>";
    for (std::size_t n = 0; n < cells.size(); ++n) {
        html += n == 0 ? Element("th", cells[n], "scope=\"row\"") : Element("td", cells[n]);
    }
    return html + "</tr>";
}

/// All volumes in one table, and the choice of the one that is shown.
std::string VolumesSection(const RestorationReport& report) {
    if (report.volumes.size() < 2) return "";
    std::string rows;
    std::string options;
    for (std::size_t n = 0; n < report.volumes.size(); ++n) {
        const VolumeReport& volume = report.volumes[n];
        const std::string name = NameInList(volume, n);
        options += Element("option", name);
        rows += Row({name, volume.iterations ? std::to_string(*volume.iterations) : "—", volume.stopReason,
                     ShownDuration(volume.seconds), ShownFluxRatio(volume),
                     volume.warnings.empty() ? "none" : std::to_string(volume.warnings.size())});
    }
    return "<section><h2>Channels and times</h2>" +
           Table({"Volume", "Iterations", "Ended by", "Time", "Sum after / before", "Warnings"}, rows) +
           "</section>\n<label class=\"chooser\"><b>Show</b> <select autocomplete=\"off\">" + options +
           "</select></label>\n";
}

std::string SettingsSection(const RestorationReport& report) {
    std::string rows = Row({"method", report.method, ""});
    if (!report.psf.empty()) rows += Row({"point spread function", report.psf, ""});
    for (const ReportSetting& setting : report.settings) {
        rows += Row({setting.name, setting.value, setting.source});
    }
    return "<section><h2>Settings</h2>" + Table({"Setting", "Value", "Source"}, rows) + "</section>\n";
}

std::string TimingsSection(const RestorationReport& report) {
    if (report.timings.empty()) return "";
    std::string rows;
    for (const ReportTiming& timing : report.timings) {
        rows += Row({timing.step, ShownDuration(timing.seconds)});
    }
    return "<section><h2>Time</h2>" + Table({"Step", "Time"}, rows) + "</section>\n";
}

std::string MethodsSection(const RestorationReport& report) {
    const MethodsText text = WriteMethodsText(report);
    std::string html =
        "<section><div class=\"row\"><h2>For the methods section of a paper</h2>"
        "<button type=\"button\" data-copy=\"methods\">Copy</button></div><div id=\"methods\">" +
        Element("p", text.paragraph, "class=\"methods\"");
    if (!text.references.empty()) {
        html += "<h3>References</h3><ul class=\"references\">";
        for (const Reference* const reference : text.references) html += Element("li", reference->entry);
        html += "</ul>";
    }
    return html + "</div></section>\n";
}

}  // namespace

std::string RenderHtmlReport(const RestorationReport& report) {
    std::string page =
        Head(report) + Header(report) + "<main>\n" + WarningsSection(report) + VolumesSection(report);
    for (std::size_t n = 0; n < report.volumes.size(); ++n) {
        page += VolumeSection(report.volumes[n], static_cast<int>(n)) + "\n";
    }
    page += MethodsSection(report) + SettingsSection(report) + TimingsSection(report) + "</main>\n<footer>" +
            Escaped("Written by rydecon " + report.programVersion +
                    ". The page holds all its pictures and asks no other place for anything.") +
            "</footer>\n<script>\n" + std::string(kPageScript) + "</script>\n</body>\n</html>\n";
    return page;
}

void HtmlReportFile::Write(const RestorationReport& report) {
    const std::string page = RenderHtmlReport(report);
    file_.Write(page.data(), page.size());
}

}  // namespace rydecon
