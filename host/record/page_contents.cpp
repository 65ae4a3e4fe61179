// SPDX-License-Identifier: MIT
#include "record/page_contents.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "record/peak_memory.h"
#include "record/resolved_settings.h"
#include "record/utc_time.h"
#include "restoration/method_choice.h"

namespace rydecon {

namespace {

using Json = nlohmann::ordered_json;

/// As a person writes it; empty for what is not set.
std::string TextOf(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "";
    if (value.is_number_float()) {
        char text[40];
        std::snprintf(text, sizeof text, "%.7g", value.get<double>());
        return text;
    }
    if (!value.is_array()) return value.is_null() ? "" : value.dump();
    std::string list;
    for (const Json& entry : value) {
        if (!list.empty()) list += ",";
        list += TextOf(entry);
    }
    return list;
}

/// What was chosen about the image, and all that the method reads.
void AddChoices(const RestoreJob& job, const Json& ofMethod, std::vector<ReportSetting>& settings) {
    for (const auto& [name, value] : ofMethod.items()) {
        std::string option = "--";
        option += name;
        const bool given = std::find(job.given.begin(), job.given.end(), option) != job.given.end();
        const std::string text = TextOf(value);
        if (!text.empty()) settings.push_back({option, text, given ? "given" : "default"});
    }
    const Json usual = DataSettings({});
    const Json chosen = DataSettings(job);
    for (const auto& [name, value] : chosen.items()) {
        const std::string text = TextOf(value);
        const bool asUsual = usual.contains(name) && usual.at(name) == value;
        if (!text.empty() && !asUsual) settings.push_back({std::string("--").append(name), text, "given"});
    }
}

/// The numbers of the optics; of channels after the first where they differ.
void AddOptics(const RestorationRecord& record, std::vector<ReportSetting>& settings) {
    std::vector<std::pair<std::string, std::string>> told;
    for (const VolumeRecord& volume : record.volumes) {
        if (!volume.optics) continue;
        for (const QuantityTraits& traits : kQuantityTraits) {
            const auto& number = (*volume.optics)[traits.quantity];
            if (!number || !volume.optics->Reads(traits.quantity)) continue;
            std::string text = TextOf(Json(number->value));
            if (traits.isLength) text += " µm";
            const std::pair<std::string, std::string> entry(traits.name, text);
            if (std::find(told.begin(), told.end(), entry) != told.end()) continue;
            told.push_back(entry);
            std::string name = traits.name;
            if (volume.channel > 0) {
                const std::string& channel = RecordOf(record.header, volume.channel).name;
                name += " of channel " + (channel.empty() ? std::to_string(volume.channel + 1) : channel);
            }
            settings.push_back({name, text, number->source});
        }
    }
}

/// 2 NA / emission, as far as the PSF was computed from them or the image's metadata tell.
std::optional<double> CutOffOf(const VolumeRecord& volume, const StackHeader& header) {
    const ImageOptics told = OpticsOf(header, volume.channel);
    std::optional<double> aperture = told.numericalAperture;
    std::optional<double> emission = told.emission;
    if (volume.optics) {
        const auto known = [&volume](Quantity q) {
            const auto& number = (*volume.optics)[q];
            return number && volume.optics->Reads(q) ? std::optional(number->value) : std::nullopt;
        };
        aperture = known(Quantity::NumericalAperture);
        emission = known(Quantity::Emission);
    }
    if (!aperture || !emission || !(*emission > 0.0)) return {};
    return 2.0 * *aperture / *emission;
}

ReportCurve CurveOf(const Curve& curve) {
    ReportCurve drawn{curve.label, {}};
    for (std::size_t n = 0; n < curve.values.size(); ++n) {
        drawn.points.push_back({static_cast<double>(curve.before + n + 1), curve.values[n]});
    }
    return drawn;
}

std::string ReasonOf(EndOfRun end) {
    switch (end) {
        case EndOfRun::Direct:
            return "";
        case EndOfRun::Limit:
            return "the limit";
        case EndOfRun::StopTest:
            return "ended by its stop test";
        case EndOfRun::Split:
            return "where two halves of the photons agree best";
        case EndOfRun::Copied:
            return "all samples are equal: copied";
    }
    return "";
}

VolumeReport DescribeVolume(VolumeRecord& record, const StackHeader& header, const std::string& rounds) {
    VolumeReport volume;
    volume.name = record.name;
    const bool counted = record.end != EndOfRun::Direct && record.end != EndOfRun::Copied;
    if (counted) volume.iterations = record.iterations;
    volume.rounds = rounds;
    volume.stopReason = ReasonOf(record.end);
    volume.seconds = record.readSeconds + record.coreSeconds + record.writeSeconds;
    volume.fluxIn = record.fluxIn;
    volume.fluxOut = record.fluxOut;
    if (record.curve) volume.convergence = CurveOf(*record.curve);
    if (record.split) volume.agreement = CurveOf(record.split->curve);
    volume.psfs = std::move(record.psfs);
    volume.cutOff = CutOffOf(record, header);
    volume.views = std::exchange(record.views, {});
    return volume;
}

void DescribePsf(const RestorationRecord& record, RestorationReport& report) {
    const VolumeRecord& first = record.volumes.front();
    report.psf = first.psf;
    if (!first.optics) return;
    report.psfOrigin = first.optics->model == PsfModel::Layered ? PsfOrigin::Layered : PsfOrigin::Fast;
    if (first.optics->modality != nullptr)
        report.psf = std::string("modality ") + first.optics->modality->name;
}

void AddTimings(const RestorationRecord& record, RestorationReport& report) {
    double read = 0.0;
    double core = 0.0;
    double write = 0.0;
    for (const VolumeRecord& volume : record.volumes) {
        read += volume.readSeconds;
        core += volume.coreSeconds;
        write += volume.writeSeconds;
    }
    report.timings = {{"reading and padding", read}, {"restoration", core}, {"writing", write}};
    report.timings.push_back({"all else: the PSF, the plan, the checks of the image",
                              std::max(0.0, record.seconds - read - core - write)});
    report.seconds = record.seconds;
}

/// Whether the strength of a method changes its result.
bool Acts(const std::string& method, const Json& settings) {
    if (!settings.contains("regularization")) return false;
    return settings.at("regularization").get<double>() != (method == "accelerated" ? 1.0 : 0.0);
}

}  // namespace

RestorationReport PageContents(const RestoreJob& job, RestorationRecord& record,
                               const std::vector<std::string>& notes, const std::string& version) {
    const MethodChoice methods = FindMethods(job.method);
    RestorationReport report;
    report.programVersion = version;
    report.created = NowInUtc();
    report.input = job.image.string();
    report.output = job.output.string();
    report.method = job.method;
    report.perPicture = record.tiles.has_value();
    report.voxel = record.header.voxel;
    const Extent& shape = record.volumes.front().shape;
    report.width = shape.x;
    report.height = shape.y;
    report.planes = shape.z;
    const Json settings =
        report.perPicture ? ResolvedSettings(*methods.picture, job) : ResolvedSettings(*methods.volume, job);
    report.regularized = Acts(job.method, settings);
    DescribePsf(record, report);
    AddChoices(job, settings, report.settings);
    AddOptics(record, report.settings);
    const std::string rounds = report.perPicture            ? std::string(methods.picture->round) + "s"
                               : methods.volume->refinesPsf ? "sweeps of image and PSF"
                                                            : "iterations";
    for (VolumeRecord& volume : record.volumes) {
        report.volumes.push_back(DescribeVolume(volume, record.header, rounds));
    }
    AddTimings(record, report);
    if (const std::uint64_t peak = PeakMemory(); peak > 0) report.peakMemory = static_cast<double>(peak);
    report.warnings = notes;
    return report;
}

}  // namespace rydecon
