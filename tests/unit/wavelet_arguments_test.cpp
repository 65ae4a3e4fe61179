// SPDX-License-Identifier: MIT
// Refused arguments: the code, and that nothing is written.
#include <functional>

#include "unit/wavelet_fixture.h"

namespace {

constexpr int kBadArgument = -4;
constexpr float kUntouched = 7.5f;

/// Arguments of a valid call of any 3D form; a test spoils one.
struct Call3D {
    std::array<std::vector<float>, 8> bands;
    std::array<std::vector<float>, 6> scratch;
    std::vector<float> volume = std::vector<float>(64, kUntouched);
    gnr::test::FilterSet<float> filters = gnr::test::Daubechies4<float>();
    std::array<float*, 8> b;
    std::array<float*, 6> w;
    float* pfVolume = volume.data();
    float* pfMother = filters.mother.data();
    float* pfFather = filters.father.data();
    unsigned uiX = 4, uiY = 4, uiZ = 4, uiLength = 8;
    unsigned uiOutX = 99, uiOutY = 99, uiOutZ = 99;

    Call3D() {
        for (std::size_t i = 0; i < 8; ++i) {
            bands[i].assign(64, kUntouched);
            b[i] = bands[i].data();
        }
        for (std::size_t i = 0; i < 6; ++i) {
            scratch[i].assign(64 * 8, kUntouched);
            w[i] = scratch[i].data();
        }
    }

    int Decompose() {
        return CRyWavelet3D::WaveletDecompositionImage8(b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7],
                                                        uiOutX, uiOutY, uiOutZ, pfVolume, uiX, uiY, uiZ,
                                                        pfMother, pfFather, uiLength);
    }
    int DecomposePreallocated() {
        return CRyWavelet3D::WaveletDecompositionImage8_Preallocated(
            b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], w[0], w[1], w[2], w[3], w[4], w[5], uiOutX,
            uiOutY, uiOutZ, pfVolume, uiX, uiY, uiZ, pfMother, pfFather, uiLength);
    }
    int Reconstruct() {
        return CRyWavelet3D::WaveletReconstructionImage8(pfVolume, uiOutX, uiOutY, uiOutZ, b[0], b[1], b[2],
                                                         b[3], b[4], b[5], b[6], b[7], uiX, uiY, uiZ,
                                                         pfMother, pfFather, uiLength);
    }
    int ReconstructPreallocated() {
        return CRyWavelet3D::WaveletReconstructionImage8_Preallocated(
            pfVolume, uiOutX, uiOutY, uiOutZ, b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], w[0], w[1],
            w[2], w[3], w[4], w[5], uiX, uiY, uiZ, pfMother, pfFather, uiLength);
    }

    void ExpectNothingWritten() const {
        for (const auto& block : bands) EXPECT_EQ(block, std::vector<float>(block.size(), kUntouched));
        for (const auto& block : scratch) EXPECT_EQ(block, std::vector<float>(block.size(), kUntouched));
        EXPECT_EQ(volume, std::vector<float>(volume.size(), kUntouched));
        EXPECT_EQ(uiOutX, 99u);
        EXPECT_EQ(uiOutY, 99u);
        EXPECT_EQ(uiOutZ, 99u);
    }
};

using Operation3D = int (Call3D::*)();

void ExpectRefused(Operation3D operation, const std::function<void(Call3D&)>& spoil) {
    Call3D call;
    spoil(call);
    EXPECT_EQ((call.*operation)(), kBadArgument);
    call.ExpectNothingWritten();
}

constexpr std::array kDecompositions = {&Call3D::Decompose, &Call3D::DecomposePreallocated};
constexpr std::array kReconstructions = {&Call3D::Reconstruct, &Call3D::ReconstructPreallocated};
constexpr std::array kAll3D = {&Call3D::Decompose, &Call3D::DecomposePreallocated, &Call3D::Reconstruct,
                               &Call3D::ReconstructPreallocated};
constexpr std::array kPreallocated3D = {&Call3D::DecomposePreallocated, &Call3D::ReconstructPreallocated};

TEST(WaveletArguments3D, OddSidesOfAVolumeAreRefused) {
    for (const Operation3D operation : kDecompositions) {
        for (const unsigned odd : {1u, 3u, 5u, 4294967295u}) {
            ExpectRefused(operation, [&](Call3D& c) { c.uiX = odd; });
            ExpectRefused(operation, [&](Call3D& c) { c.uiY = odd; });
            ExpectRefused(operation, [&](Call3D& c) { c.uiZ = odd; });
        }
    }
}

TEST(WaveletArguments3D, OddSidesOfABandAreFine) {
    for (const Operation3D operation : kReconstructions) {
        Call3D call;
        call.uiX = 1;
        call.uiY = 1;
        call.uiZ = 3;
        EXPECT_EQ((call.*operation)(), 0);
        EXPECT_EQ(call.uiOutZ, 6u);
    }
}

TEST(WaveletArguments3D, SidesOfZeroAreRefused) {
    for (const Operation3D operation : kAll3D) {
        ExpectRefused(operation, [](Call3D& c) { c.uiX = 0; });
        ExpectRefused(operation, [](Call3D& c) { c.uiY = 0; });
        ExpectRefused(operation, [](Call3D& c) { c.uiZ = 0; });
    }
}

TEST(WaveletArguments3D, BandSidesWhoseDoubleIsNoUnsignedAreRefused) {
    for (const Operation3D operation : kReconstructions) {
        ExpectRefused(operation, [](Call3D& c) { c.uiX = 0x80000000u; });
        ExpectRefused(operation, [](Call3D& c) { c.uiY = 0x80000000u; });
        ExpectRefused(operation, [](Call3D& c) { c.uiZ = 0x80000000u; });
    }
}

TEST(WaveletArguments3D, NullPointersAreRefused) {
    for (const Operation3D operation : kAll3D) {
        ExpectRefused(operation, [](Call3D& c) { c.pfVolume = nullptr; });
        ExpectRefused(operation, [](Call3D& c) { c.pfMother = nullptr; });
        ExpectRefused(operation, [](Call3D& c) { c.pfFather = nullptr; });
        for (std::size_t i = 0; i < 8; ++i) ExpectRefused(operation, [&](Call3D& c) { c.b[i] = nullptr; });
    }
    for (const Operation3D operation : kPreallocated3D) {
        for (std::size_t i = 0; i < 6; ++i) ExpectRefused(operation, [&](Call3D& c) { c.w[i] = nullptr; });
    }
}

TEST(WaveletArguments3D, FilterLengthsOutsideTheRangeAreRefused) {
    for (const Operation3D operation : kAll3D) {
        for (const unsigned length : {0u, 1u, 7u, 66u, 4294967294u}) {
            ExpectRefused(operation, [&](Call3D& c) { c.uiLength = length; });
        }
    }
}

/// Arguments of a valid call of either 2D operation.
struct Call2D {
    std::array<std::vector<double>, 4> bands;
    std::vector<double> picture = std::vector<double>(64, kUntouched);
    gnr::test::FilterSet<double> filters = gnr::test::Daubechies4<double>();
    std::array<double*, 4> b;
    double* pPicture = picture.data();
    double* pMother = filters.mother.data();
    double* pFather = filters.father.data();
    unsigned w = 4, h = 4, uiLength = 8;
    unsigned uiOutW = 99, uiOutH = 99;

    Call2D() {
        for (std::size_t i = 0; i < 4; ++i) {
            bands[i].assign(64, kUntouched);
            b[i] = bands[i].data();
        }
    }

    int Decompose() {
        return CRyWavelet2D::WaveletDecompositionImage(b[0], b[1], b[2], b[3], uiOutW, uiOutH, pPicture, w, h,
                                                       pMother, pFather, uiLength);
    }
    int Reconstruct() {
        return CRyWavelet2D::WaveletReconstructionImage(pPicture, uiOutW, uiOutH, b[0], b[1], b[2], b[3], w,
                                                        h, pMother, pFather, uiLength);
    }
};

using Operation2D = int (Call2D::*)();

void ExpectRefused(Operation2D operation, const std::function<void(Call2D&)>& spoil) {
    Call2D call;
    spoil(call);
    EXPECT_EQ((call.*operation)(), kBadArgument);
    for (const auto& block : call.bands) EXPECT_EQ(block, std::vector<double>(block.size(), kUntouched));
    EXPECT_EQ(call.picture, std::vector<double>(call.picture.size(), kUntouched));
    EXPECT_EQ(call.uiOutW, 99u);
    EXPECT_EQ(call.uiOutH, 99u);
}

TEST(WaveletArguments2D, OddSidesOfAPictureAreRefused) {
    for (const unsigned odd : {1u, 3u, 4294967295u}) {
        ExpectRefused(&Call2D::Decompose, [&](Call2D& c) { c.w = odd; });
        ExpectRefused(&Call2D::Decompose, [&](Call2D& c) { c.h = odd; });
    }
}

TEST(WaveletArguments2D, ZeroNullAndWrongLengthsAreRefused) {
    for (const Operation2D operation : {&Call2D::Decompose, &Call2D::Reconstruct}) {
        ExpectRefused(operation, [](Call2D& c) { c.w = 0; });
        ExpectRefused(operation, [](Call2D& c) { c.h = 0; });
        ExpectRefused(operation, [](Call2D& c) { c.pPicture = nullptr; });
        ExpectRefused(operation, [](Call2D& c) { c.pMother = nullptr; });
        ExpectRefused(operation, [](Call2D& c) { c.pFather = nullptr; });
        for (std::size_t i = 0; i < 4; ++i) ExpectRefused(operation, [&](Call2D& c) { c.b[i] = nullptr; });
        for (const unsigned length : {0u, 7u, 66u}) {
            ExpectRefused(operation, [&](Call2D& c) { c.uiLength = length; });
        }
    }
    ExpectRefused(&Call2D::Reconstruct, [](Call2D& c) { c.w = 0x80000000u; });
    ExpectRefused(&Call2D::Reconstruct, [](Call2D& c) { c.h = 0x80000000u; });
}

}  // namespace
