// SPDX-License-Identifier: MIT
#include "restoration/output_checks.h"

#include <filesystem>
#include <string>
#include <utility>

#include "io/file_error.h"
#include "io/temporary_file.h"
#include "report/output_file.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

/// Finds out now, and not after hours, that no checkpoint can be written there.
void CheckCheckpointFile(const RestoreJob& job) {
    if (job.checkpoint.empty()) return;
    std::error_code ignored;
    const auto place = [&ignored](const auto& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path), ignored);
    };
    if (place(job.checkpoint) == place(job.output)) {
        throw WriteError(job.checkpoint, "it is the output of this command; give another name");
    }
    const bool goesOn = std::filesystem::equivalent(job.checkpoint, job.resume, ignored);
    CheckOutputFile(job.checkpoint, job.overwrite || goesOn, InputsOf(job));
    const TemporaryFile probe(job.checkpoint, true);
}

/// Two outputs need two files, neither of which is an input.
void CheckPsfOutput(const RestoreJob& job) {
    if (job.psfOutput.empty()) return;
    const auto whole = [](const std::filesystem::path& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path));
    };
    if (whole(job.psfOutput) == whole(job.output)) {
        throw UserError("--psf-out and --output name the same file; give them different names",
                        ExitCode::Usage);
    }
    CheckOutputFile(job.psfOutput, job.overwrite, {job.image, job.psf.file, job.truth});
}

/// A curve goes to a file of its own.
void CheckCurveOutput(const RestoreJob& job) {
    if (job.curveOutput.empty()) return;
    const auto whole = [](const std::filesystem::path& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path));
    };
    for (const auto& [path, option] :
         {std::pair{job.output, "--output"}, std::pair{job.psfOutput, "--psf-out"},
          std::pair{job.checkpoint, "--checkpoint"}}) {
        if (path.empty() || whole(path) != whole(job.curveOutput)) continue;
        throw UserError(
            std::string("--curve and ") + option + " name the same file; give them different names",
            ExitCode::Usage);
    }
    CheckOutputFile(job.curveOutput, job.overwrite, InputsOf(job));
    const TemporaryFile probe(job.curveOutput, job.overwrite);
}

}  // namespace

void CheckFilesBeside(const RestoreJob& job) {
    CheckCheckpointFile(job);
    CheckPsfOutput(job);
    CheckCurveOutput(job);
}

}  // namespace rydecon
