// SPDX-License-Identifier: MIT
#include <ry_system/lite_variant.h>

#include <bit>
#include <cstdint>
#include <new>

#include "lite_variant_format.h"

namespace {

using namespace gnr::detail;
using Bytes = std::vector<unsigned char>;

/// A whole record; of a level, its head. Empty for a key that cannot be found again.
Bytes MakeRecord(RecordKind kind, const CRyStringW& key, std::uint64_t value) {
    if (key.empty()) return {};
    const std::size_t valueBytes = ValueBytes(kind);
    Bytes record(1 + 4 + 4 * key.length() + valueBytes);
    unsigned char* to = record.data();
    *to++ = static_cast<unsigned char>(kind);
    PutNumber(to, key.length(), 4);
    to += 4;
    for (std::size_t n = 0; n < key.length(); ++n, to += 4) {
        PutNumber(to, static_cast<std::uint32_t>(key.c_str()[n]), 4);
    }
    PutNumber(to, value, valueBytes);
    return record;
}

/// write(), or the code of what it threw.
template <class Write>
int WithoutThrowing(Write write) {
    try {
        return write();
    } catch (const std::bad_alloc&) {
        return kLiteVariantNoMemory;
    }
}

}  // namespace

int CRyLiteVariantW::Append(const std::vector<unsigned char>& record) {
    if (record.empty()) return kLiteVariantRefused;
    bytes_.insert(bytes_.end(), record.begin(), record.end());
    for (const std::size_t place : openSizes_) PutNumber(&bytes_[place], bytes_.size() - place - 8, 8);
    return kLiteVariantDone;
}

int CRyLiteVariantW::LevelBegin(const CRyStringW& key) {
    if (openSizes_.size() == kDeepestLevel) return kLiteVariantRefused;
    return WithoutThrowing([&] {
        openSizes_.reserve(kDeepestLevel);
        const int code = Append(MakeRecord(RecordKind::kLevel, key, 0));
        if (code == kLiteVariantDone) openSizes_.push_back(bytes_.size() - 8);
        return code;
    });
}

int CRyLiteVariantW::LevelEnd() {
    if (openSizes_.empty()) return kLiteVariantRefused;
    openSizes_.pop_back();
    return kLiteVariantDone;
}

int CRyLiteVariantW::Set(unsigned uiValue, const CRyStringW& key) {
    return WithoutThrowing([&] { return Append(MakeRecord(RecordKind::kInteger, key, uiValue)); });
}

int CRyLiteVariantW::Set(int iValue, const CRyStringW& key) {
    return Set(static_cast<unsigned>(iValue), key);
}

int CRyLiteVariantW::Set(double dValue, const CRyStringW& key) {
    return WithoutThrowing(
        [&] { return Append(MakeRecord(RecordKind::kDouble, key, std::bit_cast<std::uint64_t>(dValue))); });
}

int CRyLiteVariantW::Set(bool bValue, const CRyStringW& key) {
    return WithoutThrowing([&] { return Append(MakeRecord(RecordKind::kTruth, key, bValue ? 1 : 0)); });
}
