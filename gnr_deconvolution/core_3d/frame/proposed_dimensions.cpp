// SPDX-License-Identifier: MIT
#include "frame/proposed_dimensions.h"

#include <gnr_deconvolution/return_codes.h>

#include <array>
#include <cstddef>
#include <limits>
#include <vector>

namespace gnr::detail {

std::uint32_t SmoothSizeNotBelow(std::uint32_t proposed, std::uint32_t seed) {
    // Ascending merge of the list with its own multiples by 2, 3 and 5, one cursor a prime.
    struct Cursor {
        std::uint32_t prime;
        std::size_t index;
    };
    std::array<Cursor, 3> cursors = {{{2, 0}, {3, 0}, {5, 0}}};
    std::vector<std::uint32_t> sizes = {seed};

    while (sizes.back() < proposed) {
        std::uint32_t next = std::numeric_limits<std::uint32_t>::max();
        for (Cursor& c : cursors) {
            // 32-bit products may wrap for proposals near 2^32; a cursor that runs out offers nothing.
            while (c.index < sizes.size() && c.prime * sizes[c.index] <= sizes.back()) ++c.index;
            if (c.index == sizes.size()) continue;
            const std::uint32_t product = c.prime * sizes[c.index];
            if (product <= next) next = product;
        }
        sizes.push_back(next);
    }
    return sizes.back();
}

int RoundUpDimensions(unsigned& x, unsigned& y, unsigned& z, unsigned divisorX, unsigned divisorY,
                      unsigned divisorZ) {
    x = SmoothSizeNotBelow(x, divisorX);
    y = SmoothSizeNotBelow(y, divisorY);
    z = SmoothSizeNotBelow(z, divisorZ);
    return kSuccess;
}

}  // namespace gnr::detail
