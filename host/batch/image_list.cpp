// SPDX-License-Identifier: MIT
#include "batch/image_list.h"

#include <glob.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <set>
#include <string_view>
#include <system_error>

#include "io/file_error.h"
#include "record/sidecar.h"

namespace rydecon {

namespace fs = std::filesystem;

namespace {

constexpr std::array<std::string_view, 4> kSuffixes = {".tif", ".tiff", ".btf", ".png"};

bool HasReadableSuffix(const fs::path& path) {
    std::string suffix = path.extension().string();
    std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::find(kSuffixes.begin(), kSuffixes.end(), suffix) != kSuffixes.end();
}

bool IsHidden(const fs::path& path) {
    return path.filename().native().front() == '.';
}

bool IsPattern(const std::string& name) {
    return name.find_first_of("*?[") != std::string::npos;
}

bool Exists(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

bool IsFolder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

/// Sorted files that a pattern matches.
std::vector<fs::path> Matches(const std::string& pattern) {
    glob_t found{};
    const int outcome = glob(pattern.c_str(), 0, nullptr, &found);
    std::vector<fs::path> files;
    for (std::size_t n = 0; outcome == 0 && n < found.gl_pathc; ++n) {
        if (!IsFolder(found.gl_pathv[n])) files.emplace_back(found.gl_pathv[n]);
    }
    globfree(&found);
    if (files.empty()) throw ReadError(pattern, "no file matches this pattern; check it and the folder");
    return files;
}

/// The images of one folder, and of those in it where wanted.
class FolderScan {
  public:
    FolderScan(fs::path folder, bool recursive, const fs::path& except)
        : folder_(std::move(folder)), recursive_(recursive), except_(except) {
        Scan(folder_);
        std::sort(images_.begin(), images_.end());
    }

    std::vector<ListedImage> Images(const Messages& messages) const {
        if (results_ > 0) {
            messages.Note(Quoted(folder_) + ": " + std::to_string(results_) +
                          " files are results of restore, as the records beside them tell, and are left out");
        }
        if (images_.empty()) {
            throw ReadError(folder_, std::string("it is a folder without images (.tif, .tiff, .btf, .png)") +
                                         (recursive_ ? "" : "; --recursive looks into the folders in it"));
        }
        std::vector<ListedImage> listed;
        for (const fs::path& image : images_) listed.push_back({image, image.lexically_relative(folder_)});
        return listed;
    }

  private:
    void Scan(const fs::path& folder) {
        std::error_code failure;
        for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
             entry.increment(failure)) {
            const fs::path& path = entry->path();
            if (IsHidden(path)) continue;
            if (IsFolder(path)) {
                std::error_code ignored;
                const bool link = fs::is_symlink(entry->symlink_status(ignored));
                if (recursive_ && !link && !fs::equivalent(path, except_, ignored)) Scan(path);
            } else if (HasReadableSuffix(path)) {
                Take(path);
            }
        }
        if (failure) throw ReadFailure(folder, failure.value());
    }

    void Take(const fs::path& path) {
        if (ReadSidecar(path)) {
            ++results_;
        } else {
            images_.push_back(path);
        }
    }

    fs::path folder_;
    bool recursive_;
    const fs::path& except_;
    std::vector<fs::path> images_;
    int results_ = 0;
};

std::vector<ListedImage> ImagesOf(const std::string& name, bool recursive, const fs::path& except,
                                  const Messages& messages) {
    if (IsFolder(name)) return FolderScan(name, recursive, except).Images(messages);
    if (!Exists(name) && IsPattern(name)) {
        std::vector<ListedImage> listed;
        for (const fs::path& file : Matches(name)) listed.push_back({file, file.filename()});
        return listed;
    }
    if (!Exists(name)) throw ReadError(name, kNoSuchFile);
    return {{name, fs::path(name).filename()}};
}

}  // namespace

bool IsSingleImage(const std::vector<std::string>& names) {
    if (names.size() != 1 || IsFolder(names.front())) return false;
    return Exists(names.front()) || !IsPattern(names.front());
}

std::vector<ListedImage> ListImages(const std::vector<std::string>& names, bool recursive,
                                    const fs::path& except, const Messages& messages) {
    std::vector<ListedImage> images;
    std::set<fs::path> seen;
    for (const std::string& name : names) {
        for (ListedImage& image : ImagesOf(name, recursive, except, messages)) {
            std::error_code ignored;
            if (seen.insert(fs::weakly_canonical(image.path, ignored)).second) {
                images.push_back(std::move(image));
            }
        }
    }
    return images;
}

}  // namespace rydecon
