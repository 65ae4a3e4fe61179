// SPDX-License-Identifier: MIT
#pragma once

// What is known of the optics that made an image: each number with where it came from. Nothing is ever
// guessed: what is not known stays empty until it is asked for.

#include <array>
#include <optional>
#include <string>

#include "io/stack_header.h"
#include "optics/modality.h"
#include "optics/quantity.h"
#include "report/messages.h"

namespace rydecon {

enum class Origin { Option, Metadata };

struct KnownNumber {
    double value;
    Origin origin;
    std::string source;  ///< "--na", "OME-XML"
};

struct Optics {
    const Modality* modality = nullptr;
    std::string modalitySource;
    PsfModel model = PsfModel::Layered;
    bool invertZ = false;
    std::array<std::optional<KnownNumber>, kQuantities> numbers;
    std::string immersion;  ///< name of the medium in the metadata ("Oil"): no number

    std::optional<KnownNumber>& operator[](Quantity q) { return numbers[static_cast<std::size_t>(q)]; }
    const std::optional<KnownNumber>& operator[](Quantity q) const {
        return numbers[static_cast<std::size_t>(q)];
    }

    /// A number that is known; for those that RequireComplete has seen.
    double Value(Quantity q) const { return (*this)[q].value().value; }
    double ValueOr(Quantity q, double otherwise) const { return (*this)[q] ? (*this)[q]->value : otherwise; }
    /// Wavelength of the pattern that decides the extent.
    double LeadingWavelength() const;
    /// True where the computation depends on the number.
    bool Reads(Quantity q) const;
};

/// Fills what is still empty from what the file tells. `file` is named where the pixels are not square:
/// UserError, as the models know one pitch in x and y only.
void FillFromMetadata(Optics& optics, const StackHeader& header, const std::string& file);

/// For the focal plane alone: makes up the distance of planes where it has no effect, which is unless the focus
/// is searched for in a deep sample.
void FillIdleStep(Optics& optics);

/// UserError (usage) that names all that is missing by option, in one line. `remedy` ends the line.
void RequireComplete(const Optics& optics, const std::string& remedy);

/// UserError where a number that is known makes no sense: usage if an option is at fault, failed for metadata.
void RequireSound(const Optics& optics);

/// "modality widefield (--modality), numerical aperture 1.45 (OME-XML), ..." of all that is read.
std::string DescribeSources(const Optics& optics);

/// Notes the options that the modality and model at hand do not read.
void NoteUnreadOptics(const Optics& optics, const Messages& messages);

}  // namespace rydecon
