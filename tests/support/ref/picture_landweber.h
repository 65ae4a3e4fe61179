// SPDX-License-Identifier: MIT
#pragma once

// Landweber on the wavelet coefficients of pictures, with momentum and plain: plain loops in double, blurs as
// sums over the PSF's samples, spectra by their definition. Only what is rounded to float by rule is.

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/ref/direct_dft.h"
#include "support/ref/wavelet.h"

namespace gnr::ref::picture_landweber {

inline constexpr int kMargin = 40;
inline constexpr int kLevels = 3;

/// Rows of samples: a volume of one plane.
using Picture = RealVolume;

// ---- frames ----------------------------------------------------------------------------------------------

inline int UpTo32(int side) {
    while (side % 32 != 0) ++side;
    return side;
}

inline int UpToPowerOfTwo(int side) {
    int power = 1;
    while (power < side) power *= 2;
    return power;
}

/// The picture at (40, 40), its border pixels repeated 40 times outwards, zeros beyond.
inline Picture Framed(const Picture& picture, int W, int H) {
    Picture frame(W, H, 1);
    for (int y = 0; y < picture.ny + 2 * kMargin; ++y) {
        for (int x = 0; x < picture.nx + 2 * kMargin; ++x) {
            frame.at(x, y, 0) = picture.at(std::clamp(x - kMargin, 0, picture.nx - 1),
                                           std::clamp(y - kMargin, 0, picture.ny - 1), 0);
        }
    }
    return frame;
}

/// The PSF of n by n samples around the origin of a frame, quadrant by quadrant.
inline Picture Wrapped(const std::vector<float>& psf, int n, int W, int H) {
    Picture frame(W, H, 1);
    const int c = n / 2;
    const auto sample = [&](int y, int x) { return double{psf[static_cast<std::size_t>(y * n + x)]}; };
    const auto quadrant = [&](auto put) {
        for (int y = 0; y < c && y <= H / 2; ++y) {
            for (int x = 0; x < c && x <= W / 2; ++x) put(x, y);
        }
    };
    quadrant([&](int x, int y) { frame.at(x, y, 0) = sample(c + y, c + x); });
    quadrant([&](int x, int y) { frame.at(W - 1 - x, y, 0) = sample(c + y, c - 1 - x); });
    quadrant([&](int x, int y) { frame.at(x, H - 1 - y, 0) = sample(c - 1 - y, c + x); });
    quadrant([&](int x, int y) { frame.at(W - 1 - x, H - 1 - y, 0) = sample(c - 1 - y, c - 1 - x); });
    return frame;
}

inline Picture Cropped(const Picture& frame, int W, int H) {
    Picture out(W, H, 1);
    for (int y = 0; y < H; ++y) {
        for (int x = 0; x < W; ++x) out.at(x, y, 0) = frame.at(x, y, 0);
    }
    return out;
}

inline void PutIntoCorner(const Picture& picture, Picture& frame) {
    for (int y = 0; y < picture.ny; ++y) {
        for (int x = 0; x < picture.nx; ++x) frame.at(x, y, 0) = picture.at(x, y, 0);
    }
}

/// Circular convolution with h, or correlation.
inline Picture Blurred(const Picture& v, const Picture& h, bool correlate = false) {
    Picture out(v.nx, v.ny, 1);
    for (int b = 0; b < h.ny; ++b) {
        for (int a = 0; a < h.nx; ++a) {
            const double tap = h.at(a, b, 0);
            if (tap == 0.0) continue;
            const int dx = correlate ? h.nx - a : a;
            const int dy = correlate ? h.ny - b : b;
            for (int y = 0; y < v.ny; ++y) {
                const int toY = (y + dy) % v.ny;
                for (int x = 0; x < v.nx; ++x) out.at((x + dx) % v.nx, toY, 0) += tap * v.at(x, y, 0);
            }
        }
    }
    return out;
}

inline double InverseSum(const Picture& wrapped) {
    double sum = 0;
    for (const double v : wrapped.values) sum += v;
    return sum >= 1e-05 ? static_cast<float>(1.0 / sum) : 1.0;
}

inline double Range(const Picture& picture) {
    const auto [least, greatest] = std::minmax_element(picture.values.begin(), picture.values.end());
    return *greatest - *least;
}

// ---- pyramids --------------------------------------------------------------------------------------------

/// Bands a, b, c, d: high-pass along both axes, low-pass along x, along y, along both.
using Level = std::array<Picture, 4>;
using Levels = std::vector<Level>;

inline Level DecomposedOnce(const Picture& v) {
    using wavelet_detail::FilterDown;
    const auto band = [&](bool lowX, bool lowY) {
        return FilterDown(FilterDown(v, Axis::kX, lowX), Axis::kY, lowY);
    };
    return {band(false, false), band(true, false), band(false, true), band(true, true)};
}

inline Levels Decomposed(const Picture& v) {
    Levels levels;
    for (int l = 0; l < kLevels; ++l) {
        levels.push_back(DecomposedOnce(l == 0 ? v : levels[static_cast<std::size_t>(l) - 1][3]));
    }
    return levels;
}

inline Picture ReconstructedOnce(const Level& bands) {
    using wavelet_detail::AddFilteredUp;
    Picture out(2 * bands[0].nx, 2 * bands[0].ny, 1);
    for (unsigned b = 0; b < 4; ++b) {
        Picture alongY(bands[0].nx, out.ny, 1);
        AddFilteredUp(bands[b], Axis::kY, (b & 2) != 0, alongY);
        AddFilteredUp(alongY, Axis::kX, (b & 1) != 0, out);
    }
    return out;
}

/// Leaves what it rebuilt in the d bands above the deepest level.
inline Picture Reconstructed(Levels& levels) {
    levels[1][3] = ReconstructedOnce(levels[2]);
    levels[0][3] = ReconstructedOnce(levels[1]);
    return ReconstructedOnce(levels[0]);
}

inline double Thresholded(double v, double T) {
    if (v >= 0) return v - T <= 0 ? 0 : v - T;
    return v + T >= 0 ? 0 : v + T;
}

// ---- steps of the bands ----------------------------------------------------------------------------------

using StepTable = std::array<std::array<double, kLevels>, 4>;  ///< [band][level]

/// The band, repeated to W by H samples.
inline Picture Repeated(const Picture& band, int W, int H) {
    Picture out(W, H, 1);
    for (int y = 0; y < H; ++y) {
        for (int x = 0; x < W; ++x) out.at(x, y, 0) = band.at(x % band.nx, y % band.ny, 0);
    }
    return out;
}

inline double SpectralBound(const Picture& a, const Picture& b) {
    const int W = std::max(a.nx, b.nx);
    const int H = std::max(a.ny, b.ny);
    const ComplexVolume A = Forward(Repeated(a, W, H));
    const ComplexVolume B = Forward(Repeated(b, W, H));
    double greatest = 0;
    for (int v = 0; v < H; ++v) {
        for (int u = 0; u <= W / 2; ++u) {
            greatest = std::max(greatest, std::norm(A.at(u, v, 0) * B.at(u, v, 0)));
        }
    }
    return std::sqrt(greatest);
}

inline StepTable Steps(const std::vector<float>& psf, int n, int boundW, int boundH) {
    const Levels bands = Decomposed(Wrapped(psf, n, boundW, boundH));
    StepTable alpha{};
    for (std::size_t i = 0; i < 12; ++i) {
        double sum = 0;
        for (std::size_t j = 0; j < 12; ++j) {
            sum += SpectralBound(bands[i / 4][i % 4], bands[j / 4][j % 4]);
        }
        sum += 0.01;
        alpha[i % 4][i / 4] = sum > 0.25 ? sum : 0.25;
    }
    return alpha;
}

// ---- with momentum ---------------------------------------------------------------------------------------

struct Job {
    Picture picture;
    std::vector<float> psf;
    int psfSize;
    unsigned iterations;
};

/// What is delivered, before it is turned to samples.
inline Picture Delivered(const Job& job, Levels& cur, double invSum) {
    const Picture img = Reconstructed(cur);
    Picture out(job.picture.nx, job.picture.ny, 1);
    for (int y = 0; y < out.ny; ++y) {
        for (int x = 0; x < out.nx; ++x) {
            out.at(x, y, 0) = img.at(x + kMargin, y + kMargin, 0) * invSum;
        }
    }
    return out;
}

inline Picture Accelerated(const Job& job, int smoothing, int boundW, int boundH) {
    const int W32 = UpTo32(job.picture.nx + 80);
    const int H32 = UpTo32(job.picture.ny + 80);
    const int Wp = UpToPowerOfTwo(job.picture.nx + 80);
    const int Hp = UpToPowerOfTwo(job.picture.ny + 80);
    const Picture img = Framed(job.picture, W32, H32);
    const Picture h = Wrapped(job.psf, job.psfSize, Wp, Hp);
    const double invSum = InverseSum(Wrapped(job.psf, job.psfSize, W32, H32));
    Picture x(Wp, Hp, 1);
    PutIntoCorner(img, x);
    const Picture y = x;
    const StepTable alpha = Steps(job.psf, job.psfSize, boundW, boundH);
    const double tau = (3 * smoothing * 0.0075) * (smoothing * 1.5) * Range(img) * 0.00390625;

    Levels cur = Decomposed(img);
    double tk = 1;
    for (unsigned i = 0; i < job.iterations; ++i) {
        if (i != 0) PutIntoCorner(Reconstructed(cur), x);
        Picture r = Blurred(x, h);
        for (std::size_t n = 0; n < r.values.size(); ++n) r.values[n] = y.values[n] - r.values[n];
        const Levels grad = Decomposed(Cropped(Blurred(r, h, true), W32, H32));
        const Levels prev = cur;
        const double tNext = (std::sqrt(tk * 4 * tk + 1) + 1) * 0.5;
        const double mu = static_cast<float>((tk - 1) / tNext);
        for (std::size_t l = 0; l < 3; ++l) {
            for (std::size_t b = 0; b < 4; ++b) {
                for (std::size_t n = 0; n < cur[l][b].values.size(); ++n) {
                    double& v = cur[l][b].values[n];
                    v += 1 / alpha[b][l] * grad[l][b].values[n];
                    v = Thresholded(v, 1 / alpha[b][l] * tau);
                    if (i != job.iterations - 1) v = (v - prev[l][b].values[n]) * mu + v;
                }
            }
        }
        tk = tNext;
    }
    return Delivered(job, cur, invSum);
}

// ---- plain -----------------------------------------------------------------------------------------------

/// The Gaussian of deviation 0.8 and seven by seven samples, around the origin.
inline Picture PrefilterKernel(int W, int H) {
    std::array<double, 7> g{};
    double sum = 0;
    for (int i = -3; i <= 3; ++i) {
        sum += g[static_cast<std::size_t>(i + 3)] = std::exp(-0.5 * (i / 0.8) * (i / 0.8));
    }
    Picture kernel(W, H, 1);
    for (int j = -3; j <= 3; ++j) {
        for (int i = -3; i <= 3; ++i) {
            kernel.at((i + W) % W, (j + H) % H, 0) =
                g[static_cast<std::size_t>(i + 3)] / sum * g[static_cast<std::size_t>(j + 3)] / sum;
        }
    }
    return kernel;
}

inline Picture Prefiltered(const Picture& v) {
    Picture out = Blurred(v, PrefilterKernel(v.nx, v.ny));
    for (double& sample : out.values) sample = std::max(sample, 0.0);
    return out;
}

/// Over the place of the picture in the frame.
inline double MeanDivergence(const Picture& a, const Picture& b, const Picture& picture) {
    double sum = 0;
    for (int y = kMargin; y < picture.ny + kMargin; ++y) {
        for (int x = kMargin; x < picture.nx + kMargin; ++x) {
            const double p = a.at(x, y, 0);
            const double q = b.at(x, y, 0);
            sum += p * std::log((p + 1e-20) / (q + 1e-20)) - p + q;
        }
    }
    return sum / (picture.nx * picture.ny);
}

struct PlainResult {
    Picture picture;
    unsigned done = 0;
    double margin = 1e300;  ///< of the closest decision of the stop test
};

inline PlainResult Plain(const Job& job, double threshold, bool startsFromPrefiltered) {
    const int W32 = UpTo32(job.picture.nx + 80);
    const int H32 = UpTo32(job.picture.ny + 80);
    const int Wp = UpToPowerOfTwo(job.picture.nx + 80);
    const int Hp = UpToPowerOfTwo(job.picture.ny + 80);
    const Picture img = Framed(job.picture, W32, H32);
    const double invSum = InverseSum(Wrapped(job.psf, job.psfSize, W32, H32));
    Picture x(Wp, Hp, 1);
    PutIntoCorner(img, x);
    x = Prefiltered(x);
    const Picture h = Prefiltered(Wrapped(job.psf, job.psfSize, Wp, Hp));
    const Picture y = x;
    double q = std::pow(threshold * 3.0, 2.0);
    if (q > 60.0) q = 60.0;
    const double tau = q * 0.04 * Range(img) * 0.00390625;

    Levels cur = Decomposed(startsFromPrefiltered ? Cropped(x, W32, H32) : img);
    PlainResult result{Picture(1, 1, 1)};
    double E1 = 0;
    double before = 1;
    for (unsigned i = 0; i < job.iterations; ++i) {
        if (i != 0) {
            PutIntoCorner(Reconstructed(cur), x);
            const double E = MeanDivergence(x, y, job.picture);
            if (i == 1) {
                E1 = E;
            } else if (E != 0) {
                const double r = E1 / E;
                if (i > 4) {
                    result.margin = std::min(result.margin, std::abs(r / before - 0.998));
                    if (r > before || r / before > 0.998) i = job.iterations - 1;
                }
                before = r;
            }
        }
        Picture r = Blurred(x, h);
        for (std::size_t n = 0; n < r.values.size(); ++n) r.values[n] = y.values[n] - r.values[n];
        const Levels grad = Decomposed(Cropped(Blurred(r, h, true), W32, H32));
        for (std::size_t l = 0; l < 3; ++l) {
            for (std::size_t b = 0; b < 4; ++b) {
                for (std::size_t n = 0; n < cur[l][b].values.size(); ++n) {
                    double& v = cur[l][b].values[n];
                    v = Thresholded(v + 1.7 * grad[l][b].values[n], tau);
                }
            }
        }
        ++result.done;
    }
    result.picture = Delivered(job, cur, invSum);
    return result;
}

}  // namespace gnr::ref::picture_landweber
