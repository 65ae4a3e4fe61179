// SPDX-License-Identifier: MIT
#pragma once

// The optics in OME-XML: objective, its settings, and the channels of the first image.

#include <pugixml.hpp>
#include <string_view>

#include "io/file_error.h"
#include "io/stack_header.h"

namespace rydecon::ome {

/// Name of an element without the name space that some writers prefix.
std::string_view LocalName(const pugi::xml_node& node);

/// The first child of a local name; empty if there is none.
pugi::xml_node Child(const pugi::xml_node& parent, std::string_view name);

/// Name, wavelengths, pinhole, mode and colour of a channel.
ChannelRecord ReadChannel(const pugi::xml_node& channel, const FileNotes& notes);

/// What the channels share. Numbers that are not positive count as not told, with a note. An objective without a reference from the
/// image counts where it is the only one.
ImageOptics ReadOptics(const pugi::xml_node& root, const FileNotes& notes);

}  // namespace rydecon::ome
