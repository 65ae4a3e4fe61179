// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <ry_platform/files.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "path_text.h"
#include "result_codes.h"

using namespace ry_platform::detail;

namespace {

constexpr int kRead = 1;
constexpr int kWrite = 2;
constexpr int kMake = 4;

// One call of the system moves at most 2 GiB less a page; a round figure below that keeps blocks aligned.
constexpr unsigned long long kMostAtOnce = 1ULL << 30;

// -1 for a mode that means nothing. Opening a pipe must not wait for its other end.
int SystemFlags(int mode) {
    constexpr int kAlways = O_CLOEXEC | O_NONBLOCK;
    if (mode == kRead) return kAlways | O_RDONLY;
    if (mode == kWrite) return kAlways | O_WRONLY | O_NOFOLLOW;
    if (mode == (kWrite | kMake)) return kAlways | O_WRONLY | O_NOFOLLOW | O_CREAT;
    return -1;
}

bool IsRegular(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

// Repeats a counted call until `wanted` bytes are moved, it moves none, or it fails.
template <typename Move>
int MoveAll(unsigned long long wanted, unsigned long long* moved, Move move) {
    *moved = 0;
    while (*moved < wanted) {
        const ssize_t count = move(*moved, static_cast<size_t>(std::min(wanted - *moved, kMostAtOnce)));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return kRefused;
        if (count == 0) break;
        *moved += static_cast<unsigned long long>(count);
    }
    return kSuccess;
}

}  // namespace

int RY_OpenFile(const wchar_t* pPath, int iMode, int /*iUnused1*/, int /*iUnused2*/, RyFileHandle* pHandle) {
    const int flags = SystemFlags(iMode);
    if (flags < 0) return kRefused;
    const int file = ::open(BytePath(pPath).c_str(), flags, S_IRUSR | S_IWUSR);
    if (file < 0) return kRefused;
    if (!IsRegular(file) || ((iMode & kWrite) != 0 && ::ftruncate(file, 0) != 0)) {
        ::close(file);
        return kRefused;
    }
    *pHandle = file;
    return kSuccess;
}

int RY_ReadFile(RyFileHandle hFile, void* pvBytes, unsigned long long uiBytes, unsigned long long* puiRead,
                int /*iUnused*/) {
    auto* bytes = static_cast<unsigned char*>(pvBytes);
    return MoveAll(uiBytes, puiRead,
                   [&](auto done, auto count) { return ::read(hFile, bytes + done, count); });
}

int RY_WriteFile(RyFileHandle hFile, const void* pvBytes, unsigned long long uiBytes,
                 unsigned long long* puiWritten, int /*iUnused*/) {
    const auto* bytes = static_cast<const unsigned char*>(pvBytes);
    const int result = MoveAll(uiBytes, puiWritten,
                               [&](auto done, auto count) { return ::write(hFile, bytes + done, count); });
    return *puiWritten == uiBytes ? result : kRefused;
}

int RY_GetFileSize(RyFileHandle hFile, unsigned long long* puiBytes) {
    struct stat status {};
    if (::fstat(hFile, &status) != 0) return kRefused;
    *puiBytes = static_cast<unsigned long long>(status.st_size);
    return kSuccess;
}

int RY_CloseFile(RyFileHandle hFile) {
    return ::close(hFile) == 0 ? kSuccess : kRefused;
}

int RY_RemoveFile(const wchar_t* pPath, int /*iUnused*/) {
    return ::unlink(BytePath(pPath).c_str()) == 0 ? kSuccess : kRefused;
}
