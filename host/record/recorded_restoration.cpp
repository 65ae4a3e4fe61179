// SPDX-License-Identifier: MIT
#include "record/recorded_restoration.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "io/temporary_file.h"
#include "record/page_contents.h"
#include "record/sidecar.h"
#include "report/html/html_report.h"
#include "report/recorded_messages.h"
#include "report/user_error.h"
#include "restoration/output_checks.h"

namespace rydecon {

namespace {

/// Size and time of the files before they are read.
struct InputStamps {
    std::optional<FileStamp> image;
    std::vector<std::optional<FileStamp>> psfs;

    explicit InputStamps(const RestoreJob& job) : image(StampOf(job.image)) {
        for (const PsfChoice& psf : PsfsOf(job)) {
            if (!psf.file.empty()) psfs.push_back(StampOf(psf.file));
        }
    }
    bool Still(const InputIdentities& inputs) const {
        return image == inputs.image.stamp &&
               std::equal(psfs.begin(), psfs.end(), inputs.psfs.begin(), inputs.psfs.end(),
                          [](const auto& stamp, const FileIdentity& psf) { return stamp == psf.stamp; });
    }
};

void WriteSidecar(const RestoreJob& job, const RestorationRecord& record, const InputStamps& stamps,
                  const std::string& version, const RecordedMessages& messages) {
    // The output is there: its record follows whatever happens.
    SidecarContents contents{record,
                             messages.lines(),
                             IdentifyInputs(job, std::nullopt, OnStop::GoOn),
                             IdentityOf(job.output, std::nullopt, OnStop::GoOn),
                             std::nullopt,
                             version};
    if (stamps.Still(contents.inputs)) {
        contents.settingsHash = SettingsHash(job, contents.inputs, version);
    } else {
        messages.Note("an input has changed while it was restored; the record tells of no settings");
    }
    const std::string text = SidecarText(job, contents);
    TemporaryFile file(SidecarPath(job.output), true);
    file.Write(text.data(), text.size());
    file.Commit();
}

}  // namespace

RestorationRecord RunRecordedRestoration(const RestoreJob& job, const std::string& version, Sidecar sidecar,
                                         const Messages& messages) {
    const bool recorded = sidecar == Sidecar::Written;
    if (recorded) RequirePlaceForSidecar(job.output);
    CheckReport(job, recorded ? SidecarPath(job.output) : std::filesystem::path());
    std::optional<HtmlReportFile> page;
    if (!job.report.empty()) page.emplace(job.report, job.overwrite);
    const RecordedMessages notes(messages);
    const InputStamps stamps(job);
    RestorationRecord record = RunRestoreJob(job, notes);
    try {
        if (recorded) {
            WriteSidecar(job, record, stamps, version, notes);
        } else {
            RemoveSidecar(job.output);
        }
    } catch (const UserError& failure) {
        RemoveSidecar(job.output);
        messages.Note("the output stands without its record: " + std::string(failure.what()));
    }
    if (!page) return record;
    try {
        page->Write(PageContents(job, record, notes.lines(), version));
        page->Commit();
    } catch (const UserError& failure) {
        messages.Note("the output stands without its report: " + std::string(failure.what()));
    }
    return record;
}

}  // namespace rydecon
