// SPDX-License-Identifier: MIT
#include "restoration/kept_volume.h"

#include <algorithm>
#include <cstdio>

#include "io/file_error.h"
#include "restoration/blocks/piece_assembly.h"

namespace rydecon {

KeptVolume KeepPlane(PartFolder& parts, unsigned number, const float* plane, int width, int height) {
    KeptVolume kept{BlockGrid({width, height, 1}, {1, 1, 1}, {}), number, "picture", 0.0f};
    const PieceHead head = kept.HeadOf(0);
    const auto piece = parts.Write(head);
    piece->WritePlane(0, plane, width);
    piece->Commit({});
    parts.Add(head, {});
    return kept;
}

double WriteKept(const PartFolder& parts, const KeptVolume& kept, PlaneSink& to) {
    return AssemblePieces(
        parts, kept.grid, [&kept](int block) { return kept.HeadOf(block); }, kept.pedestal, to);
}

void RescaleOutput(const RestoreJob& job, RestorationRecord& record, StackWriter& writer,
                   const Messages& messages) {
    SampleRange all;
    for (const VolumeRecord& volume : record.volumes) {
        all.least = std::min(all.least, volume.after.least);
        all.largest = std::max(all.largest, volume.after.largest);
    }
    const ValueRange range = {all.least, all.largest};
    record.rescale = range;
    writer.Rescale(range);
    const double largest = LargestOf(job.sampleType);
    char text[200];
    std::snprintf(
        text, sizeof text,
        "restored samples from %.9g to %.9g are written as 0 to %.0f; restored = %.9g + %.9g * written",
        double{range.low}, double{range.high}, largest, double{range.low},
        (double{range.high} - double{range.low}) / largest);
    messages.Note(Quoted(job.output) + ": " + text);
}

}  // namespace rydecon
