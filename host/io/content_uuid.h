// SPDX-License-Identifier: MIT
#pragma once

// An identifier of a file that follows from its content, so that the same stack gives the same bytes whenever and in
// whatever order its planes are written.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rydecon {

class ContentUuid {
  public:
    explicit ContentUuid(std::size_t planes) : digests_(planes, kStart) {}

    /// Adds the next bytes of a plane; planes may come in any order, the bytes of one in theirs,
    /// all but the last in pieces of a multiple of 8.
    void Add(std::size_t plane, const void* bytes, std::size_t count);

    /// "urn:uuid:..." of all planes and `rest`, of version 8 (RFC 9562, section 5.8: made by a rule of one's own).
    std::string Text(std::string_view rest) const;

  private:
    static constexpr std::uint64_t kStart = 0xcbf29ce484222325U;
    std::vector<std::uint64_t> digests_;
};

}  // namespace rydecon
