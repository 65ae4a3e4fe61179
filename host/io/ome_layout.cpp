// SPDX-License-Identifier: MIT
// The planes of an OME-TIFF, in one file or in a set of files of one folder.

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/ome_metadata.h"
#include "io/stack_layout.h"
#include "report/counted.h"

namespace rydecon {
namespace {

namespace fs = std::filesystem;

// Folders in the name are those of the writer's machine.
fs::path NameAlone(const std::string& name) {
    return name.substr(name.find_last_of("/\\") + 1);
}

/// The description of a TIFF file, the content of any other.
std::string MetadataIn(const fs::path& path) {
    constexpr std::streamoff kMostBytes = std::streamoff{1} << 30;
    std::ifstream stream(path, std::ios::binary);
    std::array<char, 2> start{};
    stream.read(start.data(), start.size());
    const std::string_view signature(start.data(), start.size());
    if (signature == "II" || signature == "MM") return ReadDescription(TiffFile(path));
    stream.seekg(0, std::ios::end);
    const std::streamoff bytes = stream.tellg();
    if (!stream || bytes > kMostBytes) return {};
    std::string text(static_cast<std::size_t>(bytes), '\0');
    stream.seekg(0);
    stream.read(text.data(), bytes);
    return text;
}

/// The metadata of the file itself, or of the companion that it refers to.
std::optional<OmeMetadata> FindMetadata(const TiffFile& file, const std::string& description,
                                        const FileNotes& notes) {
    const auto reference = ParseOmeReference(description);
    if (!reference) return ParseOme(description, notes);
    const fs::path companion = file.path().parent_path() / NameAlone(reference->metadataFile);
    std::error_code ignored;
    if (reference->metadataFile.empty() || !fs::is_regular_file(companion, ignored)) {
        throw file.Refusal("its metadata stand in another file, and " + Quoted(companion) +
                           " is missing; put all files of the set into one folder");
    }
    auto metadata = ParseOme(MetadataIn(companion), notes);
    if (!metadata) {
        throw file.Refusal("its metadata stand in another file, and " + Quoted(companion) +
                           " holds none for it; export the set again");
    }
    metadata->uuid = reference->uuid;
    return metadata;
}

/// The files that the runs name, this one first, and to which of them each run belongs.
struct FileSet {
    std::vector<fs::path> files;
    std::vector<int> fileOfRun;
};

FileSet FindFiles(const fs::path& self, const OmeMetadata& metadata) {
    FileSet set{{self}, {}};
    // A file that holds all its planes may have been given another name.
    const bool oneName = std::all_of(metadata.runs.begin(), metadata.runs.end(), [&](const OmePlaneRun& run) {
        return run.file == metadata.runs.front().file;
    });
    std::map<fs::path, int> known{{self.filename(), 0}};
    for (const OmePlaneRun& run : metadata.runs) {
        const bool own = oneName || run.file.empty() || (!run.uuid.empty() && run.uuid == metadata.uuid);
        const fs::path name = own ? self.filename() : NameAlone(run.file);
        const auto [entry, isNew] = known.emplace(name, static_cast<int>(set.files.size()));
        if (isNew) set.files.push_back(self.parent_path() / name);
        set.fileOfRun.push_back(entry->second);
    }
    return set;
}

int CountOf(const std::vector<TiffPage>& pages) {
    return static_cast<int>(std::min<std::size_t>(pages.size(), std::numeric_limits<int>::max()));
}

/// The pages of all files; those of the first are there already.
std::vector<std::vector<TiffPage>> PagesOf(const TiffFile& file, const FileSet& set, const PageList& list,
                                           const FileNotes& notes, Accept accept) {
    std::vector<std::vector<TiffPage>> pages = {list.pages};
    for (std::size_t n = 1; n < set.files.size(); ++n) {
        std::error_code ignored;
        if (!fs::exists(set.files[n], ignored)) {
            throw file.Refusal("its planes are spread over several files, and " + Quoted(set.files[n]) +
                               " is missing; put all files of the set into one folder");
        }
        TiffFile part(set.files[n]);
        PageList more = CollectPages(part, notes, accept);
        RequireAlike(part, list.first(), more.first());
        for (TiffPage& page : more.pages) page.file = static_cast<int>(n);
        pages.push_back(std::move(more.pages));
    }
    return pages;
}

std::vector<OmePlace> NaturalPlaces(int planes) {
    std::vector<OmePlace> places(static_cast<std::size_t>(planes), OmePlace{0, 0});
    for (int k = 0; k < planes; ++k) places[static_cast<std::size_t>(k)].page = k;
    return places;
}

/// The pages in the order of the dimensions.
std::vector<TiffPage> PagesInOrder(const TiffFile& file, const OmeMetadata& metadata, int paged,
                                   const std::vector<std::vector<TiffPage>>& pages,
                                   const std::vector<int>& fileOfRun) {
    std::vector<int> pagesOfFile;
    pagesOfFile.reserve(pages.size());
    for (const auto& of : pages) pagesOfFile.push_back(CountOf(of));
    std::vector<OmePlace> places = PlacesOf(metadata.runs, fileOfRun, pagesOfFile, paged);
    if (places.empty()) {
        if (pages.size() > 1) {
            throw file.Refusal("its OME metadata do not tell for each of its " + std::to_string(paged) +
                               " planes in which file of the set it is; export the set again");
        }
        if (pagesOfFile.front() != paged) {
            throw file.Refusal("its OME metadata tell of " + Counted(paged, "plane") + ", but it holds " +
                               Counted(pagesOfFile.front(), "page") + "; save the whole stack in one file");
        }
        places = NaturalPlaces(paged);
    }
    std::vector<TiffPage> ordered;
    ordered.reserve(places.size());
    for (const OmePlace& place : places) {
        ordered.push_back(pages[static_cast<std::size_t>(place.file)][static_cast<std::size_t>(place.page)]);
    }
    return ordered;
}

void FillHeader(const OmeMetadata& metadata, StackHeader& header) {
    header.container = Container::Ome;
    header.voxel = metadata.voxel;
    header.voxelSource = "OME-XML";
    header.timeStep = metadata.timeStep;
    header.significantBits = metadata.significantBits;
    header.optics = metadata.optics;
    header.optics.source = "OME-XML";
    header.channel = metadata.channel;
}

}  // namespace

bool LayOutOme(const TiffFile& file, const FileNotes& notes, Accept accept, PageList& list,
               StackLayout& layout) {
    auto metadata = FindMetadata(file, list.description, notes);
    if (!metadata) return false;
    const TiffPage& first = list.first();
    if (metadata->sizeX != first.width || metadata->sizeY != first.height) {
        notes.Note("its OME metadata describe an image of another size and are ignored");
        return false;
    }
    if (metadata->images > 1) {
        throw file.Refusal("it holds " + std::to_string(metadata->images) +
                           " images; a file with one stack is needed: save one of them");
    }
    RequireAccepted(file, metadata->axes, accept);
    const auto planes = metadata->axes.Planes();
    if (!planes) {
        throw file.Refusal("its OME metadata tell of " + metadata->axes.Text() +
                           ", more planes than any file has; export it again");
    }
    if (metadata->axes.channels % first.components != 0) {
        throw file.Refusal("its OME metadata tell of " + metadata->axes.Text() + ", but its pages hold " +
                           std::to_string(first.components) + " channels each; export it again");
    }
    // The runs count pages of so many channels as the metadata say.
    if (metadata->components != first.components) metadata->runs.clear();
    const FileSet set = FindFiles(file.path(), *metadata);
    const auto pages = PagesOf(file, set, list, notes, accept);
    const int paged = *planes / first.components;
    ArrangePlanes(PagesInOrder(file, *metadata, paged, pages, set.fileOfRun), metadata->axes, metadata->order,
                  layout);
    layout.files = set.files;
    FillHeader(*metadata, layout.header);
    return true;
}

}  // namespace rydecon
