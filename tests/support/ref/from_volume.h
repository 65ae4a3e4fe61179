// SPDX-License-Identifier: MIT
#pragma once

// Between the library's float volumes and the references' double ones, and the comparison of the two.

#include <gtest/gtest.h>

#include "support/ref/padded_volume.h"
#include "support/volumes.h"

namespace gnr::ref {

/// Padding included.
inline PaddedVolume FromVolume(const test::Volume& v) {
    PaddedVolume padded(v.x(), v.y(), v.z());
    for (std::size_t n = 0; n < padded.values.size(); ++n) padded.values[n] = v.get()[n];
    return padded;
}

/// Image columns only: padding has no meaning after a transform.
inline void ExpectImageNear(const test::Volume& actual, const PaddedVolume& expected, double tolerance) {
    ASSERT_EQ(actual.sizes.total, static_cast<std::int64_t>(expected.values.size()));
    double worst = 0;
    std::size_t where = 0;
    ForImageColumns(expected, [&](int i, int j, int k) {
        const double difference = std::abs(actual.at(i, j, k) - expected.at(i, j, k));
        if (!(difference <= worst)) {
            worst = difference;
            where = expected.Index(i, j, k);
        }
    });
    EXPECT_LE(worst, tolerance) << "at " << where << ": " << actual.get()[where] << " for "
                                << expected.values[where];
}

}  // namespace gnr::ref
