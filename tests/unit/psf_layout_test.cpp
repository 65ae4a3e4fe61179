// SPDX-License-Identifier: MIT

// Radial tables on the grid.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "detail/parallel.h"
#include "psf/radial_table.h"
#include "psf/truncation.h"

namespace {

using namespace gnr::detail;

constexpr float kUntouched = -7.0f;

/// A plane of 8 columns by 4 rows, rows 10 floats apart.
std::vector<float> Laid(const GridAxis& columns, const GridAxis& rows, double steps,
                        const RadialTable& table) {
    std::vector<float> plane(40, kUntouched);
    RadialLayout(columns, rows, steps, table.size()).Lay<AllThreads>(table, plane.data(), 10);
    return plane;
}

TEST(RadialLayout, InterpolatesAndEndsOneEntryBeforeTheTable) {
    const RadialTable table = {8, 6, 4, 2};
    const std::vector<float> plane = Laid(GridAxis::Centered(8), GridAxis::Centered(4), 1.0, table);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 10; ++x) {
            const double r = std::hypot(x - 4, y - 2);
            const float v = plane[static_cast<std::size_t>(10 * y + x)];
            if (x >= 8) {
                ASSERT_EQ(v, kUntouched);
            } else if (r >= 3) {
                ASSERT_EQ(v, 0.0f) << x << " " << y;
            } else {
                ASSERT_NEAR(v, 8 - 2 * r, 1e-5) << x << " " << y;
            }
        }
    }
}

TEST(RadialLayout, HalfSampleStepsReachHalfAsFar) {
    const RadialTable table = {8, 6, 4, 2};
    const std::vector<float> plane = Laid(GridAxis::Centered(8), GridAxis::Centered(4), 2.0, table);
    EXPECT_EQ(plane[24], 8.0f);
    EXPECT_EQ(plane[25], 4.0f);
    EXPECT_EQ(plane[26], 0.0f);
    EXPECT_EQ(plane[23], 4.0f);
}

TEST(RadialLayout, WrappedOffsetsLeaveTheRestUntouched) {
    const RadialTable table = {8, 6, 4, 2};
    const std::vector<float> plane = Laid(GridAxis::Wrapped(8, 2), GridAxis::Wrapped(4, 1), 1.0, table);
    for (std::size_t n = 0; n < plane.size(); ++n) {
        const float expected = n == 0 ? 8.0f : n == 1 || n == 7 ? 6.0f : kUntouched;
        ASSERT_EQ(plane[n], expected) << n;
    }
}

TEST(RadialLayout, NoOffsetsAndNoTableLayNothing) {
    for (const std::vector<float>& plane :
         {Laid(GridAxis::Wrapped(8, -1), GridAxis::Wrapped(4, 2), 1.0, {1, 2, 3}),
          Laid(GridAxis::Wrapped(8, 0), GridAxis::Wrapped(4, 0), 1.0, {})}) {
        for (const float v : plane) ASSERT_EQ(v, kUntouched);
    }
    EXPECT_EQ(Laid(GridAxis::Centered(8), GridAxis::Centered(4), 1.0, {5})[24], 0.0f);
}

TEST(Truncation, IsDefinedForEveryDouble) {
    EXPECT_EQ(TruncateToInt32(3.9), 3);
    EXPECT_EQ(TruncateToInt32(-3.9), -3);
    EXPECT_EQ(TruncateToInt32(2147483647.5), 2147483647);
    EXPECT_EQ(TruncateToInt32(-2147483648.5), -2147483647 - 1);
    for (const double v : {2147483648.0, -2147483649.0, 1e300, -1e300, std::nan(""), HUGE_VAL}) {
        EXPECT_EQ(TruncateToInt32(v), -2147483647 - 1) << v;
    }
    EXPECT_EQ(TruncateToUInt32(4294967295.5), 4294967295u);
    EXPECT_EQ(TruncateToUInt32(4294967297.0), 1u);
    EXPECT_EQ(TruncateToUInt32(-1.0), 4294967295u);
    for (const double v : {1e300, -1e300, std::nan(""), HUGE_VAL}) EXPECT_EQ(TruncateToUInt32(v), 0u) << v;
}

}  // namespace
