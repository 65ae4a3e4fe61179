// SPDX-License-Identifier: MIT
#pragma once

// The planes of one volume on their way in and out: from a file or from another volume, whole or cropped.

#include <cstddef>

#include "volume/padded_volume.h"

namespace rydecon {

class PlaneSource {
  public:
    virtual ~PlaneSource() = default;
    virtual Extent shape() const = 0;

    /// Plane k of 0 to shape().z - 1; row j goes to rows[j * rowStride] on. Only shape().x floats of each row
    /// are written.
    virtual void ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) = 0;
};

/// What is read unit by unit, by one thread at a time: the volumes of a file, the blocks of a volume.
class UnitSource {
  public:
    virtual ~UnitSource() = default;
    virtual Extent ShapeOf(int unit) const = 0;

    /// As PlaneSource::ReadPlane.
    virtual void ReadPlane(int unit, int k, float* rows, std::ptrdiff_t rowStride) = 0;
};

class PlaneSink {
  public:
    virtual ~PlaneSink() = default;

    /// Takes the planes once each, k ascending from 0; row j is read from rows[j * rowStride] on.
    virtual void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) = 0;
};

}  // namespace rydecon
