// SPDX-License-Identifier: MIT
#include "restoration/output_checks.h"

#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "io/file_error.h"
#include "io/temporary_file.h"
#include "report/output_file.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

using NamedFile = std::pair<std::filesystem::path, std::string>;

/// Each output goes to a file of its own.
void RequireOwnFile(const NamedFile& own, const std::vector<NamedFile>& others) {
    const auto whole = [](const std::filesystem::path& path) {
        std::error_code ignored;
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path, ignored), ignored);
    };
    for (const auto& [path, what] : others) {
        if (path.empty() || whole(path) != whole(own.first)) continue;
        throw UserError(own.second + " and " + what + " name the same file; give them different names",
                        ExitCode::Usage);
    }
}

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
    RequireOwnFile({job.psfOutput, "--psf-out"}, {{job.output, "--output"}});
    CheckOutputFile(job.psfOutput, job.overwrite, {job.image, job.psf.file, job.truth});
}

void CheckCurveOutput(const RestoreJob& job) {
    if (job.curveOutput.empty()) return;
    RequireOwnFile(
        {job.curveOutput, "--curve"},
        {{job.output, "--output"}, {job.psfOutput, "--psf-out"}, {job.checkpoint, "--checkpoint"}});
    CheckOutputFile(job.curveOutput, job.overwrite, InputsOf(job));
    const TemporaryFile probe(job.curveOutput, job.overwrite);
}

}  // namespace

void CheckReport(const RestoreJob& job, const std::filesystem::path& record) {
    if (job.report.empty()) return;
    RequireOwnFile({job.report, "--report"}, {{job.output, "--output"},
                                              {job.psfOutput, "--psf-out"},
                                              {job.checkpoint, "--checkpoint"},
                                              {job.curveOutput, "--curve"},
                                              {record, "the record of the run"}});
    std::vector<std::filesystem::path> inputs = InputsOf(job);
    inputs.push_back(job.resume);
    CheckOutputFile(job.report, job.overwrite, inputs);
}

void CheckFilesBeside(const RestoreJob& job) {
    CheckCheckpointFile(job);
    CheckPsfOutput(job);
    CheckCurveOutput(job);
}

}  // namespace rydecon
