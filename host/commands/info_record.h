// SPDX-License-Identifier: MIT
#pragma once

// What the command info finds in a file, and its two forms on standard output.

#include <filesystem>
#include <string>
#include <vector>

#include "io/stack_header.h"
#include "statistics/channel_statistics.h"
#include "statistics/noise_estimate.h"

namespace rydecon {

struct ChannelFindings {
    ChannelStatistics statistics;
    NoiseEstimate noise;
};

struct InfoRecord {
    std::filesystem::path path;
    StackHeader header;
    std::vector<ChannelFindings> channels;  // none where only the metadata were asked for
};

/// The axes longer than 1, the slowest first: "TZCYX".
std::string AxesOf(const StackHeader& header);

/// Some lines for the reader, the first begins with the file's name.
std::string InfoText(const InfoRecord& record);

/// One JSON array with an object a file.
std::string InfoJson(const std::vector<InfoRecord>& records);

}  // namespace rydecon
