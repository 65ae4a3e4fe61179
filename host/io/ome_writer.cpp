// SPDX-License-Identifier: MIT
#include "io/ome_writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <pugixml.hpp>
#include <sstream>

#include "io/file_error.h"
#include "io/length_unit.h"
#include "io/utf16.h"

namespace rydecon {
namespace {

constexpr const char* kSchema = "http://www.openmicroscopy.org/Schemas/OME/2016-06";
constexpr double kNanometre = 1e-3;

// The words that the schema allows; any other is "Other".
constexpr std::array<std::string_view, 24> kAcquisitionModes{"WideField",
                                                             "LaserScanningConfocalMicroscopy",
                                                             "SpinningDiskConfocal",
                                                             "SlitScanConfocal",
                                                             "MultiPhotonMicroscopy",
                                                             "StructuredIllumination",
                                                             "SingleMoleculeImaging",
                                                             "TotalInternalReflection",
                                                             "FluorescenceLifetime",
                                                             "SpectralImaging",
                                                             "FluorescenceCorrelationSpectroscopy",
                                                             "NearFieldScanningOpticalMicroscopy",
                                                             "SecondHarmonicGenerationImaging",
                                                             "PALM",
                                                             "STORM",
                                                             "STED",
                                                             "TIRF",
                                                             "FSM",
                                                             "LCM",
                                                             "Other",
                                                             "BrightField",
                                                             "SweptFieldConfocal",
                                                             "SPIM",
                                                             "Unknown"};
constexpr std::array<std::string_view, 7> kImmersions{"Oil",   "Water",    "WaterDipping", "Air",
                                                      "Multi", "Glycerol", "Other"};

template <std::size_t n>
const char* Allowed(const std::array<std::string_view, n>& words, const std::string& word) {
    const auto found = std::find(words.begin(), words.end(), word);
    return found == words.end() || *found == "Unknown" ? "Other" : found->data();
}

void SetNumber(pugi::xml_node& node, const char* name, const std::optional<double>& value,
               double unit = 1.0) {
    if (value) node.append_attribute(name) = TextIn(*value, unit).c_str();
}

const char* PixelType(SampleType type) {
    switch (type) {
        case SampleType::UInt8:
            return "uint8";
        case SampleType::UInt16:
            return "uint16";
        default:
            return "float";
    }
}

bool KnowsObjective(const ImageOptics& optics) {
    return optics.numericalAperture || optics.refractiveIndex || optics.magnification ||
           !optics.immersion.empty();
}

void AddInstrument(pugi::xml_node& root, const ImageOptics& optics) {
    pugi::xml_node instrument = root.append_child("Instrument");
    instrument.append_attribute("ID") = "Instrument:0";
    pugi::xml_node objective = instrument.append_child("Objective");
    objective.append_attribute("ID") = "Objective:0:0";
    SetNumber(objective, "LensNA", optics.numericalAperture);
    SetNumber(objective, "NominalMagnification", optics.magnification);
    if (!optics.immersion.empty()) {
        objective.append_attribute("Immersion") = Allowed(kImmersions, optics.immersion);
    }
}

void AddChannel(pugi::xml_node& pixels, const StackHeader& header, int c) {
    const ChannelRecord record = RecordOf(header, c);
    const ImageOptics optics = OpticsOf(header, c);
    pugi::xml_node channel = pixels.append_child("Channel");
    channel.append_attribute("ID") = ("Channel:0:" + std::to_string(c)).c_str();
    channel.append_attribute("SamplesPerPixel") = 1;
    if (!record.name.empty()) channel.append_attribute("Name") = OneLine(record.name).c_str();
    if (!optics.acquisitionMode.empty()) {
        channel.append_attribute("AcquisitionMode") = Allowed(kAcquisitionModes, optics.acquisitionMode);
    }
    const auto wavelength = [&](const char* name, const std::optional<double>& micrometres) {
        if (!micrometres) return;
        SetNumber(channel, name, micrometres, kNanometre);
        channel.append_attribute((std::string(name) + "Unit").c_str()) = "nm";
    };
    wavelength("ExcitationWavelength", optics.excitation);
    wavelength("EmissionWavelength", optics.emission);
    SetNumber(channel, "PinholeSize", optics.pinhole);
    if (record.colour) {
        const auto& [red, green, blue] = *record.colour;
        const std::uint32_t rgba =
            std::uint32_t{red} << 24 | std::uint32_t{green} << 16 | std::uint32_t{blue} << 8 | 0xFFU;
        channel.append_attribute("Color") = static_cast<std::int32_t>(rgba);
    }
}

void AddPixels(pugi::xml_node& image, const StackHeader& header) {
    pugi::xml_node pixels = image.append_child("Pixels");
    pixels.append_attribute("ID") = "Pixels:0";
    pixels.append_attribute("DimensionOrder") = "XYCZT";
    pixels.append_attribute("Type") = PixelType(header.sampleType);
    if (header.significantBits && header.sampleType != SampleType::Float32) {
        const auto bits = static_cast<int>(8 * BytesOf(header.sampleType));
        pixels.append_attribute("SignificantBits") = std::min(*header.significantBits, bits);
    }
    pixels.append_attribute("BigEndian") = std::endian::native == std::endian::big;
    pixels.append_attribute("SizeX") = header.width;
    pixels.append_attribute("SizeY") = header.height;
    pixels.append_attribute("SizeZ") = header.slices;
    pixels.append_attribute("SizeC") = header.channels;
    pixels.append_attribute("SizeT") = header.times;
    SetNumber(pixels, "PhysicalSizeX", header.voxel.x);
    SetNumber(pixels, "PhysicalSizeY", header.voxel.y);
    SetNumber(pixels, "PhysicalSizeZ", header.voxel.z);
    if (header.timeStep) {
        // The schema knows some units only; the others become seconds.
        const auto seconds = SecondsPer(header.timeStep->unit);
        if (seconds) {
            SetNumber(pixels, "TimeIncrement", header.timeStep->value * *seconds);
            pixels.append_attribute("TimeIncrementUnit") = "s";
        }
    }
    for (int c = 0; c < header.channels; ++c) AddChannel(pixels, header, c);
    pugi::xml_node data = pixels.append_child("TiffData");
    data.append_attribute("IFD") = 0;
    data.append_attribute("PlaneCount") = header.planes();
}

/// With references to characters in place of those that the tag cannot hold, which has ASCII.
std::string InAscii(const std::string& text) {
    std::string ascii;
    const std::u16string wide = Utf16From(text);
    for (std::size_t i = 0; i < wide.size(); ++i) {
        std::uint32_t c = wide[i];
        if (c >= 0xD800 && c < 0xDC00) c = 0x10000 + ((c - 0xD800) << 10) + (wide[++i] - 0xDC00U);
        ascii += c < 0x80 ? std::string(1, static_cast<char>(c)) : "&#" + std::to_string(c) + ";";
    }
    return ascii;
}

}  // namespace

std::string WriteOme(const StackHeader& header) {
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    pugi::xml_node root = document.append_child("OME");
    root.append_attribute("xmlns") = kSchema;
    root.append_attribute("xmlns:xsi") = "http://www.w3.org/2001/XMLSchema-instance";
    root.append_attribute("xsi:schemaLocation") = (std::string(kSchema) + " " + kSchema + "/ome.xsd").c_str();
    root.append_attribute("UUID") = std::string(kOmeUuidPlace).c_str();
    root.append_attribute("Creator") = "rydecon";
    const bool objective = KnowsObjective(header.optics);
    if (objective) AddInstrument(root, header.optics);
    pugi::xml_node image = root.append_child("Image");
    image.append_attribute("ID") = "Image:0";
    if (objective) {
        image.append_child("InstrumentRef").append_attribute("ID") = "Instrument:0";
        pugi::xml_node settings = image.append_child("ObjectiveSettings");
        settings.append_attribute("ID") = "Objective:0:0";
        SetNumber(settings, "RefractiveIndex", header.optics.refractiveIndex);
    }
    AddPixels(image, header);
    std::ostringstream text;
    document.save(text, "", pugi::format_raw, pugi::encoding_utf8);
    return InAscii(text.str());
}

}  // namespace rydecon
