// SPDX-License-Identifier: MIT
#pragma once

// The options that describe the optics, shared by the commands that compute a PSF.

#include <CLI/CLI.hpp>

#include <array>
#include <string>
#include <vector>

#include "optics/optics.h"

namespace rydecon {

/// Their heading in --help.
inline constexpr const char* kOpticsGroup =
    "Point spread function and optics (lengths in um, or with a unit: 461nm)";

/// What was given, as text; empty where it was not.
struct OpticsOptions {
    std::string modality;
    std::string model;
    std::array<std::string, kQuantities> numbers;
    bool invertZ = false;
};

/// Whether wavelengths may be lists, one for each channel: "461nm,520nm".
enum class Wavelengths { One, ByChannel };

/// Adds them; `options` outlives the parsing. Returns those that say nothing but how to compute a PSF: all but
/// --pixel and --z-step.
std::vector<CLI::Option*> AddOpticsOptions(CLI::App& command, OpticsOptions& options,
                                           Wavelengths wavelengths = Wavelengths::One);

/// What the command line tells. UserError (usage) for names that do not exist.
Optics OpticsFrom(const OpticsOptions& options);

/// Likewise for each channel; one alone where no wavelength is a list. UserError (usage) for lists of different
/// lengths.
std::vector<Optics> OpticsByChannel(const OpticsOptions& options);

}  // namespace rydecon
