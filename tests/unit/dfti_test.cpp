// SPDX-License-Identifier: MIT

// The transform package's seam by itself: what it refuses, and each placement, stride and scale against the
// direct transform.

#include <fft/dfti.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/ref/direct_dft.h"
#include "support/tolerances.h"

namespace {

using gnr::ref::ComplexVolume;
using gnr::ref::RealVolume;

/// Frees what it made.
class Descriptor {
  public:
    explicit Descriptor(const std::vector<MKL_LONG>& lengths) {
        status_ = DftiCreateDescriptor(&handle, DFTI_SINGLE, DFTI_REAL, static_cast<MKL_LONG>(lengths.size()),
                                       lengths.data());
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (handle != nullptr) DftiFreeDescriptor(&handle);
    }
    template <class Value>
    Descriptor& Set(DFTI_CONFIG_PARAM parameter, Value value) {
        if (status_ == DFTI_NO_ERROR) status_ = DftiSetValue(handle, parameter, value);
        return *this;
    }
    MKL_LONG Commit() { return status_ != DFTI_NO_ERROR ? status_ : DftiCommitDescriptor(handle); }

    DFTI_DESCRIPTOR_HANDLE handle = nullptr;

  private:
    MKL_LONG status_;
};

// ------------------------------------------------------------------------------------------ refusals

TEST(DftiRefuses, ANullHandle) {
    const MKL_LONG length = 8;
    float buffer[10] = {};
    DFTI_DESCRIPTOR_HANDLE none = nullptr;
    const MKL_LONG strides[] = {0, 1};
    EXPECT_NE(DftiCreateDescriptor(nullptr, DFTI_SINGLE, DFTI_REAL, 1, &length), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(none, DFTI_FORWARD_SCALE, 1.0), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(none, DFTI_PLACEMENT, DFTI_INPLACE), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(none, DFTI_INPUT_STRIDES, strides), DFTI_NO_ERROR);
    EXPECT_NE(DftiCommitDescriptor(none), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeForward(none, buffer), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeBackward(none, buffer), DFTI_NO_ERROR);
    EXPECT_NE(DftiFreeDescriptor(&none), DFTI_NO_ERROR);
    EXPECT_NE(DftiFreeDescriptor(nullptr), DFTI_NO_ERROR);
}

TEST(DftiRefuses, NullLengthsAndDimensionsItDoesNotHave) {
    const MKL_LONG lengths[] = {4, 4, 4, 4};
    DFTI_DESCRIPTOR_HANDLE handle = nullptr;
    EXPECT_NE(DftiCreateDescriptor(&handle, DFTI_SINGLE, DFTI_REAL, 1, nullptr), DFTI_NO_ERROR);
    EXPECT_EQ(handle, nullptr);
    for (const MKL_LONG dimensions : {-1, 0, 4}) {
        EXPECT_NE(DftiCreateDescriptor(&handle, DFTI_SINGLE, DFTI_REAL, dimensions, lengths), DFTI_NO_ERROR);
        EXPECT_EQ(handle, nullptr);
    }
}

TEST(DftiRefuses, LengthsNotAboveZeroAndNegativeStrides) {
    for (const std::vector<MKL_LONG>& lengths :
         {std::vector<MKL_LONG>{0}, {-4}, {4, 0}, {-1, 4}, {4, 4, 0}, {0, 4, 4}, {4, -4, 4}}) {
        EXPECT_NE(Descriptor(lengths).Commit(), DFTI_NO_ERROR);
    }
    const MKL_LONG negative[] = {0, -1};
    EXPECT_NE(Descriptor({4}).Set(DFTI_INPUT_STRIDES, negative).Commit(), DFTI_NO_ERROR);
    EXPECT_NE(Descriptor({4}).Set(DFTI_OUTPUT_STRIDES, negative).Commit(), DFTI_NO_ERROR);
}

TEST(DftiRefuses, ToComputeBeforeCommit) {
    float buffer[10] = {};
    Descriptor d({8});
    EXPECT_NE(DftiComputeForward(d.handle, buffer), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeBackward(d.handle, buffer), DFTI_NO_ERROR);
    ASSERT_EQ(d.Commit(), DFTI_NO_ERROR);
    EXPECT_EQ(DftiComputeForward(d.handle, buffer), DFTI_NO_ERROR);
    // A new setting asks for a new commit.
    d.Set(DFTI_FORWARD_SCALE, 2.0);
    EXPECT_NE(DftiComputeForward(d.handle, buffer), DFTI_NO_ERROR);
}

TEST(DftiRefuses, NullBuffersAndTheOtherPlacement) {
    float in[10] = {};
    float out[10] = {};
    Descriptor inPlace({8});
    ASSERT_EQ(inPlace.Commit(), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeForward(inPlace.handle, nullptr), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeBackward(inPlace.handle, nullptr), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeForward(inPlace.handle, in, out), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeBackward(inPlace.handle, in, out), DFTI_NO_ERROR);

    Descriptor apart({8});
    ASSERT_EQ(apart.Set(DFTI_PLACEMENT, DFTI_NOT_INPLACE).Commit(), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeForward(apart.handle, in), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeBackward(apart.handle, in), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeForward(apart.handle, in, nullptr), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeForward(apart.handle, nullptr, out), DFTI_NO_ERROR);
}

TEST(DftiRefuses, SettingsOfAnotherKind) {
    Descriptor d({8});
    const MKL_LONG strides[] = {0, 1};
    EXPECT_NE(DftiSetValue(d.handle, DFTI_PLACEMENT, 1.0), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(d.handle, DFTI_PLACEMENT, DFTI_CCE_FORMAT), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(d.handle, DFTI_PACKED_FORMAT, DFTI_INPLACE), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(d.handle, DFTI_FORWARD_SCALE, DFTI_INPLACE), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(d.handle, DFTI_FORWARD_SCALE, strides), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(d.handle, DFTI_INPUT_STRIDES, static_cast<const MKL_LONG*>(nullptr)),
              DFTI_NO_ERROR);
}

TEST(Dfti, FreeNullsTheHandle) {
    const MKL_LONG length = 8;
    DFTI_DESCRIPTOR_HANDLE handle = nullptr;
    ASSERT_EQ(DftiCreateDescriptor(&handle, DFTI_SINGLE, DFTI_REAL, 1, &length), DFTI_NO_ERROR);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(DftiFreeDescriptor(&handle), DFTI_NO_ERROR);
    EXPECT_EQ(handle, nullptr);
}

// ------------------------------------------------------------------------------------------ transforms

/// One case: lengths slowest first, and the strides of both sides (offset first); empty strides are dense.
struct Layout {
    std::vector<MKL_LONG> lengths;
    std::vector<MKL_LONG> realStrides;
    std::vector<MKL_LONG> complexStrides;
};

/// Moves dense volumes in and out of a layout.
class LaidOut {
  public:
    explicit LaidOut(const Layout& layout)
        : nz_(Axis(layout, 0)),
          ny_(Axis(layout, 1)),
          nx_(Axis(layout, 2)),
          real_(Strides(layout.realStrides)),
          complex_(Strides(layout.complexStrides)) {}

    RealVolume Random(unsigned seed) const {
        RealVolume volume(nx_, ny_, nz_);
        std::mt19937 engine(seed);
        std::uniform_real_distribution<float> sample(-1.0f, 2.0f);
        for (double& v : volume.values) v = sample(engine);
        return volume;
    }
    double Tolerance() const {
        const double samples = 1.0 * nx_ * ny_ * nz_;
        return gnr::test::TransformTolerance(samples, 2.0 * samples);
    }
    /// Enough floats for either side.
    std::vector<float> Buffer(float fill) const {
        std::ptrdiff_t floats = std::max(RealIndex(nx_ - 1, ny_ - 1, nz_ - 1) + 1,
                                         2 * (ComplexIndex(nx_ / 2, ny_ - 1, nz_ - 1) + 1));
        floats = std::max(floats, RealIndex(0, ny_ - 1, nz_ - 1) + real_[2]);
        return std::vector<float>(static_cast<std::size_t>(floats), fill);
    }
    void StoreReal(const RealVolume& volume, std::vector<float>& buffer) const {
        EachSample([&](int i, int j, int k) {
            buffer[Index(RealIndex(i, j, k))] = static_cast<float>(volume.at(i, j, k));
        });
    }
    void StoreSpectrum(const ComplexVolume& spectrum, std::vector<float>& buffer) const {
        EachFrequency([&](int u, int v, int w) {
            buffer[Index(2 * ComplexIndex(u, v, w))] = static_cast<float>(spectrum.at(u, v, w).real());
            buffer[Index(2 * ComplexIndex(u, v, w) + 1)] = static_cast<float>(spectrum.at(u, v, w).imag());
        });
    }
    void ExpectReal(const std::vector<float>& buffer, const RealVolume& volume, double scale) const {
        EachSample([&](int i, int j, int k) {
            ASSERT_NEAR(buffer[Index(RealIndex(i, j, k))], scale * volume.at(i, j, k), scale * Tolerance());
        });
    }
    void ExpectSpectrum(const std::vector<float>& buffer, const ComplexVolume& spectrum, double scale) const {
        EachFrequency([&](int u, int v, int w) {
            const std::ptrdiff_t n = 2 * ComplexIndex(u, v, w);
            const std::complex<double> expected = scale * spectrum.at(u, v, w);
            ASSERT_NEAR(buffer[Index(n)], expected.real(), scale * Tolerance()) << u << ' ' << v << ' ' << w;
            ASSERT_NEAR(buffer[Index(n + 1)], expected.imag(), scale * Tolerance())
                << u << ' ' << v << ' ' << w;
        });
    }
    /// Floats between the samples of one real row and the next hold 0.
    void ExpectClearGaps(const std::vector<float>& buffer) const {
        for (int k = 0; k < nz_; ++k) {
            for (int j = 0; j < ny_; ++j) {
                for (std::ptrdiff_t i = nx_; i < real_[2]; ++i) {
                    ASSERT_EQ(buffer[Index(RealIndex(0, j, k) + i)], 0.0f) << i << ' ' << j << ' ' << k;
                }
            }
        }
    }

  private:
    static int Axis(const Layout& layout, std::size_t axis) {
        const std::size_t missing = 3 - layout.lengths.size();
        return axis < missing ? 1 : static_cast<int>(layout.lengths[axis - missing]);
    }
    /// Offset, plane, row and column stride.
    static std::vector<std::ptrdiff_t> Strides(const std::vector<MKL_LONG>& strides) {
        std::vector<std::ptrdiff_t> all(4, 0);
        all[0] = strides[0];
        for (std::size_t n = 1; n < strides.size(); ++n) all[4 - strides.size() + n] = strides[n];
        return all;
    }
    static std::size_t Index(std::ptrdiff_t n) { return static_cast<std::size_t>(n); }
    std::ptrdiff_t RealIndex(int i, int j, int k) const {
        return real_[0] + k * real_[1] + j * real_[2] + i * real_[3];
    }
    std::ptrdiff_t ComplexIndex(int u, int v, int w) const {
        return complex_[0] + w * complex_[1] + v * complex_[2] + u * complex_[3];
    }
    template <class Visit>
    void EachSample(Visit visit) const {
        for (int k = 0; k < nz_; ++k) {
            for (int j = 0; j < ny_; ++j) {
                for (int i = 0; i < nx_; ++i) visit(i, j, k);
            }
        }
    }
    template <class Visit>
    void EachFrequency(Visit visit) const {
        for (int w = 0; w < nz_; ++w) {
            for (int v = 0; v < ny_; ++v) {
                for (int u = 0; u <= nx_ / 2; ++u) visit(u, v, w);
            }
        }
    }

    int nz_;
    int ny_;
    int nx_;
    std::vector<std::ptrdiff_t> real_;
    std::vector<std::ptrdiff_t> complex_;
};

class DftiLayouts : public testing::TestWithParam<Layout> {
  protected:
    DftiLayouts() : laidOut_(GetParam()), samples_(laidOut_.Random(11)) {}

    /// Configured as the kernels configure it.
    MKL_LONG Configure(Descriptor& d, bool forward, DFTI_CONFIG_VALUE placement, double scale) const {
        const Layout& layout = GetParam();
        d.Set(forward ? DFTI_FORWARD_SCALE : DFTI_BACKWARD_SCALE, scale);
        d.Set(DFTI_PLACEMENT, placement);
        d.Set(DFTI_PACKED_FORMAT, DFTI_CCE_FORMAT);
        d.Set(forward ? DFTI_INPUT_STRIDES : DFTI_OUTPUT_STRIDES, layout.realStrides.data());
        d.Set(forward ? DFTI_OUTPUT_STRIDES : DFTI_INPUT_STRIDES, layout.complexStrides.data());
        d.Set(DFTI_CONJUGATE_EVEN_STORAGE, DFTI_COMPLEX_COMPLEX);
        d.Set(DFTI_REAL_STORAGE, DFTI_REAL_REAL);
        return d.Commit();
    }
    RealVolume ScaledBy(double factor, const RealVolume& volume) const {
        RealVolume scaled = volume;
        for (double& v : scaled.values) v *= factor;
        return scaled;
    }

    LaidOut laidOut_;
    RealVolume samples_;
};

constexpr float kFill = 77.0f;

TEST_P(DftiLayouts, ForwardInPlace) {
    Descriptor d(GetParam().lengths);
    ASSERT_EQ(Configure(d, true, DFTI_INPLACE, 1.0), DFTI_NO_ERROR);
    std::vector<float> buffer = laidOut_.Buffer(kFill);
    laidOut_.StoreReal(samples_, buffer);
    ASSERT_EQ(DftiComputeForward(d.handle, buffer.data()), DFTI_NO_ERROR);
    laidOut_.ExpectSpectrum(buffer, gnr::ref::Forward(samples_), 1.0);
}

TEST_P(DftiLayouts, ForwardOutOfPlaceLeavesTheInput) {
    Descriptor d(GetParam().lengths);
    ASSERT_EQ(Configure(d, true, DFTI_NOT_INPLACE, 1.0), DFTI_NO_ERROR);
    std::vector<float> in = laidOut_.Buffer(kFill);
    laidOut_.StoreReal(samples_, in);
    const std::vector<float> before = in;
    std::vector<float> out = laidOut_.Buffer(kFill);
    ASSERT_EQ(DftiComputeForward(d.handle, in.data(), out.data()), DFTI_NO_ERROR);
    EXPECT_TRUE(gnr::test::SameBits(in, before));
    laidOut_.ExpectSpectrum(out, gnr::ref::Forward(samples_), 1.0);
}

TEST_P(DftiLayouts, ForwardScaleMultipliesTheSpectrum) {
    for (const DFTI_CONFIG_VALUE placement : {DFTI_INPLACE, DFTI_NOT_INPLACE}) {
        Descriptor d(GetParam().lengths);
        ASSERT_EQ(Configure(d, true, placement, 0.25), DFTI_NO_ERROR);
        std::vector<float> in = laidOut_.Buffer(kFill);
        std::vector<float> out = laidOut_.Buffer(kFill);
        laidOut_.StoreReal(samples_, in);
        const bool inPlace = placement == DFTI_INPLACE;
        ASSERT_EQ(inPlace ? DftiComputeForward(d.handle, in.data())
                          : DftiComputeForward(d.handle, in.data(), out.data()),
                  DFTI_NO_ERROR);
        laidOut_.ExpectSpectrum(inPlace ? in : out, gnr::ref::Forward(samples_), 0.25);
    }
}

TEST_P(DftiLayouts, BackwardInPlaceClearsRowGaps) {
    Descriptor d(GetParam().lengths);
    ASSERT_EQ(Configure(d, false, DFTI_INPLACE, 1.0), DFTI_NO_ERROR);
    std::vector<float> buffer = laidOut_.Buffer(kFill);
    const double count = static_cast<double>(samples_.values.size());
    laidOut_.StoreSpectrum(gnr::ref::Forward(ScaledBy(1 / count, samples_)), buffer);
    ASSERT_EQ(DftiComputeBackward(d.handle, buffer.data()), DFTI_NO_ERROR);
    laidOut_.ExpectReal(buffer, samples_, 1.0);
    laidOut_.ExpectClearGaps(buffer);
}

TEST_P(DftiLayouts, BackwardOutOfPlaceLeavesTheInput) {
    Descriptor d(GetParam().lengths);
    const double count = static_cast<double>(samples_.values.size());
    ASSERT_EQ(Configure(d, false, DFTI_NOT_INPLACE, 1 / count), DFTI_NO_ERROR);
    std::vector<float> in = laidOut_.Buffer(kFill);
    laidOut_.StoreSpectrum(gnr::ref::Forward(samples_), in);
    const std::vector<float> before = in;
    std::vector<float> out = laidOut_.Buffer(kFill);
    ASSERT_EQ(DftiComputeBackward(d.handle, in.data(), out.data()), DFTI_NO_ERROR);
    EXPECT_TRUE(gnr::test::SameBits(in, before));
    laidOut_.ExpectReal(out, samples_, 1.0);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, DftiLayouts,
    testing::Values(
        // One dimension, even and odd; with an offset and a gap between elements out of rows.
        Layout{{8}, {0, 1}, {0, 1}}, Layout{{9}, {0, 1}, {0, 1}}, Layout{{1}, {0, 1}, {0, 1}},
        Layout{{74}, {0, 1}, {0, 1}}, Layout{{8}, {4, 1}, {2, 1}},
        // Two dimensions, rows padded by two floats: even rows coincide, odd ones overlap.
        Layout{{5, 8}, {0, 10, 1}, {0, 5, 1}}, Layout{{5, 7}, {0, 9, 1}, {0, 4, 1}},
        Layout{{6, 9}, {0, 11, 1}, {0, 5, 1}}, Layout{{1, 9}, {0, 11, 1}, {0, 5, 1}},
        Layout{{40, 6}, {0, 8, 1}, {0, 4, 1}},
        // Three dimensions: dense padded rows, planes with room between them, an odd width.
        Layout{{3, 5, 8}, {0, 50, 10, 1}, {0, 25, 5, 1}}, Layout{{3, 4, 6}, {0, 40, 8, 1}, {0, 20, 4, 1}},
        Layout{{3, 5, 7}, {0, 45, 9, 1}, {0, 22, 4, 1}},
        Layout{{2, 35, 10}, {0, 420, 12, 1}, {0, 210, 6, 1}}));

}  // namespace
