// SPDX-License-Identifier: MIT
#pragma once

// What ends an iterative run: the method's own rule, or the agreement of two halves of the photons.

#include <cstdint>
#include <optional>

#include "cleaning/photon_scale.h"

namespace rydecon {

struct StopChoice {
    bool split = false;
    PhotonChoice photons;
    std::optional<std::uint64_t> seed;  ///< of the split; 1 where not told
};

}  // namespace rydecon
