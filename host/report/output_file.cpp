// SPDX-License-Identifier: MIT

#include "report/output_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <string_view>
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

void RequireTiffName(const std::filesystem::path& output) {
    constexpr std::array<std::string_view, 5> kOthers = {".png", ".jpg", ".jpeg", ".gif", ".bmp"};
    std::string ending = output.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    if (std::find(kOthers.begin(), kOthers.end(), ending) == kOthers.end()) return;
    throw UserError("the output is a TIFF: " + Quoted(output) + " needs a name that ends in .tif",
                    ExitCode::Usage);
}

}  // namespace rydecon
