// SPDX-License-Identifier: MIT
#include "optics/modality.h"

#include <algorithm>

#include "report/user_error.h"

namespace rydecon {

namespace {

using enum Quantity;

constexpr int kCoarse = 7;

}  // namespace

const char* NameOf(PsfModel model) {
    return model == PsfModel::Layered ? "layered" : "fast";
}

PsfModel FindModel(const std::string& name) {
    for (const PsfModel model : {PsfModel::Layered, PsfModel::Fast}) {
        if (name == NameOf(model)) return model;
    }
    throw UserError("--model '" + name + "' does not exist; the models are: layered, fast", ExitCode::Usage);
}

const std::vector<Modality>& Modalities() {
    static const std::vector<Quantity> emission = {NumericalAperture, RefractiveIndex, Emission, Pixel,
                                                   ZStep};
    static const std::vector<Quantity> excitation = {NumericalAperture, RefractiveIndex, Excitation, Pixel,
                                                     ZStep};
    static const std::vector<Modality> modalities = {
        {"widefield", 0, "the emission pattern of the whole field", true, emission, emission},
        {"confocal",
         1,
         "emission, blurred by the pinhole, times excitation",
         false,
         {NumericalAperture, RefractiveIndex, Emission, Excitation, Pixel, ZStep, Pinhole, Magnification},
         emission},
        {"two-photon", 5, "square of the excitation pattern", false, excitation, excitation},
        {"widefield-coarse", kCoarse, "widefield, computed for samples four times as far apart", true,
         emission, emission},
        {"confocal-1um",
         8,
         "confocal with a pinhole of 1 um",
         false,
         {NumericalAperture, RefractiveIndex, Emission, Excitation, Pixel, ZStep, Magnification},
         emission},
    };
    return modalities;
}

PitchFactors PitchFactorsOf(const Modality& modality, PsfModel model) {
    if (modality.value != kCoarse) return {};
    return {4.0, model == PsfModel::Layered ? 4.0 : 0.25};
}

const Modality& FindModality(const std::string& name) {
    std::string names;
    for (const Modality& modality : Modalities()) {
        if (modality.name == name) return modality;
        names += (names.empty() ? "" : ", ") + modality.name;
    }
    throw UserError("--modality '" + name + "' does not exist; the modalities are: " + names,
                    ExitCode::Usage);
}

const Modality* ModalityOfAcquisitionMode(std::string_view mode) {
    if (mode == "WideField") return &FindModality("widefield");
    if (mode == "LaserScanningConfocalMicroscopy") return &FindModality("confocal");
    return nullptr;
}

}  // namespace rydecon
