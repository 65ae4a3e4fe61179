// SPDX-License-Identifier: MIT
#include <ry_platform/folders.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "path_text.h"
#include "result_codes.h"

using namespace ry_platform::detail;

namespace {

constexpr const char* kUsualFolder = "/tmp";

// Relative paths would move with the working folder.
std::string TemporaryFolder() {
    const char* told = std::getenv("TMPDIR");
    std::error_code refused;
    std::string folder =
        std::filesystem::absolute(told == nullptr || *told == '\0' ? kUsualFolder : told, refused).native();
    if (refused) folder = kUsualFolder;
    if (folder.back() != '/') folder += '/';
    return folder;
}

// Copies text and terminator into a buffer that holds them.
bool CopyText(const std::wstring& text, wchar_t* buffer, unsigned characters) {
    if (text.size() >= characters) return false;
    *std::copy(text.begin(), text.end(), buffer) = L'\0';
    return true;
}

}  // namespace

unsigned RY_GetTempPath(unsigned uiCharacters, wchar_t* pBuffer) {
    const std::wstring folder = WidePath(TemporaryFolder());
    return CopyText(folder, pBuffer, uiCharacters) ? static_cast<unsigned>(folder.size()) : 0;
}

int RY_CreateDirectory(const wchar_t* pPath, int /*iUnused1*/, int /*iUnused2*/) {
    const std::string path = BytePath(pPath);
    if (::mkdir(path.c_str(), S_IRWXU) != 0) return kRefused;
    // The process's mask would narrow what mkdir is given.
    return ::chmod(path.c_str(), S_IRWXU | S_IRWXG | S_IRWXO | S_ISVTX) == 0 ? kSuccess : kRefused;
}

int RY_GetTempFileName(const wchar_t* pFolder, const wchar_t* pPrefix, unsigned /*uiUnused*/,
                       wchar_t* pBuffer, unsigned uiCharacters) {
    constexpr const char* kEnding = ".tmp";
    std::string path = BytePath(pFolder) + BytePath(pPrefix) + "XXXXXX" + kEnding;
    const int file = ::mkostemps(path.data(), static_cast<int>(std::char_traits<char>::length(kEnding)), 0);
    if (file < 0) return kRefused;
    ::close(file);
    if (CopyText(WidePath(path), pBuffer, uiCharacters)) return kSuccess;
    ::unlink(path.c_str());
    return kRefused;
}
