// SPDX-License-Identifier: MIT

#include "io/temporary_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "io/file_error.h"

namespace rydecon {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNoRegularFile = "it is no regular file; give another name";
constexpr int kMostLinks = 40;
constexpr std::size_t kLongestName = 200;

// Beyond a file-size limit the system sends a signal that kills, unless ignored: then the write tells.
void IgnoreFileSizeSignal() {
    static const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    static_cast<void>(previous);
}

std::optional<struct stat> StatusOf(const fs::path& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return status;
}

fs::path FolderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// The file that a chain of links names, whether it exists or not.
fs::path FollowLinks(fs::path path) {
    std::error_code failure;
    for (int k = 0; k < kMostLinks && fs::is_symlink(fs::symlink_status(path, failure)); ++k) {
        const fs::path next = fs::read_symlink(path, failure);
        if (failure) break;
        path = next.is_absolute() ? next : FolderOf(path) / next;
    }
    return path;
}

std::string RandomLetters() {
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device source;
    std::uniform_int_distribution<std::size_t> pick(0, kLetters.size() - 1);
    std::string letters(6, ' ');
    for (char& letter : letters) letter = kLetters[pick(source)];
    return letters;
}

}  // namespace

TemporaryFile::TemporaryFile(const fs::path& target, bool overwrite)
    : named_(target), target_(FollowLinks(target)), overwrite_(overwrite) {
    IgnoreFileSizeSignal();
    CheckTarget();
    CreateBesideTarget();
}

TemporaryFile::~TemporaryFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void TemporaryFile::CheckTarget() {
    if (!target_.has_filename()) throw WriteError(named_, "the name of a file is needed, not of a folder");
    // The link /dev/stdout may lead to what is no file at all.
    const auto reached = StatusOf(named_);
    if (reached && !S_ISREG(reached->st_mode) && !S_ISDIR(reached->st_mode)) {
        throw WriteError(named_, kNoRegularFile);
    }
    const fs::path folder = FolderOf(target_);
    const auto folderStatus = StatusOf(folder);
    if (!folderStatus) {
        throw WriteError(named_, "the folder " + Quoted(folder) +
                                     (errno == ENOENT ? " does not exist; create it first"
                                                      : " cannot be entered (" + SystemReason(errno) +
                                                            "); choose one that you may write to"));
    }
    if (!S_ISDIR(folderStatus->st_mode))
        throw WriteError(named_, Quoted(folder) + " is no folder; name the folder to write to");
    const auto status = StatusOf(target_);
    if (!status) {
        if (errno != ENOENT) Fail(errno);
        return;
    }
    if (S_ISDIR(status->st_mode)) throw WriteError(named_, "it is a folder; the name of a file is needed");
    if (!S_ISREG(status->st_mode)) throw WriteError(named_, kNoRegularFile);
    if (!overwrite_) {
        throw WriteError(named_, "the file exists already; give another name, or allow it to be replaced");
    }
    if (access(target_.c_str(), W_OK) != 0) {
        throw WriteError(named_, "the existing file is write-protected; give another name");
    }
    mode_ = status->st_mode & 0777;
}

void TemporaryFile::CreateBesideTarget() {
    const std::string name = target_.filename().native();
    const std::string stem = name.size() <= kLongestName ? "." + name : std::string();
    for (int attempt = 0; attempt < 100; ++attempt) {
        const fs::path candidate = FolderOf(target_) / (stem + ".rydecon-" + RandomLetters());
        descriptor_ = open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor_ >= 0) {
            temporary_ = candidate;
            return;
        }
        if (errno != EEXIST) break;
    }
    throw WriteError(named_, "no file can be created in the folder " + Quoted(FolderOf(target_)) + " (" +
                                 SystemReason(errno) + "); choose a folder that you may write to");
}

void TemporaryFile::Reserve(std::uint64_t bytes) {
    int outcome = 0;
    do {
        outcome = fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes));
    } while (outcome != 0 && errno == EINTR);
    if (outcome != 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)) Fail(errno);
}

void TemporaryFile::Write(const void* bytes, std::size_t count) {
    const auto* next = static_cast<const std::byte*>(bytes);
    while (count > 0) {
        const ssize_t written = write(descriptor_, next, count);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) Fail(errno);
        next += written;
        count -= static_cast<std::size_t>(written);
    }
}

void TemporaryFile::WriteAt(std::uint64_t offset, const void* bytes, std::size_t count) {
    const auto* next = static_cast<const std::byte*>(bytes);
    while (count > 0) {
        const ssize_t written = pwrite(descriptor_, next, count, static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) Fail(errno);
        next += written;
        offset += static_cast<std::uint64_t>(written);
        count -= static_cast<std::size_t>(written);
    }
}

void TemporaryFile::Commit() {
    if (overwrite_ && mode_ != 0666 && fchmod(descriptor_, mode_) != 0) Fail(errno);
    // Some network file systems tell only here that the disk is full.
    if (fsync(descriptor_) != 0 && errno != EINVAL && errno != ENOTSUP) Fail(errno);
    const int closing = std::exchange(descriptor_, -1);
    if (close(closing) != 0 && errno != EINTR) Fail(errno);
    Rename();
    temporary_.clear();
}

void TemporaryFile::Rename() const {
    if (!overwrite_) {
        if (renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) == 0) return;
        const bool unsupported = errno == EINVAL || errno == ENOSYS;
        if (errno == EEXIST || (unsupported && StatusOf(target_))) {
            throw WriteError(named_, "another program has created the file meanwhile; give another name");
        }
        if (!unsupported) Fail(errno);
    }
    if (rename(temporary_.c_str(), target_.c_str()) != 0) Fail(errno);
}

void TemporaryFile::Fail(int errorNumber) const {
    throw WriteFailure(named_, errorNumber);
}

}  // namespace rydecon
