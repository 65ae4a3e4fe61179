// SPDX-License-Identifier: MIT
#pragma once

// The swap file of a stock: its place, and its records.
//
//   offset   size  content                       integers little-endian
//   0        4     L, signed: characters of the key
//   4        2 L   the key, 16-bit characters
//   4 + 2 L  4     S, unsigned: bytes of the block
//   8 + 2 L  S     the block

#include <gnr_deconvolution/memory_stock.h>
#include <ry_platform/files.h>
#include <ry_system/string.h>

#include <vector>

namespace gnr::detail {

/// Names a new swap file, which exists empty afterwards, in the folder that swap files share. The empty string
/// where there is none to be had.
CRyStringW NewSwapFile();

/// A file that closes itself.
class OpenFile {
  public:
    /// For reading, whatever stands there; for writing, from empty.
    static OpenFile ForReading(const CRyStringW& path);
    static OpenFile ForWriting(const CRyStringW& path);

    OpenFile(OpenFile&& other) noexcept : handle_(other.handle_), is_open_(other.is_open_) {
        other.is_open_ = false;
    }
    OpenFile& operator=(OpenFile&&) = delete;
    ~OpenFile();

    explicit operator bool() const { return is_open_; }
    RyFileHandle Handle() const { return handle_; }

  private:
    OpenFile() = default;

    RyFileHandle handle_{};
    bool is_open_ = false;
};

/// A key as a record has it: two bytes a character; what lies beyond 16 bits becomes a surrogate pair.
using KeyBytes = std::vector<unsigned char>;
KeyBytes EncodeKey(const CRyStringW& key);

/// Appends one record, without asking for memory. False where a part of it did not get into the file.
bool WriteRecord(const OpenFile& file, const KeyBytes& key, CRyMemoryStockItem& item);

/// Reads records one after another and believes none of their figures: no read goes beyond the size that the
/// file had at the start, and no block is allocated that the rest of the file cannot fill.
class RecordReader {
  public:
    explicit RecordReader(const OpenFile& file);

    /// The next record into `item`, whose block is freed. False where the record is not that of `key`, the file
    /// ends within it, or memory does not suffice; then the item is as it was.
    bool Read(const CRyStringW& key, CRyMemoryStockItem& item);

  private:
    bool ReadBytes(void* bytes, unsigned long long count);
    bool ReadUnsigned(unsigned& value);

    RyFileHandle file_;
    unsigned long long left_ = 0;  // bytes between here and the end of the file
};

}  // namespace gnr::detail
