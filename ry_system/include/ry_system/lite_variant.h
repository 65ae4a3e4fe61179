// SPDX-License-Identifier: MIT
#pragma once

// Small values by name, in levels, as one block of bytes: what objects save themselves to.

#include <ry_system/export.h>
#include <ry_system/string.h>

#include <cstddef>
#include <vector>

/// Writes named values. Values go to the level that was begun last; levels may be nested 64 deep. Keys are
/// not empty.
class RY_SYSTEM_API CRyLiteVariantW {
  public:
    /// Opens a level inside the current one. 0; -4 for an empty key or a level too many, -3 without memory;
    /// then nothing is written.
    int LevelBegin(const CRyStringW& key);
    /// Closes the level begun last. 0, or -4 where none is open.
    int LevelEnd();

    /// Stores a value under a key. 0; -4 for an empty key, -3 without memory; then nothing is written.
    int Set(unsigned uiValue, const CRyStringW& key);
    int Set(int iValue, const CRyStringW& key);
    int Set(double dValue, const CRyStringW& key);
    int Set(bool bValue, const CRyStringW& key);

    /// All bytes so far, independent of the machine. Levels that are still open count as closed.
    const std::vector<unsigned char>& Data() const { return bytes_; }

  private:
    int Append(const std::vector<unsigned char>& record);

    std::vector<unsigned char> bytes_;
    std::vector<size_t> openSizes_;  ///< where the sizes of the open levels stand
};

/// Reads what CRyLiteVariantW wrote, in any order. Bytes of other origin are safe: what does not parse is not
/// there.
class RY_SYSTEM_API CRyLiteVariantR {
  public:
    /// Copies uiSize bytes; null counts as none.
    CRyLiteVariantR(const void* pvData, size_t uiSize);

    /// Enters the first level of this name inside the current one. puiCount, which may be null, takes the
    /// number of values and levels right inside it. 0, or -4 where there is no such level.
    int LevelBegin(const CRyStringW& key, unsigned* puiCount);
    /// Returns to the level around the current one. 0, or -4 at the outermost.
    int LevelEnd();

    /// The first value of this name and kind right inside the current level, or the default. An int is read
    /// from what was set as unsigned, too, bit by bit.
    int Get(const CRyStringW& key, int iDefault) const;
    double Get(const CRyStringW& key, double dDefault) const;
    bool Get(const CRyStringW& key, bool bDefault) const;

  private:
    /// Bytes of one level.
    struct Span {
        size_t begin;
        size_t end;
    };
    std::vector<unsigned char> bytes_;
    std::vector<Span> levels_;  ///< the outermost first
};
