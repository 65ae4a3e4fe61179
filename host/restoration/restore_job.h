// SPDX-License-Identifier: MIT
#pragma once

// What a restoration is asked to do.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cleaning/cleaning.h"
#include "restoration/method.h"
#include "restoration/psf_choice.h"
#include "restoration/selected_stack.h"
#include "restoration/stop_choice.h"
#include "restoration/tile_plan.h"

namespace rydecon {

struct RestoreJob {
    std::filesystem::path image;
    PsfChoice psf;                                ///< of all channels, or of the first
    std::vector<PsfChoice> channelPsfs;           ///< one for each channel; empty: psf for all
    Numbers channels;                             ///< empty: all
    Numbers times;                                ///< empty: all
    SampleType sampleType = SampleType::Float32;  ///< of the output
    bool rescale = false;                         ///< integers hold the range of the restored samples
    std::filesystem::path output;
    std::filesystem::path report;      ///< for the page that tells of the run; empty: none
    std::filesystem::path truth;       ///< empty: none
    std::filesystem::path checkpoint;  ///< where a staged method parks its estimate; empty: nowhere
    std::filesystem::path resume;      ///< a checkpoint to go on from; empty: none
    std::filesystem::path psfOutput;   ///< for the refined PSF of a blind method; empty: none
    std::string method;
    MethodSettings settings;
    CleaningChoice cleaning;
    StopChoice stop;
    std::filesystem::path curveOutput;       ///< for the figure of each iteration; empty: none
    bool wantsCurve = false;                 ///< records how well each iterate explains the image
    std::vector<std::string> given;          ///< options on the command line that not every method reads
    TileChoice tiles;                        ///< for pictures
    std::optional<std::uint64_t> maxMemory;  ///< bytes the program may take; empty: what the machine has free
    bool resumePieces = false;               ///< goes on with the pieces of an earlier run
    bool perPlane = false;                   ///< takes a stack for so many pictures
    bool overwrite = false;
};

/// The files that no output may replace, but for a checkpoint to go on from.
std::vector<std::filesystem::path> InputsOf(const RestoreJob& job);

/// The PSF of each selected channel. UserError (usage) where the job gives neither one for all, nor one for each of
/// them, nor one for each channel of the file.
std::vector<PsfChoice> PsfsOfChannels(const RestoreJob& job, const SelectedStack& stack);

}  // namespace rydecon
