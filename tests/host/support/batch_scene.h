// SPDX-License-Identifier: MIT
#pragma once

// Three small stacks and a PSF, for tests that restore several at once.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/restore_scene.h"

namespace rydecon::test {

class BatchTest : public RestoreTest {
  protected:
    void SetUp() override {
        std::filesystem::create_directory(In("in"));
        for (const char* name : {"a", "b", "c"}) WriteImage("in/" + std::string(name) + ".tif", name[0]);
        Write("psf.tif", GaussianPsf());
    }
    void WriteImage(const std::string& name, int seed, int width = 15) const {
        Write(name, MakeStack(width, 12, 7, [seed](int i, int j, int k) {
                  return 20 + (i * 7 + j * 13 + k * 5 + seed) % 31;
              }));
    }
    ProgramResult Run(const Words& words) const {
        Words all = {"restore", "--psf", "psf.tif", "--iterations", "3", "--no-auto-stop"};
        all.insert(all.end(), words.begin(), words.end());
        return RunProgram(folder_.path(), all);
    }
    /// The line of the table that begins with the image; empty where there is none.
    static std::string TableLine(const ProgramResult& result, const std::string& image) {
        const auto at = result.out.find("\n" + image + " ");
        if (at == std::string::npos) return "";
        return result.out.substr(at + 1, result.out.find('\n', at + 1) - at - 1);
    }
    static bool Tells(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }
    Words EntriesOf(const std::string& folder) const {
        Words names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(In(folder))) {
            if (!entry.is_directory()) names.push_back(entry.path().lexically_relative(In(folder)).string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
};

}  // namespace rydecon::test
