// SPDX-License-Identifier: MIT
#pragma once

// Closed intervals that may be empty, grow with each value added, and can be saved: of unsigned integers and
// of doubles. Plain values, copied member by member.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/return_codes.h>
#include <ry_system/lite_variant.h>

#include <cstdint>

/// Interval of unsigned integers. While bValid is false, uiMin and uiMax have no meaning.
class GNR_API CRyUintRange {
  public:
    std::uint32_t uiMin = 0;
    std::uint32_t uiMax = 0;
    bool bValid = false;

    /// Empty.
    CRyUintRange() = default;
    /// As Set.
    CRyUintRange(std::uint32_t v);
    /// From the lesser to the greater of both.
    CRyUintRange(std::uint32_t a, std::uint32_t b);

    /// The one value v.
    void Set(std::uint32_t v);
    /// Empty, both ends 0.
    void Reset();
    /// Widens the range by v; an empty one becomes v.
    void Add(std::uint32_t v);
    /// Widens the range by both ends of another; an empty one adds nothing.
    void Add(const CRyUintRange& other);
    /// 0, the ends written through those pointers that are not null; -12 for an empty range, nothing written.
    int Get(std::uint32_t* pMin, std::uint32_t* pMax) const;

    /// Writes the level "CRyUintRange" with "uiMin", "uiMax" and "bValid". 0, or what LevelBegin returned;
    /// then nothing is written.
    int SaveToLiteVariant(CRyLiteVariantW& v) const;
    /// Reads that level. Values that are missing become 0 and false; ends come as they are stored, in order
    /// or not. 0, or what LevelBegin returned; then the range stays as it was.
    int LoadFromLiteVariant(CRyLiteVariantR& v);
};

/// Interval of doubles. While bValid is false, dMin and dMax have no meaning.
class GNR_API CRyDoubleRange {
  public:
    double dMin = 0.0;
    double dMax = 0.0;
    bool bValid = false;

    /// Empty.
    CRyDoubleRange() = default;
    /// As Set.
    CRyDoubleRange(double v);
    /// From the lesser to the greater of both.
    CRyDoubleRange(double a, double b);

    /// The one value v.
    void Set(double v);
    /// Empty, both ends 0.
    void Reset();
    /// Widens the range by v; an empty one becomes v. A NaN replaces both ends, and the next value replaces
    /// the NaN.
    void Add(double v);
    /// Widens the range by both ends of another; an empty one adds nothing.
    void Add(const CRyDoubleRange& other);
    /// 0, the ends written through those pointers that are not null; -12 for an empty range, nothing written.
    int Get(double* pMin, double* pMax) const;

    /// Writes the level "CRyDoubleRange" with "dMin", "dMax" and "bValid"; returns as that of CRyUintRange.
    int SaveToLiteVariant(CRyLiteVariantW& v) const;
    /// Reads that level, as that of CRyUintRange does.
    int LoadFromLiteVariant(CRyLiteVariantR& v);
};
