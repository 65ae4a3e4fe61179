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
        std::error_code failure;
        if (fs::create_directory(built, failure)) made_.push_back(built);
        if (fs::is_directory(built, failure)) continue;
        Withdraw();
        if (fs::exists(built, failure)) {
            throw UserError("cannot make the folder " + Quoted(folder) + ": " + Quoted(built) +
                            " is not a folder");
        }
        throw UserError("cannot make the folder " + Quoted(folder) +
                        "; choose a place that you may write to");
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
