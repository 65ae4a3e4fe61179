// SPDX-License-Identifier: MIT
#pragma once

// Names for the modality values of the library's PSF generators, and which quantities each of them reads.

#include <string>
#include <string_view>
#include <vector>

#include "optics/quantity.h"

namespace rydecon {

enum class PsfModel {
    Layered,  // from the long record: immersion medium and sample may differ
    Fast,     // from the short record: few planes about the focus, shaped by an empirical power
};

const char* NameOf(PsfModel model);

/// The model of a name; UserError (usage) that lists the names otherwise.
PsfModel FindModel(const std::string& name);

struct Modality {
    std::string name;
    int value;            ///< iModality of the records
    std::string summary;  ///< one line for --help
    bool widefield;       ///< takes the larger ones of the recommended extents
    std::vector<Quantity> layeredNeeds;
    std::vector<Quantity> fastNeeds;

    const std::vector<Quantity>& Needs(PsfModel model) const {
        return model == PsfModel::Layered ? layeredNeeds : fastNeeds;
    }
};

/// What a modality multiplies the distances of samples by before it computes.
struct PitchFactors {
    double xy = 1.0;
    double z = 1.0;
};

PitchFactors PitchFactorsOf(const Modality& modality, PsfModel model);

const std::vector<Modality>& Modalities();

/// The modality of a name; UserError (usage) that lists the names otherwise.
const Modality& FindModality(const std::string& name);

/// The modality that an OME acquisition mode states beyond doubt; null for all other modes.
const Modality* ModalityOfAcquisitionMode(std::string_view mode);

}  // namespace rydecon
