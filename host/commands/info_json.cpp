// SPDX-License-Identifier: MIT
// The findings of the command info for other programs. What is unknown is null.

#include <cmath>
#include <nlohmann/json.hpp>

#include "commands/info_record.h"

namespace rydecon {
namespace {

using Json = nlohmann::ordered_json;

Json NumberOrNull(const std::optional<double>& number) {
    return number && std::isfinite(*number) ? Json(*number) : Json();
}

Json TextOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json VoxelOf(const StackHeader& header) {
    return {{"x", NumberOrNull(header.voxel.x)},
            {"y", NumberOrNull(header.voxel.y)},
            {"z", NumberOrNull(header.voxel.z)},
            {"source", TextOrNull(header.voxelSource)}};
}

Json OpticsObject(const ImageOptics& optics) {
    return {{"numerical_aperture", NumberOrNull(optics.numericalAperture)},
            {"refractive_index", NumberOrNull(optics.refractiveIndex)},
            {"immersion", TextOrNull(optics.immersion)},
            {"magnification", NumberOrNull(optics.magnification)},
            {"source", TextOrNull(optics.source)}};
}

Json TimeStepOf(const StackHeader& header) {
    if (!header.timeStep) return {};
    return {{"value", header.timeStep->value}, {"unit", header.timeStep->unit}};
}

Json StatisticsOf(const ChannelFindings& findings) {
    const ChannelStatistics& s = findings.statistics;
    Json means = Json::array();
    for (const double mean : s.MeansOfTimes()) means.push_back(NumberOrNull(mean));
    return {{"samples", s.samples()},
            {"not_finite", s.nonFinite()},
            {"min", NumberOrNull(s.Least())},
            {"max", NumberOrNull(s.Largest())},
            {"mean", NumberOrNull(s.Mean())},
            {"deviation", NumberOrNull(s.Deviation())},
            {"percentiles",
             {{"1", NumberOrNull(s.Quantile(0.01))},
              {"50", NumberOrNull(s.Quantile(0.5))},
              {"99", NumberOrNull(s.Quantile(0.99))},
              {"99.9", NumberOrNull(s.Quantile(0.999))}}},
            {"constant", s.Constant()},
            {"saturation_level", NumberOrNull(s.SaturationLevel())},
            {"saturated", s.saturated()},
            {"noise", NumberOrNull(findings.noise.Deviation())},
            {"mean_of_times", means},
            {"bleaching", NumberOrNull(s.Bleaching())}};
}

Json ChannelOf(const InfoRecord& record, int c) {
    const ChannelRecord told = RecordOf(record.header, c);
    const ImageOptics optics = OpticsOf(record.header, c);
    Json channel = {{"name", TextOrNull(told.name)},
                    {"emission_um", NumberOrNull(optics.emission)},
                    {"excitation_um", NumberOrNull(optics.excitation)},
                    {"pinhole_um", NumberOrNull(optics.pinhole)},
                    {"acquisition_mode", TextOrNull(optics.acquisitionMode)},
                    {"colour", told.colour ? Json(*told.colour) : Json()}};
    if (!record.channels.empty()) {
        channel["statistics"] = StatisticsOf(record.channels[static_cast<std::size_t>(c)]);
    }
    return channel;
}

Json FileOf(const InfoRecord& record) {
    const StackHeader& header = record.header;
    Json channels = Json::array();
    for (int c = 0; c < header.channels; ++c) channels.push_back(ChannelOf(record, c));
    return {{"file", record.path.string()},
            {"container", NameOf(header.container)},
            {"byte_order", header.byteOrder == std::endian::big ? "big" : "little"},
            {"axes", AxesOf(header)},
            {"width", header.width},
            {"height", header.height},
            {"slices", header.slices},
            {"times", header.times},
            {"sample_type", NameOf(header.sampleType)},
            {"significant_bits", header.significantBits ? Json(*header.significantBits) : Json()},
            {"voxel_um", VoxelOf(header)},
            {"time_step", TimeStepOf(header)},
            {"optics", OpticsObject(header.optics)},
            {"channels", channels}};
}

}  // namespace

std::string InfoJson(const std::vector<InfoRecord>& records) {
    Json files = Json::array();
    for (const InfoRecord& record : records) files.push_back(FileOf(record));
    // Names in metadata and of files may hold bytes that are no UTF-8.
    return files.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace rydecon
