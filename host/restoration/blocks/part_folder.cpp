// SPDX-License-Identifier: MIT
#include "restoration/blocks/part_folder.h"

#include <algorithm>
#include <cstdio>
#include <regex>
#include <system_error>
#include <vector>

#include "io/file_error.h"
#include "io/temporary_file.h"
#include "report/counted.h"

namespace rydecon {

namespace fs = std::filesystem;

namespace {

/// Names that this program gives: of pieces, and of those that a kill left half-written.
bool IsOfPiece(const fs::path& file) {
    static const std::regex name(R"(\.?volume-\d+-block-\d+\.piece(\.rydecon-[a-z0-9]{6})?)");
    return std::regex_match(file.filename().string(), name);
}

std::vector<fs::path> PieceFiles(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code failure;
    for (fs::directory_iterator at(folder, failure), end; !failure && at != end; at.increment(failure)) {
        if (IsOfPiece(at->path())) files.push_back(at->path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

fs::path FolderBeside(fs::path output) {
    output += ".parts";
    return output;
}

/// What another program put there stays, and so does the folder then.
void RemovePieces(const fs::path& folder) {
    std::error_code ignored;
    for (const fs::path& file : PieceFiles(folder)) fs::remove(file, ignored);
    if (fs::is_directory(folder, ignored)) fs::remove(folder, ignored);
}

}  // namespace

PartFolder::PartFolder(const fs::path& output, bool resume, const Messages& messages)
    : path_(FolderBeside(output)), resumes_(resume), messages_(messages) {
    const std::size_t old = PieceFiles(path_).size();
    if (resume && old == 0) {
        messages_.Note(Quoted(path_) + ": there is no piece of an earlier run; begins anew");
    }
    if (resume || old == 0) return;
    RemovePieces(path_);
    messages_.Note(Quoted(path_) + ": " + Counted(old, "piece") +
                   " of an earlier run discarded; with --resume they would have been used");
}

std::optional<Extent> PartFolder::CountsOfEarlierRun(unsigned volume) const {
    if (!resumes_) return std::nullopt;
    for (const fs::path& file : PieceFiles(path_)) {
        const auto piece = PieceReader::Open(file);
        if (piece && piece->head().volume == volume) return piece->head().counts;
    }
    return std::nullopt;
}

void PartFolder::Open() {
    opened_ = true;
    std::error_code failure;
    fs::create_directory(path_, failure);
    std::error_code ignored;
    if (!fs::is_directory(path_, ignored)) {
        const std::string reason =
            fs::exists(path_, ignored) ? "remove what has that name" : SystemReason(failure.value());
        throw WriteError(path_, "a folder for finished pieces is needed there; " + reason);
    }
    const TemporaryFile probe(FileOf({}), true);
}

bool PartFolder::Has(const PieceHead& head) {
    if (pieces_.count({head.volume, head.block}) > 0) return true;
    const fs::path file = FileOf(head);
    std::error_code ignored;
    if (!fs::exists(file, ignored)) return false;
    std::optional<PieceReader> piece = PieceReader::Open(file);
    const bool belongs = piece && piece->head() == head;
    if (belongs && piece->IsSound()) {
        Add(head, piece->end());
        return true;
    }
    messages_.Note(Quoted(file) + (piece && !belongs
                                       ? ": the piece belongs to another run (its image, PSF, settings or "
                                         "blocks differ) and is made anew"
                                       : ": the piece is damaged and is made anew"));
    fs::remove(file, ignored);
    return false;
}

PieceEnd PartFolder::EndOf(const PieceHead& head) const {
    return pieces_.at({head.volume, head.block});
}

PieceReader PartFolder::Read(const PieceHead& head) const {
    std::optional<PieceReader> piece = PieceReader::Open(FileOf(head));
    if (!piece)
        throw ReadError(FileOf(head), "the piece was damaged while the program ran; --resume makes it anew");
    return std::move(*piece);
}

std::size_t PartFolder::FinishedPieces() const {
    const std::vector<fs::path> files = PieceFiles(path_);
    return static_cast<std::size_t>(std::count_if(files.begin(), files.end(), [](const fs::path& file) {
        return file.filename().native().front() != '.';
    }));
}

std::string PartFolder::WhatIsLeft() const {
    const std::size_t pieces = FinishedPieces();
    if (pieces == 0) return "nothing was written";
    return Counted(pieces, "piece") + (pieces == 1 ? " stays in " : " stay in ") + Quoted(path_) +
           ", and the same command with --resume goes on from there";
}

void PartFolder::Fail(const UserError& failure) {
    if (!opened_) throw failure;
    const std::string left = WhatIsLeft();
    const bool pieces = FinishedPieces() > 0;
    if (!pieces) Remove();
    if (failure.code() == ExitCode::Stopped) throw UserError("stopped; " + left, ExitCode::Stopped);
    if (!pieces) throw failure;
    throw UserError(std::string(failure.what()) + "; " + left, failure.code());
}

void PartFolder::Remove() {
    RemovePieces(path_);
    pieces_.clear();
}

fs::path PartFolder::FileOf(const PieceHead& head) const {
    char name[64];
    std::snprintf(name, sizeof name, "volume-%04u-block-%05u.piece", head.volume, head.block);
    return path_ / name;
}

}  // namespace rydecon
