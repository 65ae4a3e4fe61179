// SPDX-License-Identifier: MIT

#include "report/png_file.h"

#include <png.h>

#include <vector>

#include "io/file_error.h"
#include "io/temporary_file.h"

namespace rydecon {

void WritePng(const GreyPicture& picture, const std::filesystem::path& target, bool overwrite) {
    TemporaryFile file(target, overwrite);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width());
    image.height = static_cast<png_uint_32>(picture.height());
    image.format = PNG_FORMAT_GRAY;

    const auto refuse = [&] {
        return WriteError(target, "the picture cannot be made a PNG: " + std::string(image.message));
    };
    png_alloc_size_t bytes = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<unsigned char> encoded(bytes);
    if (png_image_write_to_memory(&image, encoded.data(), &bytes, 0, picture.pixels(), picture.width(),
                                  nullptr) == 0) {
        throw refuse();
    }
    file.Write(encoded.data(), bytes);
    file.Commit();
}

}  // namespace rydecon
