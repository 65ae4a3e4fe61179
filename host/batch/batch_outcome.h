// SPDX-License-Identifier: MIT
#pragma once

// What each of several images came to, and the table at the end that tells.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace rydecon {

enum class BatchState {
    NotBegun,
    Done,
    AlreadyDone,  ///< by an earlier run with the same settings
    Failed,
    Stopped,
};

struct BatchOutcome {
    std::filesystem::path image;
    BatchState state = BatchState::NotBegun;
    std::optional<unsigned long long> iterations;  ///< empty for a direct method, and without a record
    double seconds = 0.0;
    std::uint64_t peakMemory = 0;  ///< bytes; 0 where nothing ran
    std::string reason;            ///< why it failed, one line
};

std::size_t Count(const std::vector<BatchOutcome>& outcomes, BatchState state);

/// Lines with a header, in the order of the images.
std::string TableOf(const std::vector<BatchOutcome>& outcomes);

}  // namespace rydecon
