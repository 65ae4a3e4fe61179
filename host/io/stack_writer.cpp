// SPDX-License-Identifier: MIT

#include "io/stack_writer.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "io/content_uuid.h"
#include "io/ome_writer.h"
#include "io/temporary_file.h"
#include "io/tiff_prologue.h"

namespace rydecon {
namespace {

constexpr std::size_t kBytesAtOnce = std::size_t{1} << 22;

// Only what a file can state as a distance is stated.
VoxelSize Statable(VoxelSize voxel) {
    for (auto* distance : {&voxel.x, &voxel.y, &voxel.z}) {
        if (*distance && !(std::isfinite(**distance) && **distance > 0.0)) distance->reset();
    }
    return voxel;
}

bool IsOmeName(const std::filesystem::path& target) {
    std::string name = target.filename().string();
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return name.ends_with(".ome.tif") || name.ends_with(".ome.tiff");
}

Container ChooseContainer(const std::filesystem::path& target, const StackHeader& header,
                          const WriteOptions& options) {
    const Container wanted = options.container   ? *options.container
                             : IsOmeName(target) ? Container::Ome
                                                 : header.container;
    return wanted == Container::Ome ? Container::Ome : Container::ImageJ;
}

/// The header as of the file that is written.
StackHeader HeaderOfFile(const std::filesystem::path& target, StackHeader header,
                         const WriteOptions& options) {
    if (header.width < 1 || header.height < 1 || header.slices < 1 || header.channels < 1 ||
        header.times < 1) {
        throw std::invalid_argument("a stack without samples cannot be written");
    }
    header.voxel = Statable(header.voxel);
    header.container = ChooseContainer(target, header, options);
    header.sampleType = options.sampleType;
    header.byteOrder = std::endian::native;
    if (header.timeStep && !(std::isfinite(header.timeStep->value) && header.timeStep->value > 0.0)) {
        header.timeStep.reset();
    }
    return header;
}

WriteOptions FloatsWith(bool overwrite) {
    WriteOptions options;
    options.overwrite = overwrite;
    return options;
}

}  // namespace

struct StackWriter::Impl {
    Impl(const std::filesystem::path& target, const StackHeader& wanted, const WriteOptions& given)
        : options(given),
          header(HeaderOfFile(target, wanted, given)),
          prologue(MakePrologue(header, ChooseForm(header, given.classicLimit))),
          file(target, given.overwrite),
          isWritten(static_cast<std::size_t>(header.planes()), false),
          content(isWritten.size()) {}

    WriteOptions options;
    StackHeader header;
    std::string prologue;
    TemporaryFile file;
    std::vector<bool> isWritten;  // by place in the file
    ContentUuid content;
    int inOrder = 0;  // planes that came without a place
    ClippedSamples clipped;
    std::vector<std::byte> encoded;  // some rows as of the file
};

StackWriter::StackWriter(const std::filesystem::path& target, const StackHeader& header,
                         const WriteOptions& options)
    : impl_(std::make_unique<Impl>(target, header, options)) {
    const auto planes = static_cast<std::uint64_t>(impl_->header.planes());
    impl_->file.Reserve(impl_->prologue.size() + PlaneBytes(impl_->header) * planes);
}

StackWriter::StackWriter(const std::filesystem::path& target, const StackHeader& header, bool overwrite)
    : StackWriter(target, header, FloatsWith(overwrite)) {}

StackWriter::~StackWriter() = default;

void StackWriter::Rescale(const ValueRange& range) {
    const std::vector<bool>& isWritten = impl_->isWritten;
    if (std::find(isWritten.begin(), isWritten.end(), true) != isWritten.end()) {
        throw std::logic_error("planes of the stack have another scale");
    }
    impl_->options.rescale = range;
}

void StackWriter::WritePlane(const PlaneIndex& plane, const float* rows, std::ptrdiff_t rowStride) {
    const StackHeader& header = impl_->header;
    if (plane.z < 0 || plane.z >= header.slices || plane.c < 0 || plane.c >= header.channels || plane.t < 0 ||
        plane.t >= header.times) {
        throw std::out_of_range("plane of a stack");
    }
    std::uint64_t offset = PlaneOffset(header, plane);
    const auto place = static_cast<std::size_t>(offset / PlaneBytes(header));
    if (impl_->isWritten[place]) throw std::logic_error("a plane is written twice");
    impl_->isWritten[place] = true;
    offset += impl_->prologue.size();

    const auto width = static_cast<std::size_t>(header.width);
    const std::size_t rowBytes = width * BytesOf(header.sampleType);
    const auto rowsAtOnce = static_cast<int>(
        std::clamp<std::size_t>(kBytesAtOnce / rowBytes, 1, static_cast<std::size_t>(header.height)));
    std::vector<std::byte>& encoded = impl_->encoded;
    encoded.resize(rowBytes * static_cast<std::size_t>(rowsAtOnce));
    for (int row = 0; row < header.height; row += rowsAtOnce) {
        const int count = std::min(rowsAtOnce, header.height - row);
        for (int k = 0; k < count; ++k) {
            impl_->clipped +=
                EncodeSamples(header.sampleType, impl_->options.rescale, rows + (row + k) * rowStride, width,
                              encoded.data() + static_cast<std::size_t>(k) * rowBytes);
        }
        const std::size_t bytes = rowBytes * static_cast<std::size_t>(count);
        if (header.container == Container::Ome) impl_->content.Add(place, encoded.data(), bytes);
        impl_->file.WriteAt(offset, encoded.data(), bytes);
        offset += bytes;
    }
}

void StackWriter::WritePlane(const float* rows, std::ptrdiff_t rowStride) {
    if (impl_->inOrder == impl_->header.planes()) throw std::logic_error("more planes than the stack has");
    WritePlane(PlaneAt(impl_->header, impl_->inOrder++), rows, rowStride);
}

const ClippedSamples& StackWriter::clipped() const {
    return impl_->clipped;
}

void StackWriter::Commit() {
    const std::vector<bool>& isWritten = impl_->isWritten;
    if (std::find(isWritten.begin(), isWritten.end(), false) != isWritten.end()) {
        throw std::logic_error("planes of the stack are missing");
    }
    std::string& prologue = impl_->prologue;
    const std::size_t uuid = prologue.find(kOmeUuidPlace);
    if (uuid != std::string::npos) {
        prologue.replace(uuid, kOmeUuidPlace.size(), impl_->content.Text(prologue));
    }
    impl_->file.WriteAt(0, prologue.data(), prologue.size());
    impl_->file.Commit();
}

}  // namespace rydecon
