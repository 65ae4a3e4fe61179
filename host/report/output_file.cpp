// SPDX-License-Identifier: MIT

#include "report/output_file.h"

#include <system_error>

#include "io/file_error.h"

namespace rydecon {

void CheckOutputFile(const std::filesystem::path& output, bool overwrite,
                     const std::vector<std::filesystem::path>& inputs) {
    std::error_code ignored;
    for (const auto& input : inputs) {
        if (std::filesystem::equivalent(input, output, ignored)) {
            throw WriteError(output, "it is an input of this command; give another name");
        }
    }
    if (!overwrite && std::filesystem::is_regular_file(output, ignored)) {
        throw WriteError(output, "the file exists already; add --overwrite to replace it");
    }
}

}  // namespace rydecon
