// SPDX-License-Identifier: MIT

#include "report/png_file.h"

#include <stdexcept>
#include <vector>

#include "io/file_error.h"
#include "io/temporary_file.h"
#include "report/png_encoding.h"

namespace rydecon {

void WritePng(const GreyPicture& picture, const std::filesystem::path& target, bool overwrite) {
    TemporaryFile file(target, overwrite);
    std::vector<unsigned char> encoded;
    try {
        encoded = EncodePng(picture);
    } catch (const std::runtime_error& failure) {
        throw WriteError(target, failure.what());
    }
    file.Write(encoded.data(), encoded.size());
    file.Commit();
}

}  // namespace rydecon
