// SPDX-License-Identifier: MIT
#pragma once

// The numbers that describe the optics of a microscope, and how the program calls them.

#include <array>
#include <cstddef>

namespace rydecon {

enum class Quantity : std::size_t {
    NumericalAperture,
    RefractiveIndex,
    Emission,
    Excitation,
    Pixel,
    ZStep,
    SampleIndex,
    Depth,
    Pinhole,
    Magnification,
    Spherical,
};

inline constexpr std::size_t kQuantities = 11;

/// Lengths are kept in micrometres.
struct QuantityTraits {
    Quantity quantity;
    const char* option;
    const char* name;
    bool isLength;
    const char* help;
};

inline constexpr std::array<QuantityTraits, kQuantities> kQuantityTraits{{
    {Quantity::NumericalAperture, "--na", "numerical aperture", false,
     "Numerical aperture of the objective, as on its barrel"},
    {Quantity::RefractiveIndex, "--ri", "refractive index", false,
     "Refractive index of the immersion medium: air 1, water 1.333, oil 1.515"},
    {Quantity::Emission, "--emission", "emission wavelength", true,
     "Wavelength of the light that is seen, which the dye emits"},
    {Quantity::Excitation, "--excitation", "excitation wavelength", true,
     "Wavelength of the light that excites the dye"},
    {Quantity::Pixel, "--pixel", "pixel size", true, "Distance of samples in x and y, in the specimen"},
    {Quantity::ZStep, "--z-step", "distance of planes", true, "Distance of planes, in the specimen"},
    {Quantity::SampleIndex, "--sample-ri", "sample refractive index", false,
     "Refractive index of the medium around the sample; needed with --depth"},
    {Quantity::Depth, "--depth", "depth", true, "Distance of the focal plane from the coverslip"},
    {Quantity::Pinhole, "--pinhole", "pinhole", true, "Diameter of the confocal pinhole, at the detector"},
    {Quantity::Magnification, "--magnification", "magnification", false,
     "Magnification between sample and pinhole"},
    {Quantity::Spherical, "--spherical", "spherical aberration", true,
     "Fourth-order aberration at the rim of the pupil, as a path length; model fast only"},
}};

constexpr const QuantityTraits& TraitsOf(Quantity quantity) {
    return kQuantityTraits[static_cast<std::size_t>(quantity)];
}

}  // namespace rydecon
