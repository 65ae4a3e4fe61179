// SPDX-License-Identifier: MIT
#pragma once

// The folder beside an output in which a long restoration keeps its finished pieces, so that a run that was
// stopped or killed goes on with those that are missing.

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "report/messages.h"
#include "report/user_error.h"
#include "restoration/blocks/piece_file.h"

namespace rydecon {

class PartFolder {
  public:
    /// The folder OUT.tif.parts of an output. Without `resume` pieces of an earlier run are discarded, with a
    /// note; a folder that holds nothing else goes with them. With it a note tells where there are none.
    PartFolder(const std::filesystem::path& output, bool resume, const Messages& messages);

    const std::filesystem::path& path() const { return path_; }

    /// Whether the run goes on with pieces of an earlier one.
    bool resumes() const { return resumes_; }

    /// The blocks along the axes into which an earlier run had cut a volume, where a piece of it tells.
    std::optional<Extent> CountsOfEarlierRun(unsigned volume) const;

    /// Makes the folder if it is missing. UserError where no piece can be written into it.
    void Open();

    /// Whether the folder has the piece. One that is damaged, or of another identity, is removed and told of.
    /// Reads all of it, the first time.
    bool Has(const PieceHead& head);

    /// How the run of a piece ended that the folder has.
    PieceEnd EndOf(const PieceHead& head) const;

    /// For a piece that the folder is to have.
    std::unique_ptr<PieceWriter> Write(const PieceHead& head) const {
        return std::make_unique<PieceWriter>(FileOf(head), head);
    }

    /// A piece that has been committed.
    PieceReader Read(const PieceHead& head) const;

    /// Remembers a piece that has been committed.
    void Add(const PieceHead& head, const PieceEnd& end) { pieces_[{head.volume, head.block}] = end; }

    /// "3 pieces stay in 'out.tif.parts', and the same command with --resume goes on from there", or that nothing
    /// was written. Pieces of an earlier run that this one has not come to yet count.
    std::string WhatIsLeft() const;

    /// Throws the failure, with what is left for a later run; a folder without pieces is removed. Of a folder that
    /// was never opened nothing is told.
    [[noreturn]] void Fail(const UserError& failure);

    /// Removes the pieces, and the folder where it is empty then.
    void Remove();

  private:
    std::filesystem::path FileOf(const PieceHead& head) const;
    std::size_t FinishedPieces() const;

    std::filesystem::path path_;
    bool resumes_;
    bool opened_ = false;
    const Messages& messages_;
    std::map<std::pair<unsigned, unsigned>, PieceEnd> pieces_;
};

}  // namespace rydecon
