// SPDX-License-Identifier: MIT
#include <ry_math/wavelet_3d.h>

#include "arguments.h"
#include "result_codes.h"
#include "scratch_block.h"
#include "volume_passes.h"

namespace {

using namespace gnr::detail;

using Bands = std::array<float*, kVolumeBands>;
using ConstBands = std::array<const float*, kVolumeBands>;

VolumeGeometry GeometryOfVolume(unsigned x, unsigned y, unsigned z, unsigned taps) {
    return {x / 2, y / 2, z / 2, taps, sizeof(float)};
}

VolumeGeometry GeometryOfBands(unsigned x, unsigned y, unsigned z, unsigned taps) {
    return {x, y, z, taps, sizeof(float)};
}

/// The scratch of one call in one block, or nothing when memory is exhausted.
class OwnScratch {
  public:
    explicit OwnScratch(const VolumeGeometry& s)
        : rings_(s.Tasks() * s.RingSize()),
          block_(NewScratch<float>(2 * rings_ + s.Tasks() * s.WorkSize())) {}

    explicit operator bool() const { return block_ != nullptr; }
    VolumeScratch<float> Get() const {
        return {block_.get(), block_.get() + rings_, block_.get() + 2 * rings_};
    }

  private:
    std::size_t rings_;
    ScratchBlock<float> block_;
};

void Decompose(const VolumeGeometry& s, const float* mother, const float* father, unsigned taps,
               const float* volume, const Bands& bands, const VolumeScratch<float>& scratch) {
    const FilterPair<float> analysis = AnalysisPair(mother, father, taps);
    VolumeAnalysis<float>(s, analysis, volume, bands).Run(scratch);
}

void Reconstruct(const VolumeGeometry& s, const float* mother, const float* father, unsigned taps,
                 const ConstBands& bands, float* volume, const VolumeScratch<float>& scratch) {
    const FilterPair<float> synthesis = SynthesisPair(mother, father, taps);
    VolumeSynthesis<float>(s, synthesis, bands, volume).Run(scratch);
}

}  // namespace

int CRyWavelet3D::WaveletDecompositionImage8(float*& b0, float*& b1, float*& b2, float*& b3, float*& b4,
                                             float*& b5, float*& b6, float*& b7, unsigned& uiOutX,
                                             unsigned& uiOutY, unsigned& uiOutZ, float* pfIn, unsigned uiX,
                                             unsigned uiY, unsigned uiZ, float* pfMother, float* pfFather,
                                             unsigned uiLength) {
    if (AnyNull({b0, b1, b2, b3, b4, b5, b6, b7, pfIn, pfMother, pfFather}) ||
        !AreEvenSides({uiX, uiY, uiZ}) || !IsFilterLength(uiLength)) {
        return kWaveletBadArgument;
    }
    const VolumeGeometry s = GeometryOfVolume(uiX, uiY, uiZ, uiLength);
    const OwnScratch scratch(s);
    if (!scratch) return kWaveletNoMemory;
    Decompose(s, pfMother, pfFather, uiLength, pfIn, {b0, b1, b2, b3, b4, b5, b6, b7}, scratch.Get());
    uiOutX = uiX / 2;
    uiOutY = uiY / 2;
    uiOutZ = uiZ / 2;
    return kWaveletDone;
}

int CRyWavelet3D::WaveletReconstructionImage8(float*& pfOut, unsigned& uiOutX, unsigned& uiOutY,
                                              unsigned& uiOutZ, float* b0, float* b1, float* b2, float* b3,
                                              float* b4, float* b5, float* b6, float* b7, unsigned uiX,
                                              unsigned uiY, unsigned uiZ, float* pfMother, float* pfFather,
                                              unsigned uiLength) {
    if (AnyNull({pfOut, b0, b1, b2, b3, b4, b5, b6, b7, pfMother, pfFather}) ||
        !AreBandSides({uiX, uiY, uiZ}) || !IsFilterLength(uiLength)) {
        return kWaveletBadArgument;
    }
    const VolumeGeometry s = GeometryOfBands(uiX, uiY, uiZ, uiLength);
    const OwnScratch scratch(s);
    if (!scratch) return kWaveletNoMemory;
    Reconstruct(s, pfMother, pfFather, uiLength, {b0, b1, b2, b3, b4, b5, b6, b7}, pfOut, scratch.Get());
    uiOutX = 2 * uiX;
    uiOutY = 2 * uiY;
    uiOutZ = 2 * uiZ;
    return kWaveletDone;
}

int CRyWavelet3D::WaveletDecompositionImage8_Preallocated(
    float*& b0, float*& b1, float*& b2, float*& b3, float*& b4, float*& b5, float*& b6, float*& b7,
    float*& w0, float*& w1, float*& w2, float*& w3, float*& w4, float*& w5, unsigned& uiOutX,
    unsigned& uiOutY, unsigned& uiOutZ, float* pfIn, unsigned uiX, unsigned uiY, unsigned uiZ,
    float* pfMother, float* pfFather, unsigned uiLength) {
    if (AnyNull({b0, b1, b2, b3, b4, b5, b6, b7, w0, w1, w2, w3, w4, w5, pfIn, pfMother, pfFather}) ||
        !AreEvenSides({uiX, uiY, uiZ}) || !IsFilterLength(uiLength)) {
        return kWaveletBadArgument;
    }
    const VolumeGeometry s = GeometryOfVolume(uiX, uiY, uiZ, uiLength);
    Decompose(s, pfMother, pfFather, uiLength, pfIn, {b0, b1, b2, b3, b4, b5, b6, b7}, {w0, w1, w2});
    uiOutX = uiX / 2;
    uiOutY = uiY / 2;
    uiOutZ = uiZ / 2;
    return kWaveletDone;
}

int CRyWavelet3D::WaveletReconstructionImage8_Preallocated(
    float*& pfOut, unsigned& uiOutX, unsigned& uiOutY, unsigned& uiOutZ, float*& b0, float*& b1, float*& b2,
    float*& b3, float*& b4, float*& b5, float*& b6, float*& b7, float*& w0, float*& w1, float*& w2,
    float*& w3, float*& w4, float*& w5, unsigned uiX, unsigned uiY, unsigned uiZ, float* pfMother,
    float* pfFather, unsigned uiLength) {
    if (AnyNull({pfOut, b0, b1, b2, b3, b4, b5, b6, b7, w0, w1, w2, w3, w4, w5, pfMother, pfFather}) ||
        !AreBandSides({uiX, uiY, uiZ}) || !IsFilterLength(uiLength)) {
        return kWaveletBadArgument;
    }
    const VolumeGeometry s = GeometryOfBands(uiX, uiY, uiZ, uiLength);
    Reconstruct(s, pfMother, pfFather, uiLength, {b0, b1, b2, b3, b4, b5, b6, b7}, pfOut, {w0, w1, w2});
    uiOutX = 2 * uiX;
    uiOutY = 2 * uiY;
    uiOutZ = 2 * uiZ;
    return kWaveletDone;
}
