// SPDX-License-Identifier: MIT
#include "restoration/job.h"

#include <string>

#include "io/file_error.h"
#include "report/counted.h"
#include "restoration/method_choice.h"
#include "restoration/picture_job.h"
#include "restoration/volume_job.h"

namespace rydecon {

namespace {

void RefuseMemoryLimit(const RestoreJob& job) {
    if (!job.maxMemory) return;
    throw UserError("--max-memory cuts stacks; pictures are cut by --tiles", ExitCode::Usage);
}

}  // namespace

long long ClippedIn(const StackWriter& writer) {
    return static_cast<long long>(writer.clipped().low) + static_cast<long long>(writer.clipped().high);
}

void NoteClipped(const StackWriter& writer, const RestoreJob& job, const Messages& messages) {
    const ClippedSamples& clipped = writer.clipped();
    const auto note = [&](std::size_t count, const char* what) {
        if (count == 0) return;
        messages.Note(Quoted(job.output) + ": " + Counted(count, "sample") +
                      (count == 1 ? " lies " : " lie ") + what + " " + std::string(NameOf(job.sampleType)) +
                      (count == 1 ? " and was clipped" : " and were clipped"));
    };
    note(clipped.low, "below 0, the least of");
    note(clipped.high, "above the largest of");
}

RestorationRecord RunRestoreJob(const RestoreJob& job, const Messages& messages) {
    const MethodChoice methods = MethodsForImage(job);
    CheckStop(job, methods.picture == nullptr ? methods.volume : nullptr);
    if (methods.picture != nullptr) RefuseMemoryLimit(job);
    if (methods.picture != nullptr) return RunPictureJob(job, *methods.picture, messages);
    return RunVolumeJob(job, *methods.volume, messages);
}

}  // namespace rydecon
