// SPDX-License-Identifier: MIT
#include "record/file_identity.h"

#include <sys/stat.h>
#include <zlib.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <vector>

#include "io/file_error.h"
#include "report/stop_request.h"

namespace rydecon {

namespace {

constexpr std::size_t kBytesAtOnce = std::size_t{1} << 20;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

std::uint32_t ChecksumOf(const std::filesystem::path& path, OnStop onStop) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr) throw ReadFailure(path, errno);
    std::vector<unsigned char> bytes(kBytesAtOnce);
    uLong checksum = crc32(0, nullptr, 0);
    while (const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), file.get())) {
        if (onStop == OnStop::Leave) LeaveIfStopRequested();
        checksum = crc32(checksum, bytes.data(), static_cast<uInt>(count));
    }
    if (std::ferror(file.get()) != 0) throw ReadFailure(path, errno);
    return static_cast<std::uint32_t>(checksum);
}

}  // namespace

std::optional<FileStamp> StampOf(const std::filesystem::path& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return FileStamp{static_cast<std::uint64_t>(status.st_size),
                     status.st_mtim.tv_sec * kNanosecondsPerSecond + status.st_mtim.tv_nsec};
}

FileIdentity IdentityOf(const std::filesystem::path& path, const std::optional<FileIdentity>& known,
                        OnStop onStop) {
    const std::optional<FileStamp> stamp = StampOf(path);
    if (!stamp) throw ReadError(path, "it is no regular file");
    if (known && known->stamp == *stamp) return *known;
    return {*stamp, ChecksumOf(path, onStop)};
}

}  // namespace rydecon
