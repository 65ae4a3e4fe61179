// SPDX-License-Identifier: MIT
#include "restoration/volume_summary.h"

#include <cstdio>
#include <string>

#include "io/file_error.h"
#include "report/counted.h"

namespace rydecon {

namespace {

/// ", 12 iterations (the limit)"; empty for a direct method.
std::string EndText(const Method& method, const VolumeRecord& volume) {
    if (volume.end == EndOfRun::Direct) return "";
    if (volume.end == EndOfRun::Copied) return ", copied";
    if (method.refinesPsf) return ", " + Counted(volume.iterations, "sweep") + " of image and PSF";
    return ", " + Counted(volume.iterations, "iteration") + " (" +
           (volume.end == EndOfRun::Limit   ? "the limit"
            : volume.end == EndOfRun::Split ? "where two halves of the photons agree best"
                                            : "ended by its stop test") +
           ")";
}

/// "2 x 2 x 1 blocks, 3 of them from an earlier run, each "; empty for a volume restored in one piece.
std::string BlocksText(const VolumeRecord& volume) {
    if (volume.blocks == Extent{1, 1, 1}) return volume.takenOver > 0 ? "taken from an earlier run, " : "";
    const std::string taken =
        volume.takenOver > 0 ? ", " + std::to_string(volume.takenOver) + " of them from an earlier run" : "";
    return ToString(volume.blocks) + " blocks" + taken + ", each ";
}

void PrintVolume(const RestoreJob& job, const Method& method, const VolumeRecord& volume, double seconds) {
    const std::string name = volume.name.empty() ? "" : " of " + OneLine(volume.name);
    std::printf("%s: %s samples%s, method %s%s, %spadded to %s, %.2f s\n",
                OneLine(job.output.native()).c_str(), ToString(volume.shape).c_str(), name.c_str(),
                job.method.c_str(), EndText(method, volume).c_str(), BlocksText(volume).c_str(),
                ToString(volume.frame).c_str(), seconds);
    if (method.refinesPsf) {
        std::printf("width of the PSF at half maximum: %s\n", volume.psfWidths.c_str());
    }
}

}  // namespace

void PrintSummary(const RestoreJob& job, const Method& method, const RestorationRecord& record) {
    if (record.volumes.size() == 1) {
        PrintVolume(job, method, record.volumes.front(), record.seconds);
        return;
    }
    for (const VolumeRecord& volume : record.volumes) {
        PrintVolume(job, method, volume, volume.readSeconds + volume.coreSeconds + volume.writeSeconds);
    }
    std::printf("%s: %s, %s, %.2f s\n", OneLine(job.output.native()).c_str(),
                Counted(record.header.channels, "channel").c_str(),
                Counted(record.header.times, "time").c_str(), record.seconds);
}

}  // namespace rydecon
