// SPDX-License-Identifier: MIT
#pragma once

// A volume cut into overlapping blocks.

#include "restoration/blocks/axis_cut.h"
#include "restoration/psf_source.h"
#include "volume/padded_volume.h"

namespace rydecon {

/// A part of a volume.
struct Box {
    Span x;
    Span y;
    Span z;
    Extent size() const { return {x.length(), y.length(), z.length()}; }
    friend bool operator==(const Box&, const Box&) = default;
};

/// How blocks overlap along each axis.
struct Overlaps {
    Overlap x;
    Overlap y;
    Overlap z;
};

/// The overlap that a PSF asks for: a guard of one and a half times its reach on both sides of a ramp of half of it.
/// So no sample counts to which the mirrored margin behind an inner face comes in one convolution, and what comes
/// there in the many convolutions of an iteration has faded.
/// step  what blocks begin at multiples of
Overlaps OverlapsFor(const PsfReach& reach, int step);

/// The blocks are numbered x fastest.
class BlockGrid {
  public:
    BlockGrid(const Extent& shape, const Extent& counts, const Overlaps& overlaps)
        : shape_(shape),
          x_(shape.x, counts.x, overlaps.x),
          y_(shape.y, counts.y, overlaps.y),
          z_(shape.z, counts.z, overlaps.z) {}

    const Extent& shape() const { return shape_; }
    Extent counts() const { return {x_.count(), y_.count(), z_.count()}; }
    int blocks() const { return x_.count() * y_.count() * z_.count(); }

    /// What a block is computed from, and what counts of it.
    Box Read(int block) const { return {x_.Read(Column(block)), y_.Read(Row(block)), z_.Read(Layer(block))}; }
    Box Used(int block) const { return {x_.Used(Column(block)), y_.Used(Row(block)), z_.Used(Layer(block))}; }

    /// Sides that hold every block.
    Extent LargestRead() const { return {x_.LongestPart(), y_.LongestPart(), z_.LongestPart()}; }

    const AxisCut& x() const { return x_; }
    const AxisCut& y() const { return y_; }
    const AxisCut& z() const { return z_; }
    int Column(int block) const { return block % x_.count(); }
    int Row(int block) const { return block / x_.count() % y_.count(); }
    int Layer(int block) const { return block / (x_.count() * y_.count()); }

  private:
    Extent shape_;
    AxisCut x_;
    AxisCut y_;
    AxisCut z_;
};

}  // namespace rydecon
