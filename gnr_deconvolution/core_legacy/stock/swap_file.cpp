// SPDX-License-Identifier: MIT
#include "stock/swap_file.h"

#include <ry_platform/folders.h>
#include <ry_system/alloc.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace gnr::detail {
namespace {

constexpr unsigned kPathCharacters = 0x104;
constexpr std::size_t kMostKeyCharacters = 1024;

std::array<unsigned char, 4> LittleEndian(std::uint32_t value) {
    const auto byte = [value](int i) { return static_cast<unsigned char>(value >> (8 * i)); };
    return {byte(0), byte(1), byte(2), byte(3)};
}

struct FreeBlock {
    void operator()(void* block) const { CRyAlloc::Free(block); }
};

bool WriteBytes(const OpenFile& file, const void* bytes, unsigned long long count) {
    unsigned long long written = 0;
    RY_WriteFile(file.Handle(), bytes, count, &written, 0);
    return written == count;
}

}  // namespace

CRyStringW NewSwapFile() {
    std::array<wchar_t, kPathCharacters> buffer{};
    if (RY_GetTempPath(kPathCharacters, buffer.data()) == 0) return {};
    const std::wstring folder = std::wstring(buffer.data()) + L"DecSwapStorage/";
    RY_CreateDirectory(folder.c_str(), 1, -1);  // it may stand already
    if (RY_GetTempFileName(folder.c_str(), L"ryq$$$$$$ryq", 0, buffer.data(), kPathCharacters) != 0)
        return {};
    return {buffer.data()};
}

OpenFile OpenFile::ForReading(const CRyStringW& path) {
    OpenFile file;
    file.is_open_ = RY_OpenFile(path.c_str(), 1, 1, -1, &file.handle_) == 0;
    return file;
}

OpenFile OpenFile::ForWriting(const CRyStringW& path) {
    OpenFile file;
    file.is_open_ = RY_OpenFile(path.c_str(), 2, 0, -1, &file.handle_) == 0 ||
                    RY_OpenFile(path.c_str(), 6, 0, -1, &file.handle_) == 0;
    return file;
}

OpenFile::~OpenFile() {
    if (is_open_) RY_CloseFile(handle_);
}

KeyBytes EncodeKey(const CRyStringW& key) {
    KeyBytes bytes;
    bytes.reserve(2 * key.length());
    const auto append = [&bytes](std::uint32_t unit) {
        bytes.push_back(static_cast<unsigned char>(unit));
        bytes.push_back(static_cast<unsigned char>(unit >> 8));
    };
    for (std::size_t i = 0; i < key.length(); ++i) {
        const auto c = static_cast<std::uint32_t>(std::char_traits<wchar_t>::to_int_type(key.c_str()[i]));
        if (c < 0x10000) {
            append(c);
        } else {
            append(0xD7C0 + ((c >> 10) & 0x7FF));
            append(0xDC00 + (c & 0x3FF));
        }
    }
    return bytes;
}

bool WriteRecord(const OpenFile& file, const KeyBytes& key, CRyMemoryStockItem& item) {
    void* block = nullptr;
    unsigned long long size = 0;
    item.GetMemAndSize(block, size);
    if (block == nullptr) size = 0;

    const auto length_field = LittleEndian(static_cast<std::uint32_t>(key.size() / 2));
    // deliberate: the low half of the size before the whole block
    const auto size_field = LittleEndian(static_cast<std::uint32_t>(size));
    bool whole = WriteBytes(file, length_field.data(), length_field.size());
    whole &= WriteBytes(file, key.data(), key.size());
    whole &= WriteBytes(file, size_field.data(), size_field.size());
    whole &= WriteBytes(file, block, size);
    return whole;
}

RecordReader::RecordReader(const OpenFile& file) : file_(file.Handle()) {
    if (RY_GetFileSize(file_, &left_) != 0) left_ = 0;
}

bool RecordReader::ReadBytes(void* bytes, unsigned long long count) {
    if (count > left_) return false;
    unsigned long long read = 0;
    RY_ReadFile(file_, bytes, count, &read, 0);
    left_ -= read;
    return read == count;
}

bool RecordReader::ReadUnsigned(unsigned& value) {
    std::array<unsigned char, 4> field{};
    if (!ReadBytes(field.data(), field.size())) return false;
    value = 0;
    for (std::size_t i = field.size(); i-- > 0;) value = (value << 8) | field[i];
    return true;
}

bool RecordReader::Read(const CRyStringW& key, CRyMemoryStockItem& item) {
    const KeyBytes expected = EncodeKey(key);
    if (expected.size() > 2 * kMostKeyCharacters) return false;
    unsigned length = 0;
    if (!ReadUnsigned(length) || length != expected.size() / 2) return false;
    KeyBytes characters(expected.size());
    if (!ReadBytes(characters.data(), characters.size()) || characters != expected) return false;

    unsigned size = 0;
    if (!ReadUnsigned(size) || size > left_) return false;
    std::unique_ptr<void, FreeBlock> owned(size == 0 ? nullptr : CRyAlloc::Alloc(0, size));
    if (size != 0 && (owned == nullptr || !ReadBytes(owned.get(), size))) return false;
    item.destroy();
    item.pvData = owned.release();
    item.uiSize = size;
    return true;
}

}  // namespace gnr::detail
