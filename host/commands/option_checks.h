// SPDX-License-Identifier: MIT
#pragma once

// Checks of the values of options. All refuse in the same words: "--iterations is 'five'; a whole number from 0 to
// 100000 is needed".

#include <CLI/CLI.hpp>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace rydecon {

/// What such a check answers: "is 'five'; <need> is needed". Numbers stand without quotes.
std::string Complaint(const std::string& given, const std::string& need);

/// One of these words.
CLI::Validator OneOf(const std::vector<std::string>& words);

/// Decimal digits. A transformation: "010" is ten, though CLI11 takes it for the eight of old programs.
CLI::Validator WholeNumber(std::uint64_t least = 0,
                           std::uint64_t most = std::numeric_limits<std::uint64_t>::max());

/// A finite number with a point, whatever the locale.
CLI::Validator RealNumber();

/// Not empty, as what a script puts in place of an unset variable.
CLI::Validator FileName();

}  // namespace rydecon
