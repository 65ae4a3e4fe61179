// SPDX-License-Identifier: MIT

#include "io/file_error.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <system_error>

namespace rydecon {

namespace {

constexpr const char* kNameTooLong = "the name is too long; give a shorter one";
constexpr const char* kLinksInCircle = "its links lead back to themselves; name the file itself";

std::string ReasonNotToRead(int errorNumber) {
    switch (errorNumber) {
        case ENOENT:
            return kNoSuchFile;
        case ENOTDIR:
            return "a part of its path is no folder; check the name and the folder";
        case EACCES:
        case EPERM:
            return SystemReason(errorNumber) + "; ask its owner for the right to read it";
        case ENAMETOOLONG:
            return kNameTooLong;
        case ELOOP:
            return kLinksInCircle;
        default:
            return SystemReason(errorNumber);
    }
}

std::string ReasonNotToWrite(int errorNumber) {
    switch (errorNumber) {
        case ENOSPC:
        case EDQUOT:
            return SystemReason(errorNumber) + "; make room or write to another disk";
        case EFBIG:
            return "it would exceed the largest file allowed here (ulimit -f, or the file system's own "
                   "limit); "
                   "raise the limit or write to another disk";
        case EACCES:
        case EPERM:
        case EROFS:
            return SystemReason(errorNumber) + "; choose a place that you may write to";
        case ENAMETOOLONG:
            return kNameTooLong;
        case ELOOP:
            return kLinksInCircle;
        default:
            return SystemReason(errorNumber);
    }
}

}  // namespace

std::string OneLine(std::string_view text) {
    std::string line(text);
    const auto isControl = [](char c) {
        const auto code = static_cast<unsigned char>(c);
        return code < 0x20 || code == 0x7f;
    };
    std::replace_if(line.begin(), line.end(), isControl, ' ');
    return line;
}

std::string Quoted(const std::filesystem::path& path) {
    std::string quoted(1, '\'');
    quoted += OneLine(path.native());
    quoted += '\'';
    return quoted;
}

std::string SystemReason(int errorNumber) {
    std::string reason = std::generic_category().message(errorNumber);
    // "RFS specific error" keeps its capitals.
    const bool word = reason.size() > 1 && std::islower(static_cast<unsigned char>(reason[1])) != 0;
    if (word) reason[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(reason[0])));
    return reason;
}

UserError ReadError(const std::filesystem::path& path, const std::string& reason) {
    return UserError("cannot read " + Quoted(path) + ": " + OneLine(reason));
}

UserError WriteError(const std::filesystem::path& path, const std::string& reason) {
    return UserError("cannot write " + Quoted(path) + ": " + OneLine(reason));
}

UserError ReadFailure(const std::filesystem::path& path, int errorNumber) {
    return ReadError(path, ReasonNotToRead(errorNumber));
}

UserError WriteFailure(const std::filesystem::path& path, int errorNumber) {
    return WriteError(path, ReasonNotToWrite(errorNumber));
}

UserError FolderFailure(const std::filesystem::path& folder, const std::error_code& failure) {
    const std::string what = "cannot make the folder " + Quoted(folder) + ": ";
    std::error_code ignored;
    for (std::filesystem::path part = folder; part.has_relative_path(); part = part.parent_path()) {
        if (!std::filesystem::exists(part, ignored)) continue;
        if (std::filesystem::is_directory(part, ignored)) break;
        return UserError(what + Quoted(part) + " is a file; choose another place");
    }
    return UserError(what + ReasonNotToWrite(failure.value()));
}

void RequireRegularFile(const std::filesystem::path& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) throw ReadFailure(path, errno);
    if (S_ISDIR(status.st_mode)) throw ReadError(path, "it is a folder; the name of a file is needed");
    if (!S_ISREG(status.st_mode)) throw ReadError(path, "it is no regular file; the name of one is needed");
}

}  // namespace rydecon
