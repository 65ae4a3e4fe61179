// SPDX-License-Identifier: MIT
#pragma once

// OME-XML for the first page of an OME-TIFF (schema 2016-06, docs.openmicroscopy.org).

#include <string>
#include <string_view>

#include "io/stack_header.h"

namespace rydecon {

/// Stands for the identifier of the file until its content is known.
inline constexpr std::string_view kOmeUuidPlace = "urn:uuid:00000000-0000-0000-0000-000000000000";

/// The document, in ASCII: one image of one run of pages, channels fastest, then z, then time.
std::string WriteOme(const StackHeader& header);

}  // namespace rydecon
