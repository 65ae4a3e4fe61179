// SPDX-License-Identifier: MIT
#pragma once

// Pictures with memory of their own, whose rows may lie further apart than their samples need, and frames.

#include <ry_picture/ry_picture.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace gnr::test {

using Frame = std::vector<float>;

/// Fills the gap between rows and everything that a test expects to stay.
inline constexpr unsigned char kSentinelByte = 0xa5;

/// Integer picture; sample (x, y) of component k. `gap` bytes lie between rows, even for two-byte samples.
class IntegerPicture {
  public:
    using Record = SRyPicBuf;

    IntegerPicture(unsigned w, unsigned h, unsigned bits = 8, unsigned gap = 0, unsigned components = 1)
        : bytesPerSample_(bits == 8 ? 1 : 2) {
        const unsigned pitch = w * components * bytesPerSample_ + gap;
        bytes_.assign(std::size_t{pitch} * h, kSentinelByte);
        record_ = {w, h, pitch, static_cast<std::uint8_t>(bits), components, bytes_.size(), bytes_.data()};
    }
    IntegerPicture(const IntegerPicture&) = delete;
    IntegerPicture& operator=(const IntegerPicture&) = delete;

    unsigned Get(unsigned x, unsigned y, unsigned k = 0) const {
        std::uint16_t v = 0;
        std::memcpy(&v, At(x, y, k), bytesPerSample_);
        return v;
    }
    void Set(unsigned x, unsigned y, double value, unsigned k = 0) {
        const auto v = static_cast<std::uint16_t>(value);
        std::memcpy(const_cast<unsigned char*>(At(x, y, k)), &v, bytesPerSample_);
    }
    template <class F>
    void Fill(F f) {
        for (unsigned y = 0; y < record_.uiHeight; ++y) {
            for (unsigned x = 0; x < record_.uiWidth; ++x) Set(x, y, f(x, y));
        }
    }
    Record* operator&() { return &record_; }
    Record& record() { return record_; }
    /// All bytes, gaps included.
    const std::vector<unsigned char>& Bytes() const { return bytes_; }
    unsigned Greatest() const { return bytesPerSample_ == 1 ? 255 : (1u << record_.ucBits) - 1; }

  private:
    const unsigned char* At(unsigned x, unsigned y, unsigned k) const {
        return bytes_.data() + std::size_t{y} * record_.uiPitch +
               (std::size_t{x} * record_.uiComponents + k) * bytesPerSample_;
    }

    unsigned bytesPerSample_;
    std::vector<unsigned char> bytes_;
    Record record_;
};

/// Float picture; fresh samples hold a number that no restoration gives.
class FloatPicture {
  public:
    using Record = SRyFloatPicBuf;
    static constexpr float kSentinel = -12345.5f;

    FloatPicture(unsigned w, unsigned h, unsigned components = 1)
        : samples_(std::size_t{w} * h * components, kSentinel), record_{77, w,          h,
                                                                        88, components, samples_.data()} {}
    FloatPicture(const FloatPicture&) = delete;
    FloatPicture& operator=(const FloatPicture&) = delete;

    float Get(unsigned x, unsigned y) const { return samples_[std::size_t{y} * record_.uiWidth + x]; }
    void Set(unsigned x, unsigned y, double value) {
        samples_[std::size_t{y} * record_.uiWidth + x] = static_cast<float>(value);
    }
    template <class F>
    void Fill(F f) {
        for (unsigned y = 0; y < record_.uiHeight; ++y) {
            for (unsigned x = 0; x < record_.uiWidth; ++x) Set(x, y, f(x, y));
        }
    }
    Record* operator&() { return &record_; }
    Record& record() { return record_; }
    const std::vector<float>& Samples() const { return samples_; }

  private:
    std::vector<float> samples_;
    Record record_;
};

/// A picture with structure at several scales and no symmetry, between 10 and 240.
inline double Scene(unsigned x, unsigned y) {
    const double bump = 90.0 * std::exp(-0.02 * ((x - 11.0) * (x - 11.0) + (y - 17.0) * (y - 17.0)));
    const double wave = 30.0 * std::sin(0.35 * x + 0.12 * y) * std::cos(0.05 * x * (y % 7));
    return std::floor(70.0 + bump + wave + ((x * 7 + y * 13) % 10 == 0 ? 35.0 : 0.0));
}

/// A lopsided PSF of n by n samples and unit sum, its peak at (n / 2, n / 2).
inline std::vector<float> LopsidedPsf(unsigned n) {
    std::vector<double> values(std::size_t{n} * n);
    double sum = 0.0;
    for (unsigned y = 0; y < n; ++y) {
        for (unsigned x = 0; x < n; ++x) {
            const double dx = static_cast<double>(x) - n / 2;
            const double dy = static_cast<double>(y) - n / 2;
            double& v = values[std::size_t{y} * n + x];
            v = std::exp(-0.3 * dx * dx - 0.2 * dy * dy - 0.1 * dx * dy) * (1.0 + 0.05 * std::tanh(dx - dy));
            sum += v;
        }
    }
    std::vector<float> psf;
    for (const double v : values) psf.push_back(static_cast<float>(v / sum));
    return psf;
}

}  // namespace gnr::test
