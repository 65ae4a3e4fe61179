// SPDX-License-Identifier: MIT

#include "simulation/output_folder.h"

#include <system_error>

#include "io/file_error.h"

namespace rydecon {

namespace fs = std::filesystem;

OutputFolder::OutputFolder(const fs::path& folder) {
    fs::path built;
    for (const auto& part : folder) {
        built /= part;
        std::error_code whyNot;
        std::error_code ignored;
        if (fs::create_directory(built, whyNot)) made_.push_back(built);
        if (fs::is_directory(built, ignored)) continue;
        Withdraw();
        throw FolderFailure(folder, whyNot);
    }
}

OutputFolder::~OutputFolder() {
    if (!kept_) Withdraw();
}

void OutputFolder::Withdraw() noexcept {
    std::error_code ignored;
    for (const auto& file : files_) fs::remove(file, ignored);
    for (; !made_.empty(); made_.pop_back()) fs::remove(made_.back(), ignored);
}

}  // namespace rydecon
