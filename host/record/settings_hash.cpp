// SPDX-License-Identifier: MIT
#include "record/settings_hash.h"

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

#include "record/resolved_settings.h"
#include "restoration/method_choice.h"

namespace rydecon {

namespace {

using Json = nlohmann::ordered_json;

/// Fowler, Noll and Vo's hash 1a of 64 bits.
std::uint64_t Fnv1a(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char letter : text) {
        hash ^= static_cast<unsigned char>(letter);
        hash *= 0x100000001b3U;
    }
    return hash;
}

Json ContentOf(const FileIdentity& file) {
    return {{"bytes", file.stamp.bytes}, {"crc32", file.checksum}};
}

/// A PSF file needs no more of the optics than the voxels of the image.
Optics OpticsThatCount(const PsfChoice& psf) {
    if (psf.file.empty()) return psf.optics;
    Optics voxels;
    for (const Quantity q : {Quantity::Pixel, Quantity::ZStep}) voxels[q] = psf.optics[q];
    return voxels;
}

}  // namespace

std::vector<PsfChoice> PsfsOf(const RestoreJob& job) {
    return job.channelPsfs.empty() ? std::vector{job.psf} : job.channelPsfs;
}

InputIdentities IdentifyInputs(const RestoreJob& job, const std::optional<InputIdentities>& known,
                               OnStop onStop) {
    InputIdentities inputs;
    inputs.image = IdentityOf(job.image, known ? std::optional(known->image) : std::nullopt, onStop);
    for (const PsfChoice& psf : PsfsOf(job)) {
        if (psf.file.empty()) continue;
        const std::size_t n = inputs.psfs.size();
        const bool told = known && n < known->psfs.size();
        inputs.psfs.push_back(
            IdentityOf(psf.file, told ? std::optional(known->psfs[n]) : std::nullopt, onStop));
    }
    return inputs;
}

std::string SettingsHash(const RestoreJob& job, const InputIdentities& inputs, const std::string& version) {
    const MethodChoice methods = FindMethods(job.method);
    Json all = {{"version", version}, {"method", job.method}};
    // The image tells which of the two it is.
    if (methods.volume != nullptr) all["volume"] = ResolvedSettings(*methods.volume, job);
    if (methods.picture != nullptr) all["picture"] = ResolvedSettings(*methods.picture, job);
    all["data"] = DataSettings(job);
    for (const PsfChoice& psf : PsfsOf(job)) all["optics"].push_back(OpticsAsJson(OpticsThatCount(psf)));
    all["image"] = ContentOf(inputs.image);
    all["psf"] = Json::array();
    for (const FileIdentity& psf : inputs.psfs) all["psf"].push_back(ContentOf(psf));
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(Fnv1a(all.dump())));
    return text;
}

}  // namespace rydecon
