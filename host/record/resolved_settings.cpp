// SPDX-License-Identifier: MIT
#include "record/resolved_settings.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace rydecon {

namespace {

using Json = nlohmann::ordered_json;

/// A job and the defaults of its method.
struct Scope {
    const RestoreJob& job;
    unsigned iterations;
    double regularization;
};

struct Setting {
    std::string_view option;
    Json (*value)(const Scope&);
};

std::string GuardText(BlindGuard guard) {
    switch (guard) {
        case BlindGuard::Never:
            return "off";
        case BlindGuard::Within03Decades:
            return "0.3";
        case BlindGuard::Within08Decades:
            return "0.8";
    }
    throw std::logic_error("a guard without a name");
}

std::string TilesText(const TileChoice& tiles) {
    return tiles.grid ? std::to_string(tiles.grid->x) + "x" + std::to_string(tiles.grid->y) : "auto";
}

const std::vector<Setting>& Settings() {
    static const std::vector<Setting> settings = {
        {"--iterations",
         [](const Scope& s) { return Json(s.job.settings.iterations.value_or(s.iterations)); }},
        {"--regularization",
         [](const Scope& s) { return Json(s.job.settings.regularization.value_or(s.regularization)); }},
        {"--stop-ratio", [](const Scope& s) { return Json(s.job.settings.stopRatio); }},
        {"--no-auto-stop", [](const Scope& s) { return Json(s.job.settings.noAutoStop); }},
        {"--wiener-start", [](const Scope& s) { return Json(s.job.settings.wienerStart); }},
        {"--threshold-scale", [](const Scope& s) { return Json(s.job.settings.thresholdScale); }},
        {"--noise", [](const Scope& s) { return Json(s.job.settings.noise); }},
        {"--inner", [](const Scope& s) { return Json(s.job.settings.inner); }},
        {"--guard", [](const Scope& s) { return Json(GuardText(s.job.settings.guard)); }},
        {"--energy-stop", [](const Scope& s) { return Json(s.job.settings.energyStop); }},
        {"--checkpoint-every", [](const Scope& s) { return Json(s.job.settings.checkpointEvery); }},
        {"--tiles", [](const Scope& s) { return Json(TilesText(s.job.tiles)); }},
        {"--per-plane", [](const Scope& s) { return Json(s.job.perPlane); }},
    };
    return settings;
}

/// Options that leave the samples alone.
constexpr std::string_view kIdleOptions[] = {"--truth", "--psf-out", "--checkpoint", "--resume", "--curve"};

Json Known(const std::optional<double>& number) {
    return number ? Json(*number) : Json();
}

std::string KeyOf(std::string_view option) {
    return std::string(option.substr(option.find_first_not_of('-')));
}

template <class AnyMethod>
Json Resolve(const AnyMethod& method, const RestoreJob& job) {
    const Scope scope = {job, method.iterations, method.regularization};
    Json resolved = Json::object();
    for (const std::string& option : method.reads) {
        const auto& settings = Settings();
        const auto setting = std::find_if(settings.begin(), settings.end(),
                                          [&option](const Setting& s) { return s.option == option; });
        if (setting != settings.end()) {
            resolved[KeyOf(option)] = setting->value(scope);
        } else if (std::find(std::begin(kIdleOptions), std::end(kIdleOptions), option) ==
                   std::end(kIdleOptions)) {
            throw std::logic_error(option + " is missing in the settings that are recorded");
        }
    }
    return resolved;
}

}  // namespace

Json ResolvedSettings(const Method& method, const RestoreJob& job) {
    return Resolve(method, job);
}

Json ResolvedSettings(const PictureMethod& method, const RestoreJob& job) {
    return Resolve(method, job);
}

Json DataSettings(const RestoreJob& job) {
    Json json = Json::object();
    json["dtype"] = std::string(NameOf(job.sampleType));
    json["rescale"] = job.rescale;
    json["channels"] = job.channels;
    json["times"] = job.times;
    const CleaningChoice& cleaning = job.cleaning;
    json["background"] = cleaning.findBackground ? Json("auto") : Known(cleaning.background);
    json["hot-pixels"] = cleaning.repairHotPixels ? "auto" : "off";
    json["stop"] = job.stop.split ? "split" : "own";
    if (!job.stop.split) return json;
    json["gain"] = Known(job.stop.photons.gain);
    json["offset"] = Known(job.stop.photons.offset);
    json["seed"] = job.stop.seed.value_or(1);
    return json;
}

Json OpticsAsJson(const Optics& optics) {
    Json json = Json::object();
    if (optics.modality != nullptr) {
        json["modality"] = {{"value", optics.modality->name}, {"source", optics.modalitySource}};
    }
    json["model"] = NameOf(optics.model);
    json["invert-z"] = optics.invertZ;
    for (const QuantityTraits& traits : kQuantityTraits) {
        const auto& number = optics[traits.quantity];
        if (!number) continue;
        Json& entry = json[KeyOf(traits.option)];
        entry["value"] = number->value;
        if (traits.isLength) entry["unit"] = "um";
        entry["source"] = number->source;
        if (optics.modality != nullptr) entry["used"] = optics.Reads(traits.quantity);
    }
    return json;
}

}  // namespace rydecon
