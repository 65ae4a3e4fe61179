// SPDX-License-Identifier: MIT
#include "optics/optics.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "optics/units.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

using enum Quantity;

/// Relative difference up to which pixels count as square.
constexpr double kSquare = 0.005;

void Fill(Optics& optics, Quantity q, const std::optional<double>& told, const std::string& source) {
    if (!optics[q] && told) optics[q] = {*told, Origin::Metadata, source};
}

std::string Joined(const std::vector<std::string>& names) {
    std::string list;
    for (std::size_t n = 0; n < names.size(); ++n) {
        if (n > 0) list += n + 1 == names.size() ? " and " : ", ";
        list += names[n];
    }
    return list;
}

bool Contains(const std::vector<Quantity>& list, Quantity q) {
    return std::find(list.begin(), list.end(), q) != list.end();
}

std::string ValueText(const QuantityTraits& traits, double value) {
    return traits.isLength ? LengthText(value) : NumberText(value);
}

}  // namespace

double Optics::LeadingWavelength() const {
    return Value(Contains(modality->Needs(model), Emission) ? Emission : Excitation);
}

bool Optics::Reads(Quantity q) const {
    if (Contains(modality->Needs(model), q)) return true;
    if (q == Spherical) return model == PsfModel::Fast && modality->name != "two-photon";
    if (q == Depth) return model == PsfModel::Layered;
    // At the coverslip no light runs through the sample.
    return q == SampleIndex && model == PsfModel::Layered && ValueOr(Depth, 0.0) != 0.0;
}

void FillFromMetadata(Optics& optics, const StackHeader& header, const std::string& file) {
    const ImageOptics& told = header.optics;
    const std::string& source = told.source;
    if (optics.modality == nullptr) {
        optics.modality = ModalityOfAcquisitionMode(told.acquisitionMode);
        if (optics.modality != nullptr) optics.modalitySource = source;
    }
    Fill(optics, NumericalAperture, told.numericalAperture, source);
    Fill(optics, RefractiveIndex, told.refractiveIndex, source);
    Fill(optics, Emission, told.emission, source);
    Fill(optics, Excitation, told.excitation, source);
    Fill(optics, Pinhole, told.pinhole, source);
    Fill(optics, Magnification, told.magnification, source);
    optics.immersion = told.immersion;
    const VoxelSize& voxel = header.voxel;
    if (!optics[Pixel] && voxel.x && voxel.y && std::abs(*voxel.x - *voxel.y) > kSquare * *voxel.x) {
        throw UserError(
            file + ": its pixels are " + NumberText(*voxel.x) + " x " + LengthText(*voxel.y) +
            "; a PSF can be computed for square pixels only: tell their side with --pixel, or take a "
            "measured PSF");
    }
    Fill(optics, Pixel, voxel.x ? voxel.x : voxel.y, header.voxelSource);
    Fill(optics, ZStep, voxel.z, header.voxelSource);
}

void FillIdleStep(Optics& optics) {
    const auto& pixel = optics[Quantity::Pixel];
    if (optics[Quantity::ZStep] || !pixel || optics.ValueOr(Quantity::Depth, 0.0) != 0.0) return;
    optics[Quantity::ZStep] = {pixel->value, Origin::Metadata, "of no effect on one plane"};
}

void RequireComplete(const Optics& optics, const std::string& remedy) {
    std::vector<std::string> missing;
    if (optics.modality == nullptr) missing.emplace_back("--modality");
    for (const QuantityTraits& traits : kQuantityTraits) {
        if (optics[traits.quantity]) continue;
        // Which of them count besides depends on the modality; these always do.
        const bool always = traits.quantity == NumericalAperture || traits.quantity == RefractiveIndex ||
                            traits.quantity == Pixel || traits.quantity == ZStep;
        const bool read =
            optics.modality == nullptr
                ? always
                : optics.Reads(traits.quantity) && traits.quantity != Depth && traits.quantity != Spherical;
        if (!read) continue;
        std::string name = traits.option;
        if (traits.quantity == RefractiveIndex && !optics.immersion.empty()) {
            name += " (the immersion '" + optics.immersion + "' of the metadata is no number)";
        }
        missing.push_back(name);
    }
    if (missing.empty()) return;
    throw UserError("the PSF cannot be computed without " + Joined(missing) + remedy, ExitCode::Usage);
}

namespace {

/// Refuses numbers of one record.
class SoundnessCheck {
  public:
    explicit SoundnessCheck(const Optics& optics) : optics_(optics) {}

    void Require(Quantity q, bool sound, const std::string& need) const {
        if (!sound) throw UserError(Told(q) + "; " + need, CodeFor({q}));
    }

    /// "--na 1.6", "the numerical aperture 1.6 from OME-XML"
    std::string Named(Quantity q) const {
        const QuantityTraits& traits = TraitsOf(q);
        const KnownNumber& number = optics_[q].value();
        const std::string value = ValueText(traits, number.value);
        if (number.origin == Origin::Option) return std::string(traits.option) + " " + value;
        return std::string("the ") + traits.name + " " + value + " from " + number.source;
    }

    /// "--na is 1.6", "the numerical aperture from OME-XML is 1.6"
    std::string Told(Quantity q) const {
        const QuantityTraits& traits = TraitsOf(q);
        const KnownNumber& number = optics_[q].value();
        const std::string who = number.origin == Origin::Option
                                    ? std::string(traits.option)
                                    : std::string("the ") + traits.name + " from " + number.source;
        return who + " is " + ValueText(traits, number.value);
    }

    ExitCode CodeFor(std::initializer_list<Quantity> involved) const {
        const bool option = std::any_of(involved.begin(), involved.end(), [this](Quantity q) {
            return optics_[q].value().origin == Origin::Option;
        });
        return option ? ExitCode::Usage : ExitCode::Failed;
    }

  private:
    const Optics& optics_;
};

/// What a number must be on its own account; empty where it is sound.
std::string NeedOf(Quantity q, double v) {
    const auto within = [v](double least, double largest) { return v >= least && v <= largest; };
    const bool possible = within(1e-6, 1e6);
    switch (q) {
        case NumericalAperture:
            return possible ? "" : "a number above 0 and below the index of the immersion medium is needed";
        case RefractiveIndex:
        case SampleIndex:
            return within(1.0, 4.0) ? "" : "a number from 1 to 4 is needed";
        case Emission:
        case Excitation:
            if (within(0.2, 2.0)) return "";
            return "a wavelength from 200 to 2000 nm is needed" +
                   (within(200.0, 2000.0) ? "; write " + NumberText(v) + "nm if you mean nanometres"
                                          : std::string());
        case Pixel:
        case ZStep:
            return possible ? "" : "a distance from 0.000001 to 1000000 um is needed";
        case Depth:
            return within(0.0, 1e4) ? "" : "a depth from 0 to 10000 um is needed";
        case Pinhole:
            return possible ? "" : "a diameter from 0.000001 to 1000000 um is needed";
        case Magnification:
            return possible ? "" : "a number from 0.000001 to 1000000 is needed";
        case Spherical:
            return within(-1e3, 1e3) ? "" : "a path length from -1000 to 1000 um is needed";
    }
    return "";
}

}  // namespace

void RequireSound(const Optics& optics) {
    const SoundnessCheck check(optics);
    for (const QuantityTraits& traits : kQuantityTraits) {
        const auto& number = optics[traits.quantity];
        if (!number) continue;
        const bool read = optics.modality != nullptr && optics.Reads(traits.quantity);
        if (number->origin == Origin::Metadata && !read) continue;
        const std::string need = NeedOf(traits.quantity, number->value);
        check.Require(traits.quantity, need.empty(), need);
    }
    const auto& na = optics[NumericalAperture];
    const auto& ri = optics[RefractiveIndex];
    if (na && ri && na->value >= ri->value) {
        throw UserError(check.Named(NumericalAperture) + " must be below " + check.Named(RefractiveIndex) +
                            ": an objective collects no light beyond the index of its immersion medium",
                        check.CodeFor({NumericalAperture, RefractiveIndex}));
    }
}

std::string DescribeSources(const Optics& optics) {
    std::string text = "modality " + optics.modality->name + " (" + optics.modalitySource + "), model " +
                       NameOf(optics.model);
    for (const QuantityTraits& traits : kQuantityTraits) {
        const auto& number = optics[traits.quantity];
        if (!number || !optics.Reads(traits.quantity)) continue;
        text += std::string(", ") + traits.name + " " + ValueText(traits, number->value) + " (" +
                number->source + ")";
    }
    return text;
}

void NoteUnreadOptics(const Optics& optics, const Messages& messages) {
    const std::string where =
        " means nothing to --modality " + optics.modality->name + " in model " + NameOf(optics.model);
    for (const QuantityTraits& traits : kQuantityTraits) {
        const auto& number = optics[traits.quantity];
        const bool unread = number && number->origin == Origin::Option && !optics.Reads(traits.quantity);
        if (unread) messages.Note(traits.option + where);
    }
    if (optics.invertZ && optics.model == PsfModel::Fast) messages.Note("--invert-z" + where);
}

}  // namespace rydecon
