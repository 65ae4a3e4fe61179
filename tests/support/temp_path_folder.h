// SPDX-License-Identifier: MIT
#pragma once

// A temporary folder of a test's own, which the process uses in place of the system's while it lives.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace gnr::test {

using FileBytes = std::vector<unsigned char>;

/// Sets an environment variable, or unsets it with null, and puts it back.
class EnvironmentValue {
  public:
    EnvironmentValue(const char* name, const char* value) : name_(name) {
        if (const char* const before = std::getenv(name)) before_ = before;
        Set(value);
    }
    EnvironmentValue(const EnvironmentValue&) = delete;
    EnvironmentValue& operator=(const EnvironmentValue&) = delete;
    ~EnvironmentValue() { Set(before_ ? before_->c_str() : nullptr); }

  private:
    void Set(const char* value) const {
        if (value == nullptr) {
            ::unsetenv(name_.c_str());
        } else {
            ::setenv(name_.c_str(), value, 1);
        }
    }

    std::string name_;
    std::optional<std::string> before_;
};

class TempPathFolder {
  public:
    TempPathFolder() : path_(Make()), as_temporary_("TMPDIR", path_.c_str()) {}
    TempPathFolder(const TempPathFolder&) = delete;
    TempPathFolder& operator=(const TempPathFolder&) = delete;
    ~TempPathFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& Path() const { return path_; }

    /// All files below it.
    std::vector<std::filesystem::path> Files() const {
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
            if (entry.is_regular_file()) files.push_back(entry.path());
        }
        return files;
    }

  private:
    static std::filesystem::path Make() {
        std::string path = (std::filesystem::temp_directory_path() / "gnr-test-XXXXXX").native();
        EXPECT_NE(::mkdtemp(path.data()), nullptr);
        return path;
    }

    std::filesystem::path path_;
    EnvironmentValue as_temporary_;
};

inline FileBytes ReadWhole(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.good()) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteWhole(const std::filesystem::path& path, const FileBytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file.good()) << path;
}

}  // namespace gnr::test
