// SPDX-License-Identifier: MIT
#include "restoration/restore_job.h"

#include "report/user_error.h"

namespace rydecon {

std::vector<std::filesystem::path> InputsOf(const RestoreJob& job) {
    std::vector<std::filesystem::path> inputs = {job.image, job.psf.file, job.truth};
    for (const PsfChoice& psf : job.channelPsfs) inputs.push_back(psf.file);
    return inputs;
}

std::vector<PsfChoice> PsfsOfChannels(const RestoreJob& job, const SelectedStack& stack) {
    const auto selected = static_cast<std::size_t>(stack.header().channels);
    const std::size_t given = job.channelPsfs.size();
    if (given == 0) return std::vector<PsfChoice>(selected, job.psf);
    if (given == selected) return job.channelPsfs;
    if (given != static_cast<std::size_t>(stack.channelsOfFile())) {
        throw UserError("--psf, --emission or --excitation tells of " + std::to_string(given) +
                            " channels, and " + std::to_string(selected) +
                            " are to be restored; give one value for all, or one for each",
                        ExitCode::Usage);
    }
    std::vector<PsfChoice> psfs;
    for (std::size_t c = 0; c < selected; ++c) {
        psfs.push_back(job.channelPsfs[static_cast<std::size_t>(stack.ChannelOfFile(static_cast<int>(c)))]);
    }
    return psfs;
}

}  // namespace rydecon
