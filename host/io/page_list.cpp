// SPDX-License-Identifier: MIT
#include "io/page_list.h"

namespace rydecon {

std::string ShapeOfPage(const TiffPage& page) {
    return std::to_string(page.width) + " x " + std::to_string(page.height) + " " +
           (page.samplesPerPixel > 1 ? "colour " : "") + std::string(NameOf(page.type));
}

void RequireAlike(const TiffFile& file, const TiffPage& first, const TiffPage& page) {
    const bool alike = page.width == first.width && page.height == first.height && page.type == first.type &&
                       page.samplesPerPixel == first.samplesPerPixel && page.components == first.components;
    if (alike) return;
    throw file.Refusal("page " + std::to_string(page.number) + " is " + ShapeOfPage(page) + ", page " +
                       std::to_string(first.number) + " is " + ShapeOfPage(first) +
                       "; all planes of a stack need one size and one type: save those alone that belong "
                       "together");
}

PageList CollectPages(TiffFile& file, const FileNotes& notes, Accept accept) {
    PageList list;
    list.byteOrder = TIFFIsBigEndian(file.handle()) != 0 ? std::endian::big : std::endian::little;
    int number = 0;
    do {
        ++number;
        if (IsReducedOrMask(file)) continue;
        const TiffPage page = DescribePage(file, number, accept);
        const bool coloured = HasPseudoColours(file);
        if (list.pages.empty()) {
            list.description = ReadDescription(file);
            list.resolution = ReadResolution(file);
            list.blocks = ReadImageJBlocks(file);
            if (coloured) notes.Note("its colour table is ignored: the samples are taken as grey values");
            if (page.components < page.samplesPerPixel) {
                notes.Note("of its " + std::to_string(page.samplesPerPixel) + " samples per pixel, " +
                           std::to_string(page.components) + " are taken; the others are no colours");
            }
        } else {
            RequireAlike(file, list.first(), page);
        }
        list.pages.push_back(page);
    } while (file.NextDirectory());
    if (list.pages.empty()) {
        throw file.Refusal("the file holds only thumbnails or masks; a stack of full-size pages is needed");
    }
    return list;
}

void AddPlanesBehindFirst(const TiffFile& file, PageList& list, std::uint64_t planes) {
    const TiffPage first = list.first();
    const bool fits =
        first.run && *first.run <= file.size() && (file.size() - *first.run) / first.Bytes() >= planes;
    if (!fits) {
        throw file.Refusal("the file is truncated: it tells of " + std::to_string(planes) +
                           " planes but holds fewer; copy or export it again");
    }
    list.pages.resize(planes, first);
    for (std::size_t k = 1; k < planes; ++k) list.pages[k].run = *first.run + k * first.Bytes();
}

}  // namespace rydecon
