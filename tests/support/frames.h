// SPDX-License-Identifier: MIT
#pragma once

// Frames of tests, a plan for them, and the way to the reference's pictures.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "kernels/picture_plan.h"
#include "support/pictures.h"
#include "support/ref/picture_frame.h"

namespace gnr::test {

/// A frame size from its orders.
inline gnr::detail::FrameSize FrameOfOrders(unsigned orderX, unsigned orderY) {
    return {1u << orderX, 1u << orderY, orderX, orderY};
}

inline Frame RandomFrame(std::size_t count, float least, float greatest, unsigned seed = 3) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<float> sample(least, greatest);
    Frame frame(count);
    for (float& v : frame) v = sample(engine);
    return frame;
}

inline gnr::ref::Picture AsReference(const Frame& frame, unsigned W, unsigned H) {
    gnr::ref::Picture picture(static_cast<int>(W), static_cast<int>(H));
    for (std::size_t n = 0; n < frame.size(); ++n) picture.values[n] = frame[n];
    return picture;
}

inline Frame AsFrame(const gnr::ref::Picture& picture) {
    Frame frame;
    for (const double v : picture.values) frame.push_back(static_cast<float>(v));
    return frame;
}

/// Success where no sample differs by more than `bound` times the largest expected one.
inline testing::AssertionResult Near(const Frame& got, const gnr::ref::Picture& expected, double bound) {
    double peak = 0.0;
    for (const double v : expected.values) peak = std::max(peak, std::abs(v));
    for (std::size_t n = 0; n < got.size(); ++n) {
        if (!(std::abs(got[n] - expected.values[n]) <= bound * peak)) {
            return testing::AssertionFailure() << "sample " << n << ": " << got[n] << ", expected "
                                               << expected.values[n] << ", peak " << peak;
        }
    }
    return testing::AssertionSuccess();
}

}  // namespace gnr::test
