// SPDX-License-Identifier: MIT
#include "io/content_uuid.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace rydecon {
namespace {

/// The final mixing of SplitMix64 (Steele, Lea and Flood, OOPSLA 2014): each bit of the sum reaches all others.
std::uint64_t Mixed(std::uint64_t digest, std::uint64_t word) {
    std::uint64_t z = (digest ^ word) + 0x9e3779b97f4a7c15U;
    z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9U;
    z = (z ^ z >> 27) * 0x94d049bb133111ebU;
    return z ^ z >> 31;
}

std::uint64_t Digest(std::uint64_t digest, const void* bytes, std::size_t count) {
    const auto* next = static_cast<const std::byte*>(bytes);
    for (; count > 0;) {
        std::uint64_t word = 0;
        const std::size_t part = count < sizeof word ? count : sizeof word;
        std::memcpy(&word, next, part);
        digest = Mixed(digest, word);
        next += part;
        count -= part;
    }
    return digest;
}

}  // namespace

void ContentUuid::Add(std::size_t plane, const void* bytes, std::size_t count) {
    digests_[plane] = Digest(digests_[plane], bytes, count);
}

std::string ContentUuid::Text(std::string_view rest) const {
    const std::uint64_t high = Digest(Digest(kStart, rest.data(), rest.size()), digests_.data(),
                                      digests_.size() * sizeof(std::uint64_t));
    const std::uint64_t low = Mixed(high, kStart);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "urn:uuid:%08x-%04x-8%03x-%04x-%012llx",
                  static_cast<unsigned>(high >> 32), static_cast<unsigned>(high >> 16 & 0xffff),
                  static_cast<unsigned>(high & 0xfff), static_cast<unsigned>(0x8000 | (low >> 48 & 0x3fff)),
                  static_cast<unsigned long long>(low & 0xffffffffffffU));
    return text.data();
}

}  // namespace rydecon
