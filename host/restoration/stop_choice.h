// SPDX-License-Identifier: MIT
#pragma once

// What ends an iterative run: the method's own rule, or the agreement of two halves of the photons.

#include <cstdint>
#include <optional>

#include "cleaning/photon_scale.h"

namespace rydecon {

struct Method;
struct RestoreJob;

struct StopChoice {
    bool split = false;
    PhotonChoice photons;
    std::optional<std::uint64_t> seed;  ///< of the split; 1 where not told
};

/// UserError (usage) where the job asks for a split that the method cannot make, or tells of photons without
/// asking for one. method is null for pictures.
void CheckStop(const RestoreJob& job, const Method* method);

}  // namespace rydecon
