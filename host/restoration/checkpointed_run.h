// SPDX-License-Identifier: MIT
#pragma once

// A staged run that parks its estimate in a file as it goes, and begins from such a file.

#include <filesystem>
#include <optional>

#include "report/messages.h"
#include "restoration/checkpoint.h"
#include "restoration/staged_core.h"

namespace rydecon {

class CheckpointedRun final : public StageStore {
  public:
    /// estimate  the volume that the run iterates on
    /// to        where the estimate is parked; empty: nowhere
    /// from      where the run begins; null: with the image. Must fit the identity and outlive the run
    CheckpointedRun(const PaddedVolume& estimate, const RunIdentity& identity, std::filesystem::path to,
                    Checkpoint* from, const Messages& messages);

    unsigned Begin() override;
    bool Saves() const override { return !to_.empty(); }
    /// A checkpoint that cannot be written costs the work of none: one note tells, and the one before stays.
    void EndOfStage(unsigned iterations) override;

    /// The end of a stopped run, for its message: "nothing was written", or how to go on.
    std::string WhatIsLeft() const;

  private:
    const PaddedVolume& estimate_;
    RunIdentity identity_;
    std::filesystem::path to_;
    Checkpoint* from_;
    const Messages& messages_;
    std::optional<unsigned> saved_;  // iterations of the checkpoint on the disk
    std::string complaint_;          // why the last one could not be written: told once
};

}  // namespace rydecon
