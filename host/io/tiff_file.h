// SPDX-License-Identifier: MIT
#pragma once

// A TIFF file open for reading: libtiff's handle, whose complaints are kept instead of printed.

#include <tiffio.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "report/user_error.h"

namespace rydecon {

class TiffFile {
  public:
    /// Opens the file and stands on its first directory; a UserError if that cannot be.
    explicit TiffFile(std::filesystem::path path);
    ~TiffFile();
    TiffFile(const TiffFile&) = delete;
    TiffFile& operator=(const TiffFile&) = delete;

    const std::filesystem::path& path() const { return path_; }
    TIFF* handle() const { return tiff_; }

    /// Bytes in the file.
    std::uint64_t size() const { return size_; }

    /// Stands on the directory at a byte offset of the file.
    void GoToDirectory(std::uint64_t offset);

    /// Goes on to the next directory; false behind the last one, a UserError where the chain is broken.
    bool NextDirectory();

    /// Reads `count` bytes at `offset`, all of them or a UserError.
    void ReadBytes(std::uint64_t offset, std::size_t count, void* out) const;

    /// Forgets what libtiff complained of so far.
    void ForgetComplaints();

    /// Text of the first error and of the first warning since; empty if there was none.
    const std::string& error() const { return complaints_.error; }
    const std::string& warning() const { return complaints_.warning; }

    /// The UserError "cannot read 'stack.tif': <reason>", followed by libtiff's own words if it had any.
    UserError Refusal(const std::string& reason) const;

  private:
    struct Complaints {
        std::string error;
        std::string warning;
    };
    static int KeepError(TIFF*, void* complaints, const char* module, const char* format, va_list arguments);
    static int KeepWarning(TIFF*, void* complaints, const char* module, const char* format,
                           va_list arguments);
    void OpenDescriptor();
    void CheckSignature() const;

    std::filesystem::path path_;
    Complaints complaints_;
    std::uint64_t size_ = 0;
    int descriptor_ = -1;
    TIFF* tiff_ = nullptr;
};

}  // namespace rydecon
