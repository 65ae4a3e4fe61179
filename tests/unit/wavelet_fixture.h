// SPDX-License-Identifier: MIT
#pragma once

// What the wavelet tests share: owned filters, bands in blocks of exactly the stated size, and one call for
// each form of the transforms.

#include <gtest/gtest.h>
#include <omp.h>
#include <ry_math/ry_math.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace gnr::test {

/// Down and up again: six passes of eight products each way round in T, relative to the largest sample.
template <class T>
constexpr double kReconstructionEps = 16.0 * std::numeric_limits<T>::epsilon();

template <class T>
struct FilterSet {
    std::vector<T> father, mother;

    unsigned length() const { return static_cast<unsigned>(father.size()); }

    /// The same filters with zeros behind them.
    FilterSet PaddedTo(std::size_t taps) const {
        FilterSet padded = *this;
        padded.father.resize(taps);
        padded.mother.resize(taps);
        return padded;
    }
};

template <class T>
FilterSet<T> Daubechies4() {
    FilterSet<T> filters;
    int length = 0;
    T* taps = nullptr;
    EXPECT_EQ(CRyDaubechies2DWave::GetFatherWavelet(taps, &length, 4), 0);
    filters.father.assign(taps, taps + length);
    CRyDaubechies2DWave::FreeWavelet(taps);
    EXPECT_EQ(CRyDaubechies2DWave::GetMotherWavelet(taps, &length, 4), 0);
    filters.mother.assign(taps, taps + length);
    CRyDaubechies2DWave::FreeWavelet(taps);
    return filters;
}

template <class T>
FilterSet<T> Haar() {
    const T r = static_cast<T>(std::sqrt(0.5));
    return {{r, r}, {r, -r}};
}

template <class T>
std::vector<T> RandomSamples(std::size_t count, unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<T> sample(T(-1), T(1));
    std::vector<T> samples(count);
    for (T& v : samples) v = sample(engine);
    return samples;
}

/// Sum of squares in double.
template <class T>
double Energy(const std::vector<T>& samples) {
    double sum = 0;
    for (const T v : samples) sum += static_cast<double>(v) * static_cast<double>(v);
    return sum;
}

template <class T>
double LargestDifference(const std::vector<T>& a, const std::vector<T>& b) {
    EXPECT_EQ(a.size(), b.size());
    double largest = 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        largest = std::max(largest, std::abs(static_cast<double>(a[i]) - static_cast<double>(b[i])));
    }
    return largest;
}

class Threads {
  public:
    explicit Threads(int count) : before_(omp_get_max_threads()) { omp_set_num_threads(count); }
    ~Threads() { omp_set_num_threads(before_); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

  private:
    int before_;
};

// ---- volumes
// -----------------------------------------------------------------------------------------------

struct Size3 {
    unsigned x, y, z;

    std::size_t samples() const { return std::size_t{x} * y * z; }
    Size3 Half() const { return {x / 2, y / 2, z / 2}; }
    friend bool operator==(const Size3&, const Size3&) = default;
};

inline std::ostream& operator<<(std::ostream& out, const Size3& s) {
    return out << s.x << "x" << s.y << "x" << s.z;
}

enum class Form { kAllocating, kPreallocated };

/// Blocks w0 to w5 for bands of the given size, no float more than stated.
inline std::array<std::vector<float>, 6> ScratchFor(Size3 band) {
    const std::size_t n = band.samples();
    std::array<std::vector<float>, 6> w;
    for (std::size_t i = 0; i < w.size(); ++i) w[i].assign((8 * n) >> (i / 2), 0.0f);
    return w;
}

struct VolumeBands {
    Size3 size;
    std::array<std::vector<float>, 8> b;

    friend bool operator==(const VolumeBands&, const VolumeBands&) = default;
};

inline VolumeBands Decompose(std::vector<float> volume, Size3 s, FilterSet<float> f,
                             Form form = Form::kPreallocated) {
    VolumeBands bands;
    std::array<float*, 8> p;
    for (std::size_t i = 0; i < 8; ++i) {
        bands.b[i].assign(s.Half().samples(), 0.0f);
        p[i] = bands.b[i].data();
    }
    Size3& out = bands.size;
    out = {};
    if (form == Form::kAllocating) {
        EXPECT_EQ(CRyWavelet3D::WaveletDecompositionImage8(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7],
                                                           out.x, out.y, out.z, volume.data(), s.x, s.y, s.z,
                                                           f.mother.data(), f.father.data(), f.length()),
                  0);
        return bands;
    }
    auto scratch = ScratchFor(s.Half());
    std::array<float*, 6> w;
    for (std::size_t i = 0; i < 6; ++i) w[i] = scratch[i].data();
    EXPECT_EQ(CRyWavelet3D::WaveletDecompositionImage8_Preallocated(
                  p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], w[0], w[1], w[2], w[3], w[4], w[5], out.x,
                  out.y, out.z, volume.data(), s.x, s.y, s.z, f.mother.data(), f.father.data(), f.length()),
              0);
    return bands;
}

inline std::vector<float> Reconstruct(VolumeBands bands, FilterSet<float> f,
                                      Form form = Form::kPreallocated) {
    const Size3 s = bands.size;
    std::vector<float> volume(8 * s.samples(), 0.0f);
    std::array<float*, 8> p;
    for (std::size_t i = 0; i < 8; ++i) p[i] = bands.b[i].data();
    float* out = volume.data();
    Size3 outSize{};
    if (form == Form::kAllocating) {
        EXPECT_EQ(CRyWavelet3D::WaveletReconstructionImage8(out, outSize.x, outSize.y, outSize.z, p[0], p[1],
                                                            p[2], p[3], p[4], p[5], p[6], p[7], s.x, s.y, s.z,
                                                            f.mother.data(), f.father.data(), f.length()),
                  0);
    } else {
        auto scratch = ScratchFor(s);
        std::array<float*, 6> w;
        for (std::size_t i = 0; i < 6; ++i) w[i] = scratch[i].data();
        EXPECT_EQ(
            CRyWavelet3D::WaveletReconstructionImage8_Preallocated(
                out, outSize.x, outSize.y, outSize.z, p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], w[0],
                w[1], w[2], w[3], w[4], w[5], s.x, s.y, s.z, f.mother.data(), f.father.data(), f.length()),
            0);
    }
    EXPECT_EQ(out, volume.data());
    EXPECT_EQ(outSize, (Size3{2 * s.x, 2 * s.y, 2 * s.z}));
    return volume;
}

// ---- pictures
// ----------------------------------------------------------------------------------------------

struct PictureBands {
    unsigned w = 0, h = 0;
    std::array<std::vector<double>, 4> b;

    friend bool operator==(const PictureBands&, const PictureBands&) = default;
};

inline PictureBands Decompose(std::vector<double> picture, unsigned w, unsigned h, FilterSet<double> f) {
    PictureBands bands;
    std::array<double*, 4> p;
    for (std::size_t i = 0; i < 4; ++i) {
        bands.b[i].assign(std::size_t{w / 2} * (h / 2), 0.0);
        p[i] = bands.b[i].data();
    }
    EXPECT_EQ(
        CRyWavelet2D::WaveletDecompositionImage(p[0], p[1], p[2], p[3], bands.w, bands.h, picture.data(), w,
                                                h, f.mother.data(), f.father.data(), f.length()),
        0);
    return bands;
}

inline std::vector<double> Reconstruct(PictureBands bands, FilterSet<double> f) {
    std::vector<double> picture(4 * std::size_t{bands.w} * bands.h, 0.0);
    double* out = picture.data();
    unsigned w = 0, h = 0;
    EXPECT_EQ(CRyWavelet2D::WaveletReconstructionImage(out, w, h, bands.b[0].data(), bands.b[1].data(),
                                                       bands.b[2].data(), bands.b[3].data(), bands.w, bands.h,
                                                       f.mother.data(), f.father.data(), f.length()),
              0);
    EXPECT_EQ(out, picture.data());
    EXPECT_EQ(w, 2 * bands.w);
    EXPECT_EQ(h, 2 * bands.h);
    return picture;
}

}  // namespace gnr::test
