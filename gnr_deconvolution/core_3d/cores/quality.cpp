// SPDX-License-Identifier: MIT

// Measures iterates against a known truth and writes the series to the diagnostic file.

#include <gnr_deconvolution/cores.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <memory>
#include <string>

namespace {

/// A constant of the library. Where it names no drive it is a plain file name in the working folder.
constexpr const char* kDiagnosticFile = "e:\\Images\\Deconvolution\\Simulated\\rmse.txt";

/// The text of "%lf" in the C locale, whatever locale the host has set: six decimals.
void AppendSixDecimals(std::string& text, double value) {
    char digits[512];  // the largest double has 309 digits before its point
    const auto result =
        std::to_chars(std::begin(digits), std::end(digits), value, std::chars_format::fixed, 6);
    text.append(digits, result.ptr);
}

}  // namespace

void CRyAbstract3DDeconvolutionCore::LogQualityVect(const std::vector<std::pair<unsigned, double>>& vQuality,
                                                    unsigned uiCount) {
    if (vQuality.empty()) return;

    std::string text;
    auto pair = vQuality.begin();
    for (unsigned i = 0; i < uiCount; ++i) {
        if (pair->first == i) {
            AppendSixDecimals(text, pair->second);
            if (++pair == vQuality.end()) break;
        }
        text += '\n';
    }

    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(kDiagnosticFile, "w+"),
                                                               &std::fclose);
    if (file != nullptr) std::fwrite(text.data(), 1, text.size(), file.get());
}

void CRyAbstract3DDeconvolutionCore::ComputeRMSE(std::vector<std::pair<unsigned, double>>& vQuality,
                                                 unsigned uiIteration, const SRyIRect3D& rc,
                                                 const DFT3D* pSizes, float fScale, const float* pfImage,
                                                 const float* pfReference) {
    double sum = 0.0;
    for (std::int64_t z = rc.iMinZ; z < rc.iMaxZ; ++z) {
        for (std::int64_t y = rc.iMinY; y < rc.iMaxY; ++y) {
            for (std::int64_t x = rc.iMinX; x < rc.iMaxX; ++x) {
                const std::int64_t i = pSizes->planeStride * z + pSizes->rowLength * y + x;
                const float difference = fScale * pfImage[i] - pfReference[i];
                sum += static_cast<double>(difference) * static_cast<double>(difference);
            }
        }
    }
    const double samples = (static_cast<double>(rc.iMaxY) - rc.iMinY) *
                           (static_cast<double>(rc.iMaxZ) - rc.iMinZ) *
                           (static_cast<double>(rc.iMaxX) - rc.iMinX);
    vQuality.emplace_back(uiIteration, std::sqrt(sum / samples));
}
