// SPDX-License-Identifier: MIT
#include "batch/batch_plan.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>
#include <system_error>

#include "io/file_error.h"
#include "record/settings_hash.h"
#include "report/similar_name.h"

namespace rydecon {

namespace fs = std::filesystem;

namespace {

/// "stack.ome.tif" with "_restored" becomes "stack_restored.ome.tif".
fs::path OutputName(const fs::path& relative, const std::string& suffix) {
    std::string ending = relative.extension().string();
    fs::path stem = relative.stem();
    if (stem.extension() == ".ome") {
        ending = ".ome" + ending;
        stem = stem.stem();
    }
    if (ending == ".png" || ending == ".PNG") ending = ".tif";
    return relative.parent_path() / (stem.string() + suffix + ending);
}

fs::path Place(const fs::path& path) {
    std::error_code ignored;
    return fs::weakly_canonical(fs::absolute(path), ignored);
}

/// What a manifest says before the rest of a message about one of its rows.
std::string Before(const BatchItem& item) {
    return item.place.empty() ? "" : item.place + ": ";
}

/// All files that an item reads.
std::vector<fs::path> InputsOf(const BatchItem& item) {
    std::vector<fs::path> inputs = {item.image};
    for (const PsfChoice& psf : PsfsOf(item.job)) {
        if (!psf.file.empty()) inputs.push_back(psf.file);
    }
    for (const fs::path& file : {item.job.truth, item.job.resume}) {
        if (!file.empty()) inputs.push_back(file);
    }
    return inputs;
}

/// All files that an item writes. A checkpoint may be one that it reads.
std::vector<fs::path> OutputsOf(const BatchItem& item) {
    std::vector<fs::path> outputs = {item.output};
    for (const fs::path& file : {item.job.psfOutput, item.job.curveOutput, item.job.report}) {
        if (!file.empty()) outputs.push_back(file);
    }
    if (!item.job.checkpoint.empty() && item.job.checkpoint != item.job.resume) {
        outputs.push_back(item.job.checkpoint);
    }
    return outputs;
}

void CheckColumns(const TextTable& table, const fs::path& manifest, const std::vector<std::string>& known) {
    const auto refuse = [&manifest](const std::string& what) {
        throw UserError(Quoted(manifest) + ": " + what, ExitCode::Usage);
    };
    std::set<std::string> seen;
    for (const std::string& column : table.columns) {
        const bool exists = column == "image" || column == "output" ||
                            std::find(known.begin(), known.end(), column) != known.end();
        if (!exists)
            refuse("unknown column '" + column + "'" + DidYouMean(column, known) + "; columns, parted by " +
                   (manifest.extension() == ".csv" ? "commas" : "tabs") +
                   ", are image, output and names of options");
        if (!seen.insert(column).second) refuse("column '" + column + "' stands there twice; give it once");
    }
    for (const char* needed : {"image", "output"}) {
        if (seen.count(needed) == 0)
            refuse("a column '" + std::string(needed) + "' is needed in its first row");
    }
    if (table.rows.empty()) refuse("it has no rows below its header; a row for each image is needed");
}

}  // namespace

std::vector<BatchItem> ItemsFor(const std::vector<ListedImage>& images, const fs::path& folder,
                                const std::string& suffix) {
    std::vector<BatchItem> items;
    for (const ListedImage& image : images) {
        BatchItem& item = items.emplace_back();
        item.image = image.path;
        item.output = folder / OutputName(image.relative, suffix);
    }
    return items;
}

std::vector<BatchItem> ItemsFor(const TextTable& table, const fs::path& manifest, const fs::path& folder,
                                const std::vector<std::string>& known) {
    CheckColumns(table, manifest, known);
    std::vector<BatchItem> items;
    for (const TableRow& row : table.rows) {
        BatchItem& item = items.emplace_back();
        item.place = PlaceIn(manifest, row.line);
        for (std::size_t n = 0; n < row.cells.size(); ++n) {
            const std::string& column = table.columns[n];
            const std::string& cell = row.cells[n];
            const bool needed = column == "image" || column == "output";
            if (needed && cell.empty()) {
                throw UserError(item.place + ": the cell of column '" + column + "' is empty",
                                ExitCode::Usage);
            }
            if (column == "image") item.image = cell;
            if (column == "output") item.output = folder / cell;
            if (!needed) item.cells.emplace_back(column, cell);
        }
    }
    return items;
}

void RequireDistinct(const std::vector<BatchItem>& items) {
    std::set<fs::path> inputs;
    for (const BatchItem& item : items) {
        for (const fs::path& input : InputsOf(item)) {
            std::error_code ignored;
            if (!fs::exists(input, ignored)) {
                throw UserError(Before(item) + ReadError(input, kNoSuchFile).what());
            }
            inputs.insert(Place(input));
        }
    }
    std::map<fs::path, const BatchItem*> outputs;
    for (const BatchItem& item : items) {
        for (const fs::path& output : OutputsOf(item)) {
            const fs::path place = Place(output);
            const auto [other, isNew] = outputs.emplace(place, &item);
            const char* const input =
                item.place.empty() ? "it is an input of this command; give another folder or a --suffix"
                                   : "it is an input of this command; give another name";
            if (inputs.count(place) > 0) throw UserError(Before(item) + WriteError(output, input).what());
            if (isNew) continue;
            const std::string both = "it would be the result of both " + Quoted(other->second->image) +
                                     " and " + Quoted(item.image) + "; give each its own";
            throw UserError(Before(item) + WriteError(output, both).what());
        }
    }
}

void MakeFolders(const std::vector<BatchItem>& items) {
    std::set<fs::path> folders;
    for (const BatchItem& item : items) folders.insert(item.output.parent_path());
    for (const fs::path& named : folders) {
        const fs::path folder = named.empty() ? fs::path(".") : named;
        std::error_code failure;
        fs::create_directories(folder, failure);
        std::error_code ignored;
        if (!fs::is_directory(folder, ignored)) throw FolderFailure(folder, failure);
        if (access(folder.c_str(), W_OK | X_OK) != 0) {
            throw WriteError(folder, "no file can be created in this folder (" + SystemReason(errno) +
                                         "); choose one that you may write to");
        }
    }
}

}  // namespace rydecon
