// SPDX-License-Identifier: MIT

#include "io/stack_writer.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "io/temporary_file.h"
#include "io/tiff_prologue.h"

namespace rydecon {
namespace {

constexpr std::size_t kFloatsAtOnce = std::size_t{1} << 20;

// Only what a file can state as a distance is stated.
VoxelSize Statable(VoxelSize voxel) {
    for (auto* distance : {&voxel.x, &voxel.y, &voxel.z}) {
        if (*distance && !(std::isfinite(**distance) && **distance > 0.0)) distance->reset();
    }
    return voxel;
}

StackHeader Checked(StackHeader header) {
    if (header.width < 1 || header.height < 1 || header.planes < 1) {
        throw std::invalid_argument("a stack without samples cannot be written");
    }
    header.voxel = Statable(header.voxel);
    return header;
}

}  // namespace

struct StackWriter::Impl {
    Impl(const std::filesystem::path& target, const StackHeader& wanted, bool overwrite)
        : header(Checked(wanted)), file(target, overwrite) {}

    StackHeader header;
    TemporaryFile file;
    std::vector<float> rowBuffer;
    int written = 0;
};

StackWriter::StackWriter(const std::filesystem::path& target, const StackHeader& header, bool overwrite)
    : impl_(std::make_unique<Impl>(target, header, overwrite)) {
    const auto prologue = MakePrologue(impl_->header, ChooseForm(impl_->header));
    impl_->file.Reserve(prologue.size() +
                        PlaneBytes(impl_->header) * static_cast<std::uint64_t>(impl_->header.planes));
    impl_->file.Write(prologue.data(), prologue.size());
}

StackWriter::~StackWriter() = default;

void StackWriter::WritePlane(const float* rows, std::ptrdiff_t rowStride) {
    if (impl_->written == impl_->header.planes) throw std::logic_error("more planes than the stack has");
    const auto width = static_cast<std::size_t>(impl_->header.width);
    const auto rowsAtOnce = static_cast<int>(
        std::clamp<std::size_t>(kFloatsAtOnce / width, 1, static_cast<std::size_t>(impl_->header.height)));
    auto& buffer = impl_->rowBuffer;
    for (int row = 0; row < impl_->header.height; row += rowsAtOnce) {
        const int count = std::min(rowsAtOnce, impl_->header.height - row);
        buffer.clear();
        for (int k = 0; k < count; ++k) {
            const float* first = rows + (row + k) * rowStride;
            buffer.insert(buffer.end(), first, first + width);
        }
        impl_->file.Write(buffer.data(), buffer.size() * sizeof(float));
    }
    ++impl_->written;
}

void StackWriter::Commit() {
    if (impl_->written != impl_->header.planes) throw std::logic_error("planes of the stack are missing");
    impl_->file.Commit();
}

}  // namespace rydecon
