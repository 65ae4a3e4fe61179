// SPDX-License-Identifier: MIT
#pragma once

// What a report tells of one channel at one time.

#include <string>

#include "report/html/restoration_report.h"

namespace rydecon {

/// "Channel DAPI, time 3"; empty where neither is named.
std::string NameOf(const VolumeReport& volume);

/// A "<section>"; `number` counts the volumes of the page from 0.
std::string VolumeSection(const VolumeReport& volume, int number);

/// "0.998", sum after over sum before; "—" where there is none.
std::string ShownFluxRatio(const VolumeReport& volume);

}  // namespace rydecon
