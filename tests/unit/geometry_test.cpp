// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/object_frame.h>
#include <gnr_deconvolution/psf_3d.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

namespace {

struct PsfInside : FloatPSF3D {
    using FloatPSF3D::DFT3D_ZeroSizes;
};

DFT3D Sizes(int x, int y, int z) {
    DFT3D s = {-1, -1, -1, -1, -1};
    FloatPSF3D::DFT3D_InitSizes(&s, x, y, z);
    return s;
}

TEST(Geometry, TheSmallestVolume) {
    const DFT3D s = Sizes(2, 1, 1);
    EXPECT_EQ(s.rowLength, 4);
    EXPECT_EQ(s.rows, 1);
    EXPECT_EQ(s.planes, 1);
    EXPECT_EQ(s.planeStride, 4);
    EXPECT_EQ(s.total, 4);
}

TEST(Geometry, FollowsTheFormulas) {
    const DFT3D s = Sizes(30, 7, 5);
    EXPECT_EQ(s.rowLength, 32);
    EXPECT_EQ(s.rows, 7);
    EXPECT_EQ(s.planes, 5);
    EXPECT_EQ(s.planeStride, 224);
    EXPECT_EQ(s.total, 1120);
}

TEST(Geometry, TotalIsFormedIn64Bits) {
    const DFT3D s = Sizes(32766, 32768, 1000);
    EXPECT_EQ(s.planeStride, 1 << 30);
    EXPECT_EQ(s.total, (std::int64_t{1} << 30) * 1000);
}

/// Deliberate: a plane of 2^31 floats and more wraps, and the total follows the wrapped stride.
TEST(Geometry, PlaneStrideWrapsIn32Bits_stays) {
    const DFT3D wrapsToZero = Sizes(65534, 65536, 3);
    EXPECT_EQ(wrapsToZero.planeStride, 0);
    EXPECT_EQ(wrapsToZero.total, 0);
    const DFT3D wrapsNegative = Sizes(65534, 32768, 3);
    EXPECT_EQ(wrapsNegative.planeStride, INT32_MIN);
    EXPECT_EQ(wrapsNegative.total, 3 * std::int64_t{INT32_MIN});
}

TEST(Geometry, ZeroSizesClearsAllFields) {
    DFT3D s = Sizes(30, 7, 5);
    PsfInside::DFT3D_ZeroSizes(&s);
    EXPECT_EQ(s.rowLength, 0);
    EXPECT_EQ(s.rows, 0);
    EXPECT_EQ(s.planes, 0);
    EXPECT_EQ(s.planeStride, 0);
    EXPECT_EQ(s.total, 0);
}

TEST(Geometry, RecordsArePlain) {
    static_assert(std::is_trivial_v<DFT3D> && std::is_standard_layout_v<DFT3D> && sizeof(DFT3D) == 24);
    static_assert(std::is_aggregate_v<FDCT2D> && sizeof(FDCT2D) == sizeof(int));
    static_assert(std::is_trivial_v<SRyIRect3D> && sizeof(SRyIRect3D) == 24);
    const SRyIRect3D rc = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(rc.iMinX, 1);
    EXPECT_EQ(rc.iMaxX, 2);
    EXPECT_EQ(rc.iMinY, 3);
    EXPECT_EQ(rc.iMaxY, 4);
    EXPECT_EQ(rc.iMinZ, 5);
    EXPECT_EQ(rc.iMaxZ, 6);
}

}  // namespace
