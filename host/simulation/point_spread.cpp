// SPDX-License-Identifier: MIT

#include "simulation/point_spread.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "io/file_error.h"
#include "io/sample_words.h"
#include "report/user_error.h"

namespace rydecon {
namespace {

constexpr double kReachInSigmas = 4.0;
constexpr double kFarthestReach = 1.0e6;  // samples; no stack is that large

/// Samples of exp(-d^2 / 2 sigma^2) about the middle one.
std::vector<double> GaussianProfile(double sigma, double pitch) {
    const int reach = static_cast<int>(std::min(std::ceil(kReachInSigmas * sigma / pitch), kFarthestReach));
    std::vector<double> profile(2 * static_cast<std::size_t>(reach) + 1, 1.0);
    for (std::size_t n = 0; n < profile.size() && reach > 0; ++n) {
        const double distance = (static_cast<double>(n) - reach) * pitch / sigma;
        profile[n] = std::exp(-0.5 * distance * distance);
    }
    return profile;
}

int Side(const std::vector<double>& profile) {
    return static_cast<int>(profile.size());
}

/// Calls visit(i, j, k, sample) for every sample.
template <class Visit>
void ForEachSample(const SampleBox& box, Visit visit) {
    for (int k = 0; k < box.size().z; ++k) {
        for (int j = 0; j < box.size().y; ++j) {
            const float* const row = box.Row(j, k);
            for (int i = 0; i < box.size().x; ++i) visit(i, j, k, row[i]);
        }
    }
}

struct Finding {
    Extent brightest;
    float largest = -std::numeric_limits<float>::infinity();
    long long negative = 0;
    long long nonFinite = 0;
};

Finding Inspect(const SampleBox& box) {
    Finding finding;
    ForEachSample(box, [&](int i, int j, int k, float sample) {
        if (!std::isfinite(sample)) {
            ++finding.nonFinite;
            return;
        }
        if (sample < 0.0f) ++finding.negative;
        if (sample <= finding.largest) return;
        finding.largest = sample;
        finding.brightest = {i, j, k};
    });
    return finding;
}

}  // namespace

SampleBox GaussianPointSpread(const Pitch& sigma, const Pitch& pitch) {
    const auto alongX = GaussianProfile(sigma.x, pitch.x);
    const auto alongY = GaussianProfile(sigma.y, pitch.y);
    const auto alongZ = GaussianProfile(sigma.z, pitch.z);
    SampleBox box({Side(alongX), Side(alongY), Side(alongZ)});
    auto sample = box.samples().begin();
    for (const double z : alongZ) {
        for (const double y : alongY) {
            for (const double x : alongX) *sample++ = static_cast<float>(x * y * z);
        }
    }
    NormalizeSum(box);
    return box;
}

SampleBox CentredPointSpread(const SampleBox& samples, const std::filesystem::path& origin,
                             const Messages& messages) {
    const Finding finding = Inspect(samples);
    if (finding.nonFinite > 0) {
        throw ReadError(origin, NonFiniteReason(finding.nonFinite, " of the PSF"));
    }
    if (!(finding.largest > 0.0f)) {
        throw ReadError(origin, kNoPositiveSum);
    }
    if (finding.negative > 0) {
        messages.Note(Quoted(origin) + ": " + NegativeNote(finding.negative, " of the PSF"));
    }

    const Extent& middle = finding.brightest;
    Extent reach;
    ForEachSample(samples, [&](int i, int j, int k, float sample) {
        if (!(sample > 0.0f)) return;
        reach = {std::max(reach.x, std::abs(i - middle.x)), std::max(reach.y, std::abs(j - middle.y)),
                 std::max(reach.z, std::abs(k - middle.z))};
    });
    SampleBox centred({2 * reach.x + 1, 2 * reach.y + 1, 2 * reach.z + 1});
    ForEachSample(samples, [&](int i, int j, int k, float sample) {
        if (!(sample > 0.0f)) return;
        centred.At(i - middle.x + reach.x, j - middle.y + reach.y, k - middle.z + reach.z) = sample;
    });
    NormalizeSum(centred);
    return centred;
}

void NormalizeSum(SampleBox& box) {
    auto& samples = box.samples();
    const double sum = std::accumulate(samples.begin(), samples.end(), 0.0);
    for (float& sample : samples) sample = static_cast<float>(sample / sum);
}

}  // namespace rydecon
