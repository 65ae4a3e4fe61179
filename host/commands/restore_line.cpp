// SPDX-License-Identifier: MIT
#include "commands/restore_line.h"

#include <cstdio>

#include "batch/batch_plan.h"
#include "batch/batch_run.h"
#include "commands/option_checks.h"
#include "commands/restore_words.h"
#include "io/file_error.h"
#include "record/recorded_restoration.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

constexpr unsigned kMostJobs = 1024;
constexpr const char* kVersion = RYDECON_VERSION;

std::string CheckSuffix(const std::string& text) {
    if (!text.empty() && text.find('/') == std::string::npos) return {};
    return Complaint(text, "a part of a file name");
}

bool Given(const CLI::App& command, const char* option) {
    return command.count(option) > 0;
}

void RequireOption(const CLI::App& command, const char* name) {
    const CLI::Option* const option = command.get_option(name);
    if (option->count() == 0) throw CLI::RequiredError(option->get_name());
}

/// One image is restored in this process, unless the line speaks of several.
bool AsksForOne(const CLI::App& command, const RestoreLine& line) {
    for (const char* option : {"--manifest", "--recursive", "--suffix", "--jobs"}) {
        if (Given(command, option)) return false;
    }
    return IsSingleImage(line.images);
}

void RunOne(const CLI::App& command, const RestoreLine& line, const Messages& messages) {
    RequireOption(command, "--output");
    RestoreJob job = JobOf(command, line);
    job.image = line.images.front();
    RunRecordedRestoration(job, kVersion, line.batch.noSidecar ? Sidecar::LeftOut : Sidecar::Written,
                           messages);
}

std::vector<BatchItem> ItemsOf(const CLI::App& command, const RestoreLine& line, const RestoreWords& words,
                               const Messages& messages) {
    const BatchOptions& batch = line.batch;
    if (batch.manifest.empty()) {
        RequireOption(command, "--output");
        return ItemsFor(ListImages(line.images, batch.recursive, line.job.output, messages), line.job.output,
                        batch.suffix);
    }
    for (const char* option : {"image", "--recursive", "--suffix"}) {
        if (Given(command, option)) {
            const std::string what = option == std::string("image") ? "an image" : option;
            throw UserError(what + " means nothing beside --manifest, which names every file; leave one out",
                            ExitCode::Usage);
        }
    }
    return ItemsFor(ReadTable(batch.manifest), batch.manifest, line.job.output, words.Columns());
}

/// Finds out now that a line of settings makes no sense, and not file by file.
void FillIn(BatchItem& item, const RestoreWords& words) {
    try {
        item.words = words.WordsFor(item.image, item.output, item.cells);
        item.job = RestoreWords::Parse(item.words);
    } catch (const UserError& failure) {
        if (item.place.empty()) throw;
        throw UserError(item.place + ": " + failure.what(), failure.code());
    }
}

/// The table, and the end of the program where not all is done.
void Conclude(const std::vector<BatchOutcome>& outcomes, const Messages& messages) {
    if (!messages.quiet()) std::fputs(TableOf(outcomes).c_str(), stdout);
    const std::size_t failed = Count(outcomes, BatchState::Failed);
    const std::size_t done = Count(outcomes, BatchState::Done) + Count(outcomes, BatchState::AlreadyDone);
    const std::string all = " of " + std::to_string(outcomes.size()) + " images ";
    if (done + failed < outcomes.size()) {
        throw UserError("stopped; " + std::to_string(done) + all + "are restored", ExitCode::Stopped);
    }
    if (failed > 0) throw UserError(std::to_string(failed) + all + "could not be restored");
}

void RunSeveral(const CLI::App& command, const RestoreLine& line, const Messages& messages) {
    const RestoreWords words(command, messages.quiet());
    std::vector<BatchItem> items = ItemsOf(command, line, words, messages);
    for (BatchItem& item : items) FillIn(item, words);
    RequireDistinct(items);
    MakeFolders(items);
    Conclude(RunBatch(items, {line.batch.jobs, line.job.overwrite, kVersion}, messages), messages);
}

}  // namespace

void AddBatchOptions(CLI::App& command, BatchOptions& batch) {
    constexpr const char* kGroup = "Several images";
    command
        .add_option("--manifest", batch.manifest,
                    "A table of images, NAME.tsv or NAME.csv: its first row has image, output and names of "
                    "options without dashes; its cells win over options given here")
        ->type_name("FILE")
        ->configurable(false)
        ->group(kGroup);
    command.add_flag("--recursive", batch.recursive, "Look into the folders of a folder as well")
        ->configurable(false)
        ->group(kGroup);
    command.add_option("--suffix", batch.suffix, "Put this behind the name of each output, before .tif")
        ->check(CLI::Validator(CheckSuffix, ""))
        ->type_name("TEXT")
        ->configurable(false)
        ->group(kGroup);
    command.add_option("--jobs", batch.jobs, "Restore so many images at a time; they share the processors")
        ->capture_default_str()
        ->transform(WholeNumber(1, kMostJobs))
        ->type_name("N")
        ->configurable(false)
        ->group(kGroup);
    command.add_flag("--no-sidecar", batch.noSidecar, "Leave out OUT.tif.json, the record of what was done")
        ->group(kFilesGroup);
}

void RunRestoreLine(const CLI::App& command, const RestoreLine& given, const Messages& messages) {
    RestoreLine line = given;
    TakeImageFromResume(line);
    if (line.batch.manifest.empty() && line.images.empty()) RequireOption(command, "image");
    if (AsksForOne(command, line)) {
        RunOne(command, line, messages);
    } else {
        RunSeveral(command, line, messages);
    }
}

}  // namespace rydecon
