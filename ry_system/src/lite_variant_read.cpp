// SPDX-License-Identifier: MIT
#include <ry_system/lite_variant.h>

#include <bit>
#include <cstdint>
#include <optional>

#include "lite_variant_format.h"

namespace {

using namespace gnr::detail;
using Bytes = std::vector<unsigned char>;

/// One record: where its parts stand.
struct Record {
    RecordKind kind;
    std::size_t key;        ///< first byte
    std::size_t keyLength;  ///< characters
    std::size_t value;      ///< first byte
    std::size_t end;        ///< behind it, and behind all that a level holds
};

/// The record at `begin`, or nothing where it does not lie whole before `end`.
std::optional<Record> Parse(const Bytes& bytes, std::size_t begin, std::size_t end) {
    constexpr std::size_t kHead = 1 + 4;
    if (end - begin < kHead) return std::nullopt;
    Record r{};
    r.kind = static_cast<RecordKind>(bytes[begin]);
    const std::size_t valueBytes = ValueBytes(r.kind);
    r.key = begin + kHead;
    r.keyLength = static_cast<std::size_t>(GetNumber(&bytes[begin + 1], 4));
    if (valueBytes == 0 || r.keyLength > (end - r.key) / 4) return std::nullopt;
    r.value = r.key + 4 * r.keyLength;
    if (end - r.value < valueBytes) return std::nullopt;
    r.end = r.value + valueBytes;
    if (r.kind == RecordKind::kLevel) {
        const std::uint64_t inside = GetNumber(&bytes[r.value], 8);
        if (inside > end - r.end) return std::nullopt;
        r.end += static_cast<std::size_t>(inside);
    }
    return r;
}

bool HasKey(const Bytes& bytes, const Record& r, const CRyStringW& key) {
    if (r.keyLength != key.length()) return false;
    for (std::size_t n = 0; n < r.keyLength; ++n) {
        if (GetNumber(&bytes[r.key + 4 * n], 4) != static_cast<std::uint32_t>(key.c_str()[n])) return false;
    }
    return true;
}

/// The first record of this kind and name right between begin and end.
std::optional<Record> Find(const Bytes& bytes, std::size_t begin, std::size_t end, RecordKind kind,
                           const CRyStringW& key) {
    while (const std::optional<Record> r = Parse(bytes, begin, end)) {
        if (r->kind == kind && HasKey(bytes, *r, key)) return r;
        begin = r->end;
    }
    return std::nullopt;
}

unsigned Count(const Bytes& bytes, std::size_t begin, std::size_t end) {
    unsigned count = 0;
    while (const std::optional<Record> r = Parse(bytes, begin, end)) {
        ++count;
        begin = r->end;
    }
    return count;
}

}  // namespace

CRyLiteVariantR::CRyLiteVariantR(const void* pvData, size_t uiSize) {
    const auto* const first = static_cast<const unsigned char*>(pvData);
    if (first != nullptr) bytes_.assign(first, first + uiSize);
    levels_.push_back({0, bytes_.size()});
}

int CRyLiteVariantR::LevelBegin(const CRyStringW& key, unsigned* puiCount) {
    const auto level = Find(bytes_, levels_.back().begin, levels_.back().end, RecordKind::kLevel, key);
    if (!level) return kLiteVariantRefused;
    const Span inside = {level->value + ValueBytes(RecordKind::kLevel), level->end};
    if (puiCount != nullptr) *puiCount = Count(bytes_, inside.begin, inside.end);
    levels_.push_back(inside);
    return kLiteVariantDone;
}

int CRyLiteVariantR::LevelEnd() {
    if (levels_.size() == 1) return kLiteVariantRefused;
    levels_.pop_back();
    return kLiteVariantDone;
}

int CRyLiteVariantR::Get(const CRyStringW& key, int iDefault) const {
    const auto r = Find(bytes_, levels_.back().begin, levels_.back().end, RecordKind::kInteger, key);
    return r ? static_cast<int>(static_cast<std::uint32_t>(GetNumber(&bytes_[r->value], 4))) : iDefault;
}

double CRyLiteVariantR::Get(const CRyStringW& key, double dDefault) const {
    const auto r = Find(bytes_, levels_.back().begin, levels_.back().end, RecordKind::kDouble, key);
    return r ? std::bit_cast<double>(GetNumber(&bytes_[r->value], 8)) : dDefault;
}

bool CRyLiteVariantR::Get(const CRyStringW& key, bool bDefault) const {
    const auto r = Find(bytes_, levels_.back().begin, levels_.back().end, RecordKind::kTruth, key);
    return r ? bytes_[r->value] != 0 : bDefault;
}
