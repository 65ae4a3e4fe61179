// SPDX-License-Identifier: MIT
#pragma once

// A stack with structure everywhere, and a fixture that restores it whole and in blocks.

#include <cstdint>
#include <string>

#include "support/restore_scene.h"

namespace rydecon::test {

/// Bars and points of different brightness on a grey ground, blurred.
inline const Stack& BlockImage() {
    static const Stack image = [] {
        const Stack truth = MakeStack(96, 80, 36, [](int i, int j, int k) {
            const int a = (i + 3 * k) % 19;
            const int b = (j + 5 * (i / 19)) % 17;
            const int c = k % 11;
            const bool bar = a > 4 && a < 8 && b > 3 && b < 14 && c > 2 && c < 8;
            const bool point = a == 13 && b == 8 && c == 5;
            return 20.0 + (bar ? 600.0 + 3 * i : 0.0) + (point ? 4000.0 : 0.0);
        });
        return Blurred(truth, GaussianPsf());
    }();
    return image;
}

/// The number behind "name   " and in brackets in what `estimate` prints.
inline std::uint64_t BytesIn(const std::string& estimate) {
    const auto at = estimate.find(" bytes)");
    if (at == std::string::npos) return 0;
    return std::stoull(estimate.substr(estimate.rfind('(', at) + 1));
}

/// What the program itself takes: its need for a volume that is next to nothing.
inline double ProgramBytes() {
    static const double bytes = [] {
        const TemporaryFolder folder;
        const Stack tiny = MakeStack(8, 8, 8, [](int i, int j, int k) { return i + j + k; });
        WriteStack(folder.path() / "tiny.tif", tiny);
        const Words words = {"estimate", "tiny.tif", "--psf", "tiny.tif", "--method", "wiener"};
        return static_cast<double>(BytesIn(RunProgram(folder.path(), words).out));
    }();
    return bytes;
}

class BlocksTest : public RestoreTest {
  protected:
    /// What `estimate` says of in.tif and psf.tif.
    ProgramResult Forecast(const Words& more = {}) const {
        Words words = {"estimate", "in.tif", "--psf", "psf.tif"};
        words.insert(words.end(), more.begin(), more.end());
        return RunProgram(folder_.path(), words);
    }
    /// A limit with `share` of what the volumes and buffers of the whole take.
    std::string LimitFor(const Words& more, double share) const {
        const auto whole = static_cast<double>(BytesIn(Forecast(more).out));
        const double program = ProgramBytes();
        return std::to_string(static_cast<std::uint64_t>(program + share * (whole - program)));
    }
    static Words With(Words words, const Words& more) {
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
};

}  // namespace rydecon::test
