// SPDX-License-Identifier: MIT

#include "report/png_encoding.h"

#include <png.h>

#include <stdexcept>
#include <string>

namespace rydecon {
namespace {

std::vector<unsigned char> Encode(const GreyPicture& picture, png_uint_32 format, const Palette* palette) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width());
    image.height = static_cast<png_uint_32>(picture.height());
    image.format = format;
    const void* colours = nullptr;
    if (palette != nullptr) {
        image.colormap_entries = static_cast<png_uint_32>(palette->size());
        colours = palette->data();
    }
    png_alloc_size_t bytes = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<unsigned char> encoded(bytes);
    if (png_image_write_to_memory(&image, encoded.data(), &bytes, 0, picture.pixels(), picture.width(),
                                  colours) == 0) {
        throw std::runtime_error("the picture cannot be made a PNG: " + std::string(image.message));
    }
    encoded.resize(bytes);
    return encoded;
}

}  // namespace

std::vector<unsigned char> EncodePng(const GreyPicture& picture) {
    return Encode(picture, PNG_FORMAT_GRAY, nullptr);
}

std::vector<unsigned char> EncodePng(const GreyPicture& picture, const Palette& palette) {
    return Encode(picture, PNG_FORMAT_RGB_COLORMAP, &palette);
}

}  // namespace rydecon
