// SPDX-License-Identifier: MIT
#include "commands/optics_options.h"

#include <cmath>

#include "io/length_unit.h"
#include "optics/units.h"

namespace rydecon {

namespace {

std::string CheckLength(const std::string& text) {
    if (ParseLength(text)) return {};
    return "a length such as 461nm or 0.461um is needed (micrometres without a unit), not '" + text + "'";
}

std::string CheckNumber(const std::string& text) {
    const auto number = ParseNumber(text);
    if (number && std::isfinite(*number)) return {};
    return "a number is needed, not '" + text + "'";
}

double ParsedNumber(const QuantityTraits& traits, const std::string& text) {
    return traits.isLength ? ParseLength(text).value() : ParseNumber(text).value();
}

}  // namespace

std::vector<CLI::Option*> AddOpticsOptions(CLI::App& command, OpticsOptions& options) {
    constexpr const char* kGroup = "Optics (lengths in um, or with a unit: 461nm)";
    std::vector<CLI::Option*> added;
    std::string modalities = "What kind of microscope.";
    for (const Modality& modality : Modalities())
        modalities += "\n  " + modality.name + ": " + modality.summary;
    added.push_back(
        command.add_option("--modality", options.modality, modalities)->type_name("NAME")->group(kGroup));
    for (const QuantityTraits& traits : kQuantityTraits) {
        CLI::Option* const option = command.add_option(
            traits.option, options.numbers[static_cast<std::size_t>(traits.quantity)], traits.help);
        option->type_name(traits.isLength ? "LENGTH" : "X")->group(kGroup);
        option->check(CLI::Validator(traits.isLength ? CheckLength : CheckNumber, ""));
        const bool voxel = traits.quantity == Quantity::Pixel || traits.quantity == Quantity::ZStep;
        if (!voxel) added.push_back(option);
    }
    added.push_back(
        command.add_flag("--invert-z", options.invertZ, "The stage moves the other way")->group(kGroup));
    added.push_back(
        command
            .add_option("--model", options.model,
                        "layered (usual): immersion and sample may differ; fast: few planes about "
                        "the focus")
            ->type_name("NAME")
            ->group(kGroup));
    return added;
}

Optics OpticsFrom(const OpticsOptions& options) {
    Optics optics;
    if (!options.modality.empty()) {
        optics.modality = &FindModality(options.modality);
        optics.modalitySource = "--modality";
    }
    if (!options.model.empty()) optics.model = FindModel(options.model);
    optics.invertZ = options.invertZ;
    for (const QuantityTraits& traits : kQuantityTraits) {
        const std::string& text = options.numbers[static_cast<std::size_t>(traits.quantity)];
        if (text.empty()) continue;
        optics[traits.quantity] = {ParsedNumber(traits, text), Origin::Option, traits.option};
    }
    return optics;
}

}  // namespace rydecon
