// SPDX-License-Identifier: MIT
#include "io/png_picture.h"

#include <png.h>

#include <array>
#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "io/file_error.h"
#include "io/sample_conversion.h"

namespace rydecon {
namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// One file being decoded. libpng leaves a damaged one by a jump, which passes over no object that has a
/// destructor: the steps below keep none.
class Decoder {
  public:
    explicit Decoder(std::FILE* file) {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, &Decoder::KeepError, &Decoder::Ignore);
        if (png_ != nullptr) info_ = png_create_info_struct(png_);
        file_ = file;
    }
    ~Decoder() { png_destroy_read_struct(&png_, &info_, nullptr); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    bool ReadInfo() {
        if (info_ == nullptr) return false;
        if (setjmp(png_jmpbuf(png_)) != 0) return false;
        png_init_io(png_, file_);
        png_read_info(png_, info_);
        png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        return true;
    }
    bool ReadRows(png_byte** rows) {
        if (setjmp(png_jmpbuf(png_)) != 0) return false;
        png_read_image(png_, rows);
        png_read_end(png_, nullptr);
        return true;
    }

    png_uint_32 width() const { return png_get_image_width(png_, info_); }
    png_uint_32 height() const { return png_get_image_height(png_, info_); }
    int bits() const { return png_get_bit_depth(png_, info_); }
    int colourType() const { return png_get_color_type(png_, info_); }
    std::size_t rowBytes() const { return png_get_rowbytes(png_, info_); }
    std::string error() const { return OneLine(error_.data()); }

  private:
    [[noreturn]] static void KeepError(png_struct* png, const char* text) {
        auto* const self = static_cast<Decoder*>(png_get_error_ptr(png));
        std::snprintf(self->error_.data(), self->error_.size(), "%s", text);
        png_longjmp(png, 1);
    }
    static void Ignore(png_struct*, const char*) {}

    png_struct* png_ = nullptr;
    png_info* info_ = nullptr;
    std::FILE* file_ = nullptr;
    std::array<char, 128> error_{};
};

/// "8-bit colours with transparency"
std::string KindOf(const Decoder& decoder) {
    const int type = decoder.colourType();
    const bool palette = (type & PNG_COLOR_MASK_PALETTE) != 0;
    const bool colour = (type & PNG_COLOR_MASK_COLOR) != 0;
    return std::to_string(decoder.bits()) + "-bit " +
           (palette  ? "palette colours"
            : colour ? "colours"
                     : "grey") +
           ((type & PNG_COLOR_MASK_ALPHA) != 0 ? " with transparency" : "");
}

int ChannelsOf(const Decoder& decoder, const std::filesystem::path& path, Accept accept) {
    const bool wide = decoder.bits() == 8 || decoder.bits() == 16;
    const int type = decoder.colourType();
    if (wide && type == PNG_COLOR_TYPE_GRAY) return 1;
    if (wide && type == PNG_COLOR_TYPE_RGB && accept == Accept::AnyStack) return 3;
    throw ReadError(path, "it is a PNG of " + KindOf(decoder) + "; " +
                              (accept == Accept::AnyStack ? "grey, or red, green and blue, " : "grey ") +
                              "of 8 or 16 bits without transparency is needed");
}

UserError Damaged(const std::filesystem::path& path, const Decoder& decoder) {
    return ReadError(path, "the PNG file is damaged; copy or export it again (" + decoder.error() + ")");
}

std::vector<std::byte> DecodeRows(Decoder& decoder, const std::filesystem::path& path) {
    std::vector<std::byte> bytes(decoder.rowBytes() * decoder.height());
    std::vector<png_byte*> rows;
    for (std::size_t j = 0; j < decoder.height(); ++j) {
        rows.push_back(reinterpret_cast<png_byte*>(bytes.data() + j * decoder.rowBytes()));
    }
    if (!decoder.ReadRows(rows.data())) throw Damaged(path, decoder);
    return bytes;
}

}  // namespace

bool IsPng(const std::filesystem::path& path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) return false;
    std::array<png_byte, 8> start{};
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(start.data()), start.size());
    return file && png_sig_cmp(start.data(), 0, start.size()) == 0;
}

PngPicture::PngPicture(const std::filesystem::path& path, Accept accept) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) throw ReadFailure(path, errno);
    Decoder decoder(file.get());
    if (!decoder.ReadInfo()) throw Damaged(path, decoder);
    header_.container = Container::Png;
    header_.byteOrder = std::endian::big;
    header_.channels = ChannelsOf(decoder, path, accept);
    header_.width = static_cast<int>(decoder.width());
    header_.height = static_cast<int>(decoder.height());
    const SampleType type = decoder.bits() == 8 ? SampleType::UInt8 : SampleType::UInt16;
    header_.sampleType = type;
    const std::vector<std::byte> bytes = DecodeRows(decoder, path);
    samples_.resize(bytes.size() / BytesOf(type));
    constexpr bool kSwap = std::endian::native == std::endian::little;  // the file's bytes are big-endian
    ConvertSamples(type, kSwap, bytes.data(), samples_.size(), samples_.data());
}

void PngPicture::ReadChannel(int channel, float* rows, std::ptrdiff_t rowStride) const {
    const float* from = samples_.data() + channel;
    for (int j = 0; j < header_.height; ++j) {
        for (int i = 0; i < header_.width; ++i, from += header_.channels) rows[j * rowStride + i] = *from;
    }
}

}  // namespace rydecon
