// SPDX-License-Identifier: MIT
#pragma once

// Blind deconvolution of pictures, step by step: frames of floats, sums of kernels in float in the order of
// the samples, sums of frames in double, transforms by their definition in double.

#include <gnr_deconvolution/object_frame.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <functional>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

namespace gnr::ref {

/// Transforms of W by H samples, neither direction scaled.
class UnscaledDft2D {
  public:
    UnscaledDft2D(std::size_t W, std::size_t H) : W_(W), H_(H), rootsX_(Roots(W)), rootsY_(Roots(H)) {}

    std::vector<std::complex<double>> Forward(const std::vector<float>& v) const {
        return Along({v.begin(), v.end()}, false);
    }
    std::vector<float> Backward(const std::vector<std::complex<double>>& F) const {
        std::vector<float> v;
        for (const auto& sample : Along(F, true)) v.push_back(static_cast<float>(sample.real()));
        return v;
    }

  private:
    using Values = std::vector<std::complex<double>>;

    static Values Roots(std::size_t n) {
        Values roots(n);
        for (std::size_t k = 0; k < n; ++k) {
            roots[k] =
                std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(n));
        }
        return roots;
    }
    Values Along(const Values& in, bool backward) const {
        const auto add = [backward](std::complex<double>& sum, const std::complex<double>& v,
                                    const std::complex<double>& root) {
            const double im = backward ? -root.imag() : root.imag();
            sum +=
                std::complex(v.real() * root.real() - v.imag() * im, v.real() * im + v.imag() * root.real());
        };
        Values rows(in.size());
        for (std::size_t y = 0; y < H_; ++y) {
            for (std::size_t x = 0; x < W_; ++x) {
                for (std::size_t u = 0; u < W_; ++u) {
                    add(rows[y * W_ + u], in[y * W_ + x], rootsX_[u * x % W_]);
                }
            }
        }
        Values out(in.size());
        for (std::size_t v = 0; v < H_; ++v) {
            for (std::size_t y = 0; y < H_; ++y) {
                for (std::size_t u = 0; u < W_; ++u) {
                    add(out[v * W_ + u], rows[y * W_ + u], rootsY_[v * y % H_]);
                }
            }
        }
        return out;
    }

    std::size_t W_;
    std::size_t H_;
    Values rootsX_;
    Values rootsY_;
};

/// A picture as numbers.
struct BlindPicture {
    unsigned w;
    unsigned h;
    std::vector<float> samples;
    bool isFloat;
};

class Blind2D {
  public:
    using Frame = std::vector<float>;
    /// Answers the callback that is given the number of the call.
    using Answer = std::function<bool(std::size_t)>;

    Blind2D(const BlindPicture& picture, const std::vector<float>& guess, unsigned guessSize,
            Answer stops = {})
        : W_(PowerOfTwo(picture.w + 30)), H_(PowerOfTwo(picture.h + 30)), dft_(W_, H_), stops_(stops) {
        img = Frame(W_ * H_);
        for (std::size_t y = 0; y < picture.h + 30u; ++y) {
            for (std::size_t x = 0; x < picture.w + 30u; ++x) {
                const std::size_t fromX = std::min<std::size_t>(x < 15 ? 0 : x - 15, picture.w - 1);
                const std::size_t fromY = std::min<std::size_t>(y < 15 ? 0 : y - 15, picture.h - 1);
                img[y * W_ + x] = picture.samples[fromY * picture.w + fromX];
            }
        }
        LayPsf(guess, guessSize);
        const double sum = Sum(img);
        fScale = sum >= 1.0 ? static_cast<float>(sum) : 1.0f;
        for (float& v : img) v *= 1 / fScale;
        fE0 = EnergyOfImage(img);
        if (static_cast<double>(fE0) < 1e-20) fE0 = 1.0f;
        if (picture.isFloat) {
            Clip(img);
            Clip(psf);
        }
        const double sumOfPsf = Sum(psf);
        if (sumOfPsf >= 1e-15) {
            for (float& v : psf) v *= static_cast<float>(1.0 / sumOfPsf);
        }
    }

    /// All cycles and the scale at the end; the code of the call.
    int Run(float fEnergyRatio, unsigned uiBlindCycles) {
        const float fStop = fEnergyRatio / fE0;
        int code = 0;
        for (unsigned n = 0; n < uiBlindCycles; ++n) {
            if (Stopped(eProgressPoll)) break;
            const Frame y = img;
            Inner(img, psf, 10, true, fStop, y);
            if (Stopped(eProgressPoll)) {
                code = -9;
                break;
            }
            Inner(psf, img, 5, false, fStop, y);
        }
        for (float& v : img) v *= fScale;
        return code;
    }

    void Inner(Frame& x, const Frame& h, unsigned uiIterations, bool bImageStep, float fStop,
               const Frame& y) {
        const double sum = Sum(h);
        const float invSum = sum >= 1e-05 ? static_cast<float>(1.0 / sum) : 1.0f;
        const auto otf = dft_.Forward(h);
        Frame b(x.size(), 1.0f);
        Frame d = b;
        Frame e = b;
        Frame f = b;
        Frame c = x;
        float alpha = 1.0f;
        for (unsigned k = 0; k < uiIterations; ++k) {
            Clip(x);
            if (Stopped(eProgressPollBlind2D)) return;
            ++iterations;
            for (std::size_t i = 0; i < x.size(); ++i) x[i] *= std::pow(b[i], alpha);
            d = Filter(x, otf, false);
            for (std::size_t i = 0; i < x.size(); ++i) {
                b[i] = std::fabs(static_cast<double>(d[i])) <= 1e-20 ? 0.0f : y[i] / d[i];
            }
            d = Filter(b, otf, true);
            for (float& v : x) v *= d[static_cast<std::size_t>(&v - x.data())];
            for (float& v : x) v *= invSum;
            Clip(x);
            for (std::size_t i = 0; i < x.size(); ++i) {
                b[i] = static_cast<double>(c[i]) <= 1e-20 ? 1.0f : x[i] / c[i];
            }
            alpha = Alpha(x, c, e, f);
            alphas.push_back(alpha);
            c = x;
            f = e;
            e = d;
            const float v = bImageStep ? ComputeE8(x, h) : ComputeE8(h, x);
            if (!(fStop > 0)) continue;
            margin = std::min(margin, std::fabs(static_cast<double>(v) / static_cast<double>(fStop) - 1));
            if (bImageStep ? v < fStop : v > fStop) return;
        }
    }

    static float EnergyOfImage(const Frame& v) {
        const auto [s1, s2] = Sums(v);
        return std::fabs(static_cast<double>(s1)) > 1e-10 ? s2 / s1 : 1.0f;
    }
    /// Energy of b over that of a.
    static float ComputeE8(const Frame& a, const Frame& b) {
        const auto [s1a, s2a] = Sums(a);
        const auto [s1b, s2b] = Sums(b);
        if (std::fabs(static_cast<double>(s1b)) <= 1e-10 || std::fabs(static_cast<double>(s2a)) <= 1e-10) {
            return 1.0f;
        }
        return (s2b * s1a) / (s2a * s1b);
    }

    /// Sample of the picture's place, as the frame holds it.
    float At(unsigned x, unsigned y) const { return img[(std::size_t{y} + 15) * W_ + x + 15]; }

    Frame img;
    Frame psf;
    float fScale = 1.0f;
    float fE0 = 1.0f;
    unsigned iterations = 0;
    std::vector<ERyProgressPhase> phases;
    std::vector<float> alphas;
    /// How near, relatively, the energy came to its threshold.
    double margin = std::numeric_limits<double>::infinity();

  private:
    static std::size_t PowerOfTwo(unsigned least) {
        std::size_t side = 1;
        while (side < least) side *= 2;
        return side;
    }
    void LayPsf(const std::vector<float>& from, std::size_t n) {
        psf = Frame(W_ * H_);
        const std::size_t c = n / 2;
        for (const bool up : {false, true}) {
            for (const bool left : {false, true}) {
                for (std::size_t y = 0; y < c && y <= H_ / 2; ++y) {
                    for (std::size_t x = 0; x < c && x <= W_ / 2; ++x) {
                        psf[(up ? H_ - 1 - y : y) * W_ + (left ? W_ - 1 - x : x)] =
                            from[(up ? c - 1 - y : c + y) * n + (left ? c - 1 - x : c + x)];
                    }
                }
            }
        }
    }
    static double Sum(const Frame& v) {
        double sum = 0;
        for (const float sample : v) sum += sample;
        return sum;
    }
    static std::pair<float, float> Sums(const Frame& v) {
        float s1 = 0;
        float s2 = 0;
        for (const float sample : v) {
            s1 += sample;
            s2 += sample * sample;
        }
        return {s1, s2};
    }
    static void Clip(Frame& v) {
        for (float& sample : v) {
            if (sample <= 0) sample = 0;
        }
    }
    Frame Filter(const Frame& v, const std::vector<std::complex<double>>& otf, bool correlates) const {
        auto F = dft_.Forward(v);
        for (std::size_t i = 0; i < F.size(); ++i) F[i] *= correlates ? std::conj(otf[i]) : otf[i];
        return dft_.Backward(F);
    }
    static float Alpha(const Frame& x, const Frame& c, const Frame& e, const Frame& f) {
        float num = 0;
        float den = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            if (!(static_cast<double>(e[i]) > 1e-10 && static_cast<double>(f[i]) > 1e-10)) continue;
            const float p = std::log10(f[i]) * c[i];
            const float q = std::log10(e[i]);
            den = den + p * p;
            num = num + q * x[i] * p;
        }
        if (static_cast<double>(den) <= 1e-10) return 0;
        return std::clamp(num / den, 0.0f, 1.0f);
    }
    bool Stopped(ERyProgressPhase phase) {
        phases.push_back(phase);
        return stops_ && stops_(phases.size() - 1);
    }

    std::size_t W_;
    std::size_t H_;
    UnscaledDft2D dft_;
    Answer stops_;
};

}  // namespace gnr::ref
