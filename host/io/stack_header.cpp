// SPDX-License-Identifier: MIT
#include "io/stack_header.h"

#include <stdexcept>

namespace rydecon {

std::string NameOf(Container container) {
    switch (container) {
        case Container::ImageJ:
            return "ImageJ TIFF";
        case Container::Ome:
            return "OME-TIFF";
        case Container::PlainTiff:
            return "TIFF";
        case Container::Png:
            return "PNG";
    }
    throw std::logic_error("unknown container");
}

PlaneIndex PlaneAt(const StackHeader& header, int k) {
    return {k % header.slices, k / header.slices % header.channels, k / header.slices / header.channels};
}

ChannelRecord RecordOf(const StackHeader& header, int c) {
    const auto n = static_cast<std::size_t>(c);
    return n < header.channel.size() ? header.channel[n] : ChannelRecord{};
}

ImageOptics OpticsOf(const StackHeader& header, int c) {
    ImageOptics optics = header.optics;
    if (header.channel.empty()) return optics;
    const ChannelRecord record = RecordOf(header, c);
    optics.emission = record.emission;
    optics.excitation = record.excitation;
    optics.pinhole = record.pinhole;
    optics.acquisitionMode = record.acquisitionMode;
    return optics;
}

}  // namespace rydecon
