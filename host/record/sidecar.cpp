// SPDX-License-Identifier: MIT
#include "record/sidecar.h"

#include <omp.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "io/file_error.h"
#include "record/peak_memory.h"
#include "record/resolved_settings.h"
#include "record/utc_time.h"
#include "restoration/method_choice.h"

namespace rydecon {

namespace {

using Json = nlohmann::ordered_json;

/// Changes whenever a key changes its meaning or goes.
constexpr const char* kSchema = "rydecon-record-1";

Json Known(const std::optional<double>& number) {
    return number ? Json(*number) : Json();
}

Json SidesOf(const Extent& e) {
    return Json::array({e.x, e.y, e.z});
}

Json FileAsJson(const std::filesystem::path& path, const FileIdentity& identity) {
    return {{"file", path.string()},
            {"bytes", identity.stamp.bytes},
            {"modified_ns", identity.stamp.modified},
            {"crc32", identity.checksum}};
}

FileIdentity IdentityFrom(const Json& json) {
    return {{json.at("bytes").get<std::uint64_t>(), json.at("modified_ns").get<std::int64_t>()},
            json.at("crc32").get<std::uint32_t>()};
}

/// Shape, axes, sample type and voxel of the image.
void AddHeader(Json& json, const StackHeader& header) {
    json["axes"] = "XYZCT";
    json["shape"] = {header.width, header.height, header.slices, header.channels, header.times};
    json["sample_type"] = std::string(NameOf(header.sampleType));
    json["voxel_um"] = {
        {"x", Known(header.voxel.x)}, {"y", Known(header.voxel.y)}, {"z", Known(header.voxel.z)}};
    json["voxel_source"] = header.voxelSource;
}

Json InputsAsJson(const RestoreJob& job, const SidecarContents& contents) {
    Json image = FileAsJson(job.image, contents.inputs.image);
    AddHeader(image, contents.record.header);
    Json inputs = {{"image", std::move(image)}};
    const std::vector<PsfChoice> psfs = PsfsOf(job);
    inputs["psf"] = Json::array();
    for (std::size_t n = 0; n < contents.inputs.psfs.size(); ++n) {
        inputs["psf"].push_back(FileAsJson(psfs[n].file, contents.inputs.psfs[n]));
    }
    if (!job.truth.empty()) inputs["truth"] = job.truth.string();
    if (!job.resume.empty()) inputs["resume"] = job.resume.string();
    return inputs;
}

/// Pictures are those of the method for pictures, whose records have tiles.
Json SettingsAsJson(const RestoreJob& job, const RestorationRecord& record) {
    const MethodChoice methods = FindMethods(job.method);
    Json settings = {{"method", job.method}, {"family", record.tiles ? "picture" : "volume"}};
    settings.update(DataSettings(job));
    settings.update(record.tiles ? ResolvedSettings(*methods.picture, job)
                                 : ResolvedSettings(*methods.volume, job));
    return settings;
}

const char* NameOf(EndOfRun end) {
    switch (end) {
        case EndOfRun::Direct:
            return "direct";
        case EndOfRun::Limit:
            return "limit";
        case EndOfRun::StopTest:
            return "stop-test";
        case EndOfRun::Split:
            return "split";
        case EndOfRun::Copied:
            return "copied";
    }
    return "";
}

Json RangeAsJson(const SampleRange& range) {
    return {{"least", range.least}, {"largest", range.largest}, {"negative", range.negative}};
}

Json PsfAsJson(const VolumeRecord& volume) {
    return {{"name", volume.psf}, {"optics", volume.optics ? OpticsAsJson(*volume.optics) : Json()}};
}

Json CleaningAsJson(const Cleaning& cleaning) {
    return {{"background", Known(cleaning.background)},
            {"background_estimated", cleaning.backgroundEstimated},
            {"hot_pixels", cleaning.hotPixels},
            {"saturated", cleaning.saturation.samples}};
}

Json CurveAsJson(const Curve& curve) {
    return {{"label", curve.label},
            {"first_iteration", curve.before + 1},
            {"best", curve.best ? Json(*curve.best) : Json()},
            {"values", curve.values}};
}

Json SplitAsJson(const SplitRecord& split) {
    Json json = CurveAsJson(split.curve);
    json["gain"] = split.scale.gain;
    json["gain_estimated"] = split.scale.gainEstimated;
    json["offset"] = split.scale.offset;
    json["seed"] = split.seed;
    return json;
}

Json VolumeAsJson(const VolumeRecord& volume) {
    Json json = {{"name", volume.name}, {"shape", SidesOf(volume.shape)}};
    json["padded"] = volume.frame == Extent() ? Json() : SidesOf(volume.frame);
    json["blocks"] = SidesOf(volume.blocks);
    json["blocks_taken_over"] = volume.takenOver;
    json["iterations"] = volume.iterations;
    json["limit"] = volume.limit;
    json["end"] = NameOf(volume.end);
    json["samples_in"] = RangeAsJson(volume.before);
    json["samples_out"] = RangeAsJson(volume.after);
    json["negative_cut"] = volume.negativeCut;
    json["clipped"] = volume.clipped;
    json["flux_in"] = volume.fluxIn;
    json["flux_out"] = volume.fluxOut;
    json["seconds"] = {
        {"read", volume.readSeconds}, {"core", volume.coreSeconds}, {"write", volume.writeSeconds}};
    json["psf"] = PsfAsJson(volume);
    if (!volume.psfWidths.empty()) json["psf_widths"] = volume.psfWidths;
    json["cleaning"] = CleaningAsJson(volume.cleaning);
    if (volume.curve) json["curve"] = CurveAsJson(*volume.curve);
    if (volume.split) json["split"] = SplitAsJson(*volume.split);
    return json;
}

/// The sidecar as it is; an empty object where there is none.
Json Parsed(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const Json json = file ? Json::parse(file, nullptr, false) : Json();
    return json.is_object() ? json : Json::object();
}

/// Whatever its version.
bool IsRecord(const std::filesystem::path& path) {
    const Json schema = Parsed(path).value("schema", Json());
    return schema.is_string() && schema.get<std::string>().rfind("rydecon-record-", 0) == 0;
}

}  // namespace

std::filesystem::path SidecarPath(const std::filesystem::path& output) {
    std::filesystem::path path = output;
    path += ".json";
    return path;
}

std::string SidecarText(const RestoreJob& job, const SidecarContents& contents) {
    const RestorationRecord& record = contents.record;
    Json all = {{"schema", kSchema},
                {"program", {{"name", "rydecon"}, {"version", contents.version}}},
                {"library", {{"name", "gnr_deconvolution"}, {"version", contents.version}}},
                {"finished", NowInUtc()}};
    all["settings_hash"] = contents.settingsHash ? Json(*contents.settingsHash) : Json();
    all["inputs"] = InputsAsJson(job, contents);
    all["output"] = FileAsJson(job.output, contents.output);
    all["settings"] = SettingsAsJson(job, record);
    if (record.tiles) all["tiles"] = Json::array({record.tiles->x, record.tiles->y});
    if (record.rescale) {
        all["rescale"] = {{"least", record.rescale->low},
                          {"largest", record.rescale->high},
                          {"written_largest", LargestOf(job.sampleType)}};
    }
    all["volumes"] = Json::array();
    for (const VolumeRecord& volume : record.volumes) all["volumes"].push_back(VolumeAsJson(volume));
    all["seconds"] = record.seconds;
    all["peak_memory_bytes"] = PeakMemory();
    all["threads"] = omp_get_max_threads();
    all["warnings"] = contents.notes;
    // File names need not be UTF-8.
    return all.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::optional<EarlierRun> ReadSidecar(const std::filesystem::path& output) {
    const Json json = Parsed(SidecarPath(output));
    if (json.value("schema", Json()) != kSchema) return std::nullopt;
    try {
        EarlierRun run;
        if (json.at("settings_hash").is_string()) run.settingsHash = json.at("settings_hash");
        run.inputs.image = IdentityFrom(json.at("inputs").at("image"));
        for (const Json& psf : json.at("inputs").at("psf")) run.inputs.psfs.push_back(IdentityFrom(psf));
        run.output = IdentityFrom(json.at("output"));
        run.seconds = json.at("seconds");
        for (const Json& volume : json.at("volumes")) {
            run.iterations += volume.at("iterations").get<unsigned>();
            run.iterative = run.iterative || volume.at("end") != "direct";
        }
        return run;
    } catch (const Json::exception&) {
        return std::nullopt;
    }
}

void RequirePlaceForSidecar(const std::filesystem::path& output) {
    const std::filesystem::path path = SidecarPath(output);
    std::error_code ignored;
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, ignored))) return;
    if (IsRecord(path)) return;
    throw WriteError(path,
                     "there is a file already that is no record of this program; rename it, or add "
                     "--no-sidecar");
}

void RemoveSidecar(const std::filesystem::path& output) {
    const std::filesystem::path path = SidecarPath(output);
    std::error_code ignored;
    if (IsRecord(path)) std::filesystem::remove(path, ignored);
}

}  // namespace rydecon
