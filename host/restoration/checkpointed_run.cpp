// SPDX-License-Identifier: MIT
#include "restoration/checkpointed_run.h"

#include <utility>

#include "io/file_error.h"

namespace rydecon {

CheckpointedRun::CheckpointedRun(const PaddedVolume& estimate, const RunIdentity& identity,
                                 std::filesystem::path to, Checkpoint* from, const Messages& messages)
    : estimate_(estimate), identity_(identity), to_(std::move(to)), from_(from), messages_(messages) {}

unsigned CheckpointedRun::Begin() {
    if (from_ == nullptr) return 0;
    from_->Load(estimate_);
    messages_.Note(Quoted(from_->path()) + ": goes on from iteration " + std::to_string(from_->iterations()));
    return from_->iterations();
}

void CheckpointedRun::EndOfStage(unsigned iterations) {
    if (!Saves()) return;
    try {
        WriteCheckpoint(to_, identity_, iterations, estimate_);
        saved_ = iterations;
        complaint_.clear();
    } catch (const UserError& failure) {
        if (failure.what() == std::exchange(complaint_, failure.what())) return;
        messages_.Note(std::string(failure.what()) + "; the run goes on without a new checkpoint");
    }
}

std::string CheckpointedRun::WhatIsLeft() const {
    if (!saved_) return "nothing was written";
    return "--resume " + Quoted(to_) + " goes on from iteration " + std::to_string(*saved_);
}

}  // namespace rydecon
