// SPDX-License-Identifier: MIT

#include "report/html/methods_text.h"

#include <algorithm>
#include <set>

#include "report/html/markup.h"

namespace rydecon {
namespace {

std::string DistinctStopReasons(const std::vector<VolumeReport>& volumes) {
    std::set<std::string> reasons;
    for (const VolumeReport& volume : volumes) {
        if (volume.iterations && !volume.stopReason.empty()) reasons.insert(volume.stopReason);
    }
    std::string text;
    for (const std::string& reason : reasons) text += (text.empty() ? "" : "; ") + reason;
    return text;
}

/// "stack" or "picture", and how many there were.
std::string WhatWasRestored(const RestorationReport& report) {
    const char* const one = report.planes > 1 ? "An image stack" : "An image";
    const char* const several = report.planes > 1 ? " image stacks" : " images";
    const std::size_t count = report.volumes.size();
    std::string text = (count > 1 ? std::to_string(count) + several : one) + std::string(" of ") +
                       (count > 1 ? "each " : "") + ShownShape(report);
    const std::string voxel = ShownVoxel(report);
    if (!voxel.empty()) text += " (" + voxel + ")";
    return text + (count > 1 ? " were" : " was");
}

std::string IterationSentence(const RestorationReport& report) {
    const std::string iterations = ShownIterations(report.volumes);
    if (iterations.empty()) return "";
    const std::string reasons = DistinctStopReasons(report.volumes);
    return " The restoration took " + iterations + (reasons.empty() ? "" : " (" + reasons + ")") + ".";
}

std::string SettingsSentence(const RestorationReport& report) {
    std::string list;
    for (const ReportSetting& setting : report.settings) {
        if (setting.value.empty()) continue;
        const bool option = setting.name.rfind("--", 0) == 0;
        list += (list.empty() ? "" : "; ") + setting.name.substr(option ? 2 : 0) + " " + setting.value;
    }
    return list.empty() ? "" : " Parameters: " + list + ".";
}

}  // namespace

std::string ShownShape(const RestorationReport& report) {
    std::string shape = std::to_string(report.width) + " × " + std::to_string(report.height);
    if (report.planes < 2) return shape + " pixels";
    return shape + " × " + std::to_string(report.planes) + " voxels";
}

std::string ShownVoxel(const RestorationReport& report) {
    const VoxelSize& voxel = report.voxel;
    if (!voxel.x || !voxel.y || (report.planes > 1 && !voxel.z)) return "";
    std::string text = ShownNumber(*voxel.x) + " × " + ShownNumber(*voxel.y);
    if (report.planes > 1) text += " × " + ShownNumber(*voxel.z);
    return text + (report.planes > 1 ? " µm per voxel" : " µm per pixel");
}

std::string ShownIterations(std::span<const VolumeReport> volumes) {
    unsigned least = 0;
    unsigned most = 0;
    const VolumeReport* first = nullptr;
    for (const VolumeReport& volume : volumes) {
        if (!volume.iterations) continue;
        least = first == nullptr ? *volume.iterations : std::min(least, *volume.iterations);
        most = std::max(most, *volume.iterations);
        if (first == nullptr) first = &volume;
    }
    if (first == nullptr) return "";
    std::string rounds = first->rounds;
    if (most == 1 && rounds.ends_with('s')) rounds.pop_back();
    const std::string range = least == most ? "" : std::to_string(least) + " to ";
    return range + std::to_string(most) + " " + rounds;
}

MethodsText WriteMethodsText(const RestorationReport& report) {
    const CitedPhrase method = DescribeMethod(report.method, report.perPicture, report.regularized);
    const CitedPhrase psf = DescribePsfOrigin(report.psfOrigin);
    const std::string version = report.programVersion.empty() ? "" : " " + report.programVersion;

    MethodsText text;
    text.paragraph = WhatWasRestored(report) + " deconvolved with rydecon" + version + " by " + method.text +
                     ". The point spread function was " + psf.text;
    if (report.psfOrigin != PsfOrigin::File && !report.psf.empty()) text.paragraph += ": " + report.psf;
    text.paragraph.append(".").append(IterationSentence(report)).append(SettingsSentence(report));

    text.references = method.references;
    text.references.insert(text.references.end(), psf.references.begin(), psf.references.end());
    std::sort(text.references.begin(), text.references.end());  // as their table, by name
    text.references.erase(std::unique(text.references.begin(), text.references.end()), text.references.end());
    return text;
}

}  // namespace rydecon
