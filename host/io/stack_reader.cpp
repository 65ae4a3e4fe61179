// SPDX-License-Identifier: MIT

#include "io/stack_reader.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "io/file_error.h"
#include "io/plane_decoder.h"
#include "io/png_picture.h"
#include "io/sample_conversion.h"
#include "io/stack_layout.h"
#include "io/tiff_file.h"
#include "report/counted.h"

namespace rydecon {

struct StackReader::Impl {
    Impl(std::filesystem::path path, const Messages& messages, Accept accept)
        : file(std::make_unique<TiffFile>(std::move(path))),
          notes(file->path(), messages),
          layout(ReadStackLayout(*file, notes, accept)),
          decoder(std::make_unique<PlaneDecoder>(*file)),
          wasRead(layout.planes.size(), false),
          unread(layout.planes.size()) {}

    void TurnTo(int number);
    void KeepAccount(std::size_t plane, const ConversionLoss& loss);

    // Of a set one file at a time is open.
    std::unique_ptr<TiffFile> file;
    int openFile = 0;
    FileNotes notes;
    StackLayout layout;
    std::unique_ptr<PlaneDecoder> decoder;
    std::vector<bool> wasRead;
    std::size_t unread;
    std::size_t inexact = 0;
    bool warned = false;
};

void StackReader::Impl::TurnTo(int number) {
    if (number == openFile) return;
    auto next = std::make_unique<TiffFile>(layout.files[static_cast<std::size_t>(number)]);
    decoder = std::make_unique<PlaneDecoder>(*next);
    file = std::move(next);
    openFile = number;
}

// Each plane counts once, however often it is read; the note comes with the last one.
void StackReader::Impl::KeepAccount(std::size_t plane, const ConversionLoss& loss) {
    if (!warned && !file->warning().empty()) {
        notes.Note("page " + std::to_string(layout.planes[plane].number) + ": " + file->warning());
        warned = true;
    }
    if (wasRead[plane]) return;
    wasRead[plane] = true;
    --unread;
    inexact += loss.inexact;
    if (unread == 0 && inexact > 0) {
        notes.Note(Counted(inexact, "sample") + " lost digits on the way from " +
                   std::string(NameOf(layout.header.sampleType)) + " to float32");
    }
}

StackReader::StackReader(std::filesystem::path path, const Messages& messages, Accept accept) {
    if (IsPng(path)) {
        picture_ = std::make_unique<PngPicture>(path, accept);
    } else {
        impl_ = std::make_unique<Impl>(std::move(path), messages, accept);
    }
}

StackReader::~StackReader() = default;

const StackHeader& StackReader::header() const {
    return picture_ ? picture_->header() : impl_->layout.header;
}

void StackReader::ReadPlane(const PlaneIndex& plane, float* rows, std::ptrdiff_t rowStride) {
    const auto& [z, c, t] = plane;
    const StackHeader& shape = header();
    if (z < 0 || z >= shape.slices || c < 0 || c >= shape.channels || t < 0 || t >= shape.times) {
        throw std::out_of_range("plane of a stack");
    }
    ReadPlane((t * shape.channels + c) * shape.slices + z, rows, rowStride);
}

void StackReader::ReadPlane(int k, float* rows, std::ptrdiff_t rowStride) {
    if (k < 0 || k >= header().planes()) throw std::out_of_range("plane of a stack");
    if (picture_) {
        picture_->ReadChannel(k, rows, rowStride);
        return;
    }
    const auto index = static_cast<std::size_t>(k);
    impl_->TurnTo(impl_->layout.planes[index].file);
    impl_->file->ForgetComplaints();
    const ConversionLoss loss = impl_->decoder->Decode(impl_->layout.planes[index], rows, rowStride);
    if (loss.tooLarge > 0) {
        throw impl_->file->Refusal(Counted(loss.tooLarge, "sample") + " of plane " + std::to_string(k + 1) +
                                   " " + IsOrAre(loss.tooLarge) +
                                   " beyond the range of float32 (3.4e38); divide the stack by a constant");
    }
    impl_->KeepAccount(index, loss);
}

}  // namespace rydecon
