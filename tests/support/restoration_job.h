// SPDX-License-Identifier: MIT
#pragma once

// One job for an iterative 3D core: parameters and the buffers they point at, scenes and PSFs to run it on,
// and a core that records what its quality slots are called with.

#include <gnr_deconvolution/cores.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/ref/from_volume.h"
#include "support/threads.h"
#include "support/volumes.h"

namespace gnr::test {

inline constexpr const char* kDiagnosticFile = "e:\\Images\\Deconvolution\\Simulated\\rmse.txt";

inline SRyIRect3D WholeBox(const DFT3D& s) {
    return {0, s.rowLength - 2, 0, s.rows, 0, s.planes};
}

/// visit(i, j, k) for every image sample.
template <class Visit>
void ForEachSample(const Volume& v, Visit visit) {
    for (int k = 0; k < v.z(); ++k) {
        for (int j = 0; j < v.y(); ++j) {
            for (int i = 0; i < v.x(); ++i) visit(i, j, k);
        }
    }
}

inline bool SameBytes(const Volume& a, const Volume& b) {
    return a.sizes.total == b.sizes.total &&
           std::memcmp(a.get(), b.get(), static_cast<std::size_t>(a.sizes.total) * sizeof(float)) == 0;
}

/// Equal in every image sample, bit for bit.
inline bool SameImage(const Volume& a, const Volume& b) {
    for (int k = 0; k < a.z(); ++k) {
        for (int j = 0; j < a.y(); ++j) {
            const auto bytes = static_cast<std::size_t>(a.x()) * sizeof(float);
            if (std::memcmp(&a.at(0, j, k), &b.at(0, j, k), bytes) != 0) return false;
        }
    }
    return true;
}

/// Every image sample has this value; no NaN slips through.
inline bool AllSamplesAre(const Volume& v, float value) {
    bool all = true;
    ForEachSample(v, [&](int i, int j, int k) { all = all && v.at(i, j, k) == value; });
    return all;
}

inline float LargestSample(const Volume& v) {
    float largest = 0;
    ForEachSample(v, [&](int i, int j, int k) { largest = std::max(largest, std::abs(v.at(i, j, k))); });
    return largest;
}

/// Lopsided in every axis, peak at the origin, wrapped around the edges, of the given sum. `width` above 1
/// blurs more.
inline Volume AsymmetricPsf(int x, int y, int z, double sum = 1.0, double width = 1.0) {
    Volume psf(x, y, z);
    double total = 0;
    const auto weight = [&](int i, int j, int k) {
        const double along = i < 0 ? 1.9 : 0.8;
        const double across = j < 0 ? 0.7 : 1.5;
        const double deep = k < 0 ? 1.3 : 0.9;
        return std::exp(-(along * std::abs(i) + across * std::abs(j) + deep * std::abs(k)) / width);
    };
    std::vector<double> weights(static_cast<std::size_t>(x * y * z));
    for (int k = -1; k <= 1; ++k) {
        for (int j = -1; j <= 1; ++j) {
            for (int i = -1; i <= 2; ++i) {
                const int at = (((k + z) % z) * y + (j + y) % y) * x + (i + x) % x;
                weights[static_cast<std::size_t>(at)] += weight(i, j, k);
                total += weight(i, j, k);
            }
        }
    }
    return psf.Fill([&](int i, int j, int k) {
        return weights[static_cast<std::size_t>((k * y + j) * x + i)] * sum / total;
    });
}

inline Volume ImpulsePsf(int x, int y, int z) {
    return Volume(x, y, z).Fill([](int i, int j, int k) { return i + j + k == 0 ? 1 : 0; });
}

/// Seeded background in [dark, 1.5 dark] with bright spots of heights up to `peak`.
inline Volume Scene(int x, int y, int z, float dark, float peak, unsigned seed = 11) {
    Volume scene(x, y, z);
    scene.FillRandom(seed, dark, 1.5f * dark);
    std::mt19937 engine(seed + 1);
    const int spots = 1 + x * y * z / 24;
    for (int n = 0; n < spots; ++n) {
        const auto pick = [&](int side) { return static_cast<int>(engine() % static_cast<unsigned>(side)); };
        const int i = pick(x);
        const int j = pick(y);
        const int k = pick(z);
        scene.at(i, j, k) += peak * static_cast<float>(n + 1) / static_cast<float>(spots);
    }
    return scene;
}

/// The scene as a microscope with this PSF would show it, times 1 +- noise.
inline Volume Observed(const Volume& scene, const Volume& psf, float noise = 0.0f, unsigned seed = 5) {
    const ref::PaddedVolume blurred = ref::Blur(ref::FromVolume(scene), ref::Spectrum(ref::FromVolume(psf)));
    std::mt19937 engine(seed);
    std::uniform_real_distribution<double> grain(1.0 - noise, 1.0 + noise);
    return Volume(scene.sizes).Fill([&](int i, int j, int k) { return blurred.at(i, j, k) * grain(engine); });
}

/// Parameters on the stack with their own image and PSF; the box is the whole volume.
template <class Params = CRy3DAutoDeconvRunParameters>
struct RestorationJob {
    RestorationJob(const Volume& observed, const Volume& spread) : image(observed), psf(spread) {
        params.sizes = observed.sizes;
        params.rcImage = WholeBox(observed.sizes);
        params.pfImage = image.get();
        params.pfPsf = psf.get();
    }
    RestorationJob(const RestorationJob&) = delete;
    RestorationJob& operator=(const RestorationJob&) = delete;

    CRyRefCountPtr<Params> Ptr() { return CRyRefCountPtr<Params>(&params); }

    Volume image;
    Volume psf;
    Params params;
};

/// Prepares, runs, frees; the code of the run, or of a Prepare that failed.
template <class Core, class Params>
int RunOnce(Core& core, RestorationJob<Params>& job) {
    const int prepared = core.Prepare(job.Ptr());
    if (prepared != kSuccess) return prepared;
    const int code = core.Run(job.Ptr());
    core.Free();
    return code;
}

/// A core whose quality slots record their arguments; the log slot writes no file.
template <class Core>
class QualityProbe : public Core {
  public:
    using Series = std::vector<std::pair<unsigned, double>>;
    struct Measured {
        unsigned index;
        SRyIRect3D box;
        const DFT3D* sizes;
        float scale;
        const float* image;
        const float* reference;
    };
    struct Logged {
        Series series;
        unsigned count;
    };
    using Core::Core;
    std::vector<Measured> measured;
    std::vector<Logged> logged;

  protected:
    void ComputeRMSE(Series& vQuality, unsigned uiIteration, const SRyIRect3D& rc, const DFT3D* pSizes,
                     float fScale, const float* pfImage, const float* pfReference) override {
        measured.push_back({uiIteration, rc, pSizes, fScale, pfImage, pfReference});
        Core::ComputeRMSE(vQuality, uiIteration, rc, pSizes, fScale, pfImage, pfReference);
    }
    void LogQualityVect(const Series& vQuality, unsigned uiCount) override {
        logged.push_back({vQuality, uiCount});
    }
};

/// A fresh working folder for a scope: the diagnostic file is a plain relative name here.
class TemporaryFolder {
  public:
    TemporaryFolder() : before_(std::filesystem::current_path()) {
        std::string name = (std::filesystem::temp_directory_path() / "quality-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no folder " << name;
        folder_ = name;
        std::filesystem::current_path(folder_);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::current_path(before_, ignored);
        std::filesystem::remove_all(folder_, ignored);
    }

    /// What the diagnostic file holds; nothing where there is none.
    std::optional<std::string> Diagnostic() const {
        std::ifstream file(folder_ / kDiagnosticFile, std::ios::binary);
        if (!file) return std::nullopt;
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }
    void WriteDiagnostic(const std::string& text) const {
        std::ofstream(folder_ / kDiagnosticFile, std::ios::binary) << text;
    }

  private:
    std::filesystem::path before_;
    std::filesystem::path folder_;
};

}  // namespace gnr::test
