// SPDX-License-Identifier: MIT

#include "io/tiff_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <utility>

#include "io/file_error.h"

namespace rydecon {
namespace {

constexpr const char* kWhatIsNeeded = "a TIFF stack is needed (in ImageJ: File > Save As > Tiff)";

std::string Formatted(const char* format, va_list arguments) {
    std::array<char, 512> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    return OneLine(text.data());
}

struct FreeOptions {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

}  // namespace

int TiffFile::KeepError(TIFF*, void* complaints, const char*, const char* format, va_list arguments) {
    auto& first = static_cast<Complaints*>(complaints)->error;
    if (first.empty()) first = Formatted(format, arguments);
    return 1;  // handled: libtiff prints nothing
}

int TiffFile::KeepWarning(TIFF*, void* complaints, const char*, const char* format, va_list arguments) {
    auto& first = static_cast<Complaints*>(complaints)->warning;
    if (first.empty()) first = Formatted(format, arguments);
    return 1;
}

TiffFile::TiffFile(std::filesystem::path path) : path_(std::move(path)) {
    OpenDescriptor();
    try {
        CheckSignature();
        const std::unique_ptr<TIFFOpenOptions, FreeOptions> options(TIFFOpenOptionsAlloc());
        if (!options) throw Refusal("there is not enough memory to open it; free memory");
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), KeepError, &complaints_);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), KeepWarning, &complaints_);
        // m: no memory map, which would die of a signal where another process cuts the file short.
        // c: strips stay as the file has them.
        tiff_ = TIFFFdOpenExt(descriptor_, path_.c_str(), "rmc", options.get());
        if (tiff_ == nullptr) {
            throw Refusal(error().empty() ? "the TIFF file holds no image; export it again"
                                          : "the TIFF file is damaged; copy or export it again");
        }
    } catch (...) {
        close(descriptor_);
        throw;
    }
}

TiffFile::~TiffFile() {
    TIFFClose(tiff_);
}

void TiffFile::OpenDescriptor() {
    // Without O_NONBLOCK a named pipe would be waited for.
    descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor_ < 0) throw ReadFailure(path_, errno);
    struct stat status {};
    const bool known = fstat(descriptor_, &status) == 0;
    if (known && S_ISREG(status.st_mode)) {
        size_ = static_cast<std::uint64_t>(status.st_size);
        return;
    }
    close(descriptor_);
    throw Refusal((known && S_ISDIR(status.st_mode) ? "it is a folder; " : "it is no regular file; ") +
                  std::string(kWhatIsNeeded));
}

void TiffFile::CheckSignature() const {
    if (size_ == 0) throw Refusal("the file is empty; " + std::string(kWhatIsNeeded));
    std::array<unsigned char, 4> found{};
    ReadBytes(0, std::min<std::size_t>(found.size(), size_), found.data());
    using Signature = std::array<unsigned char, 4>;
    constexpr std::array<Signature, 4> kSignatures{
        Signature{'I', 'I', 42, 0}, {'M', 'M', 0, 42}, {'I', 'I', 43, 0}, {'M', 'M', 0, 43}};
    if (std::find(kSignatures.begin(), kSignatures.end(), found) == kSignatures.end()) {
        throw Refusal("it is not a TIFF file; " + std::string(kWhatIsNeeded));
    }
}

void TiffFile::GoToDirectory(std::uint64_t offset) {
    ForgetComplaints();
    if (TIFFSetSubDirectory(tiff_, offset) == 0)
        throw Refusal("one of its directories is damaged; copy or export it again");
}

bool TiffFile::NextDirectory() {
    if (TIFFLastDirectory(tiff_) != 0) return false;
    ForgetComplaints();
    if (TIFFReadDirectory(tiff_) == 0) {
        throw Refusal("the file is truncated or damaged after page " +
                      std::to_string(TIFFCurrentDirectory(tiff_) + 1) + "; copy or export it again");
    }
    return true;
}

void TiffFile::ReadBytes(std::uint64_t offset, std::size_t count, void* out) const {
    auto* bytes = static_cast<unsigned char*>(out);
    while (count > 0) {
        const ssize_t got = pread(descriptor_, bytes, count, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw ReadFailure(path_, errno);
        if (got == 0) throw Refusal("the file is truncated; copy or export it again");
        bytes += got;
        offset += static_cast<std::uint64_t>(got);
        count -= static_cast<std::size_t>(got);
    }
}

void TiffFile::ForgetComplaints() {
    complaints_ = {};
}

UserError TiffFile::Refusal(const std::string& reason) const {
    if (error().empty()) return ReadError(path_, reason);
    // Some texts of libtiff begin with the name of the file.
    const std::string name = path_.native() + ": ";
    const std::string detail = error().starts_with(name) ? error().substr(name.size()) : error();
    return ReadError(path_, reason + " (" + detail + ")");
}

}  // namespace rydecon
