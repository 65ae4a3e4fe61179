// SPDX-License-Identifier: MIT
#include "commands/optics_options.h"

#include "commands/option_checks.h"
#include "io/length_unit.h"
#include "optics/units.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

std::string CheckLength(const std::string& text) {
    if (ParseLength(text)) return {};
    return Complaint(text, "a length such as 461nm or 0.461um (without a unit in um)");
}

bool IsWavelength(const QuantityTraits& traits) {
    return traits.quantity == Quantity::Emission || traits.quantity == Quantity::Excitation;
}

/// The members of "461nm,520nm"; one empty text for an empty one.
std::vector<std::string> Members(const std::string& list) {
    std::vector<std::string> members;
    std::size_t from = 0;
    for (std::size_t comma = list.find(','); comma != std::string::npos; comma = list.find(',', from)) {
        members.push_back(list.substr(from, comma - from));
        from = comma + 1;
    }
    members.push_back(list.substr(from));
    return members;
}

std::string CheckLengths(const std::string& text) {
    for (const std::string& member : Members(text)) {
        std::string complaint = CheckLength(member);
        if (!complaint.empty()) return complaint;
    }
    return {};
}

double ParsedNumber(const QuantityTraits& traits, const std::string& text) {
    return traits.isLength ? ParseLength(text).value() : ParseNumber(text).value();
}

}  // namespace

std::vector<CLI::Option*> AddOpticsOptions(CLI::App& command, OpticsOptions& options,
                                           Wavelengths wavelengths) {
    std::vector<CLI::Option*> added;
    std::string modalities = "What kind of microscope.";
    for (const Modality& modality : Modalities())
        modalities += "\n  " + modality.name + ": " + modality.summary;
    added.push_back(command.add_option("--modality", options.modality, modalities)
                        ->type_name("NAME")
                        ->group(kOpticsGroup));
    for (const QuantityTraits& traits : kQuantityTraits) {
        CLI::Option* const option = command.add_option(
            traits.option, options.numbers[static_cast<std::size_t>(traits.quantity)], traits.help);
        const bool list = wavelengths == Wavelengths::ByChannel && IsWavelength(traits);
        option->type_name(list ? "LENGTH[,...]" : traits.isLength ? "LENGTH" : "X")->group(kOpticsGroup);
        option->check(list              ? CLI::Validator(CheckLengths, "")
                      : traits.isLength ? CLI::Validator(CheckLength, "")
                                        : RealNumber());
        const bool voxel = traits.quantity == Quantity::Pixel || traits.quantity == Quantity::ZStep;
        if (!voxel) added.push_back(option);
    }
    added.push_back(command.add_flag("--invert-z", options.invertZ, "The stage moves the other way")
                        ->group(kOpticsGroup));
    added.push_back(
        command
            .add_option("--model", options.model,
                        "How to compute.\n  layered: the usual one; immersion and sample may differ"
                        "\n  fast: few planes about the focus")
            ->type_name("NAME")
            ->group(kOpticsGroup));
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

std::vector<Optics> OpticsByChannel(const OpticsOptions& options) {
    std::size_t channels = 1;
    for (const QuantityTraits& traits : kQuantityTraits) {
        if (!IsWavelength(traits)) continue;
        const std::size_t given = Members(options.numbers[static_cast<std::size_t>(traits.quantity)]).size();
        if (given == 1 || given == channels) continue;
        if (channels > 1) {
            throw UserError(
                "--emission and --excitation tell of different numbers of channels; give one value for "
                "all, or one for each",
                ExitCode::Usage);
        }
        channels = given;
    }
    std::vector<Optics> optics;
    for (std::size_t c = 0; c < channels; ++c) {
        OpticsOptions own = options;
        for (std::string& number : own.numbers) {
            const std::vector<std::string> members = Members(number);
            if (members.size() > 1) number = members[c];
        }
        optics.push_back(OpticsFrom(own));
    }
    return optics;
}

}  // namespace rydecon
