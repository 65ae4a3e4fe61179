// SPDX-License-Identifier: MIT

#include "io/ome_optics.h"

#include <cmath>
#include <optional>
#include <string>

#include "io/length_unit.h"

namespace rydecon::ome {
namespace {

std::optional<double> PositiveNumber(const pugi::xml_node& node, const char* name, const FileNotes& notes) {
    const pugi::xml_attribute attribute = node.attribute(name);
    if (!attribute) return std::nullopt;
    const auto number = ParseNumber(attribute.value());
    if (number && std::isfinite(*number) && *number > 0.0) return number;
    notes.Note("the metadata give an impossible " + std::string(name) + " ('" + attribute.value() +
               "'), which is ignored");
    return std::nullopt;
}

/// In micrometres; `usualUnit` is the schema's where the attribute <name>Unit is left out.
std::optional<double> Length(const pugi::xml_node& node, const char* name, const char* usualUnit,
                             const FileNotes& notes) {
    const auto number = PositiveNumber(node, name, notes);
    if (!number) return std::nullopt;
    const std::string unitName = std::string(name) + "Unit";
    const std::string unit = node.attribute(unitName.c_str()).as_string(usualUnit);
    const auto micrometres = MicrometresPer(unit);
    if (micrometres) return *number * *micrometres;
    notes.Note("the metadata give the " + std::string(name) + " in '" + unit +
               "', which is no length; it is ignored");
    return std::nullopt;
}

/// The objective of this ID; without an ID the only one of the file.
pugi::xml_node FindObjective(const pugi::xml_node& root, const std::string& id) {
    pugi::xml_node found;
    int objectives = 0;
    for (const pugi::xml_node& instrument : root.children()) {
        if (LocalName(instrument) != "Instrument") continue;
        for (const pugi::xml_node& node : instrument.children()) {
            if (LocalName(node) != "Objective") continue;
            if (!id.empty() && id == node.attribute("ID").value()) return node;
            found = node;
            ++objectives;
        }
    }
    return id.empty() && objectives == 1 ? found : pugi::xml_node();
}

}  // namespace

std::string_view LocalName(const pugi::xml_node& node) {
    const std::string_view name = node.name();
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

pugi::xml_node Child(const pugi::xml_node& parent, std::string_view name) {
    return parent.find_child([&](const pugi::xml_node& node) { return LocalName(node) == name; });
}

ChannelRecord ReadChannel(const pugi::xml_node& channel, const FileNotes& notes) {
    ChannelRecord record;
    record.name = channel.attribute("Name").value();
    record.emission = Length(channel, "EmissionWavelength", "nm", notes);
    record.excitation = Length(channel, "ExcitationWavelength", "nm", notes);
    record.pinhole = Length(channel, "PinholeSize", "um", notes);
    record.acquisitionMode = channel.attribute("AcquisitionMode").value();
    if (const pugi::xml_attribute colour = channel.attribute("Color")) {
        // Red, green, blue and opacity in the bytes of a signed number, red in the highest.
        const auto rgba = static_cast<std::uint32_t>(colour.as_llong());
        record.colour = Rgb{static_cast<std::uint8_t>(rgba >> 24), static_cast<std::uint8_t>(rgba >> 16),
                            static_cast<std::uint8_t>(rgba >> 8)};
    }
    return record;
}

ImageOptics ReadOptics(const pugi::xml_node& root, const FileNotes& notes) {
    const pugi::xml_node image = Child(root, "Image");
    const pugi::xml_node settings = Child(image, "ObjectiveSettings");
    const pugi::xml_node objective = FindObjective(root, settings.attribute("ID").value());
    ImageOptics optics;
    optics.numericalAperture = PositiveNumber(objective, "LensNA", notes);
    optics.magnification = PositiveNumber(objective, "CalibratedMagnification", notes);
    if (!optics.magnification) {
        optics.magnification = PositiveNumber(objective, "NominalMagnification", notes);
    }
    optics.immersion = objective.attribute("Immersion").value();
    optics.refractiveIndex = PositiveNumber(settings, "RefractiveIndex", notes);
    return optics;
}

}  // namespace rydecon::ome
