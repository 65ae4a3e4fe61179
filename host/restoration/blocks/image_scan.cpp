// SPDX-License-Identifier: MIT
#include "restoration/blocks/image_scan.h"

#include <zlib.h>

#include <algorithm>
#include <cstdlib>

#include "report/stop_request.h"

namespace rydecon {

namespace {

/// For each position of an axis the part that it belongs to most.
std::vector<int> Owners(const AxisCut& cut, int side) {
    std::vector<int> owners;
    owners.reserve(static_cast<std::size_t>(side));
    for (int position = 0; position < side; ++position) owners.push_back(cut.Owner(position));
    return owners;
}

/// The mean of the outermost samples, row by row.
class BorderSum {
  public:
    explicit BorderSum(const Extent& shape) : shape_(shape) {}

    void Add(const float* row, int j, int k) {
        const bool outer = j == 0 || j == shape_.y - 1 || (shape_.z > 1 && (k == 0 || k == shape_.z - 1));
        if (outer) {
            for (int i = 0; i < shape_.x; ++i) AddSample(row[i]);
        } else {
            AddSample(row[0]);
            AddSample(row[shape_.x - 1]);
        }
    }
    double Mean() const { return sum_ / static_cast<double>(count_); }
    double MeanOfPositive() const { return positive_ / static_cast<double>(count_); }

  private:
    void AddSample(float sample) {
        sum_ += double{sample};
        positive_ += std::max(double{sample}, 0.0);
        ++count_;
    }

    Extent shape_;
    double sum_ = 0.0;
    double positive_ = 0.0;
    long long count_ = 0;
};

}  // namespace

int ImageScan::Brightest() const {
    return static_cast<int>(std::max_element(energy.begin(), energy.end()) - energy.begin());
}

std::uint32_t ExtendChecksum(std::uint32_t checksum, const float* rows, std::ptrdiff_t rowStride,
                             const Extent& shape) {
    for (int j = 0; j < shape.y; ++j) {
        checksum =
            static_cast<std::uint32_t>(crc32_z(checksum, reinterpret_cast<const Bytef*>(rows + j * rowStride),
                                               sizeof(float) * static_cast<std::size_t>(shape.x)));
    }
    return checksum;
}

bool ImageScan::IsDark(int block, const BlockGrid& grid) const {
    constexpr double kNextToNoLight = 1e-4;
    const auto isNear = [](int a, int b) { return std::abs(a - b) <= 1; };
    double around = 0.0;
    for (int other = 0; other < grid.blocks(); ++other) {
        const bool near = isNear(grid.Column(block), grid.Column(other)) &&
                          isNear(grid.Row(block), grid.Row(other)) &&
                          isNear(grid.Layer(block), grid.Layer(other));
        if (near) around += light[static_cast<std::size_t>(other)];
    }
    return around < kNextToNoLight;
}

ImageScan ScanImage(PlaneSource& from, const BlockGrid& grid) {
    const Extent shape = from.shape();
    const Extent counts = grid.counts();
    const std::vector<int> columns = Owners(grid.x(), shape.x);
    const std::vector<int> rows = Owners(grid.y(), shape.y);
    const std::vector<int> layers = Owners(grid.z(), shape.z);
    BorderSum border(shape);
    ImageScan scan;
    scan.energy.resize(static_cast<std::size_t>(grid.blocks()));
    scan.light.resize(scan.energy.size());
    std::vector<float> plane(static_cast<std::size_t>(shape.x) * static_cast<std::size_t>(shape.y));
    for (int k = 0; k < shape.z; ++k) {
        LeaveIfStopRequested();
        from.ReadPlane(k, plane.data(), shape.x);
        scan.checksum = ExtendChecksum(scan.checksum, plane.data(), shape.x, shape);
        for (int j = 0; j < shape.y; ++j) {
            const float* const row = plane.data() + std::ptrdiff_t{j} * shape.x;
            border.Add(row, j, k);
            scan.range.Add(row, static_cast<std::size_t>(shape.x));
            const int line =
                (layers[static_cast<std::size_t>(k)] * counts.y + rows[static_cast<std::size_t>(j)]) *
                counts.x;
            for (int i = 0; i < shape.x; ++i) {
                const auto block = static_cast<std::size_t>(line) +
                                   static_cast<std::size_t>(columns[static_cast<std::size_t>(i)]);
                scan.sum += double{row[i]};
                scan.energy[block] += double{row[i]} * row[i];
                scan.light[block] += std::max(double{row[i]}, 0.0);
            }
        }
    }
    scan.borderMean = border.Mean();
    scan.positiveBorderMean = border.MeanOfPositive();
    return scan;
}

void Preparation::Apply(float* row, int count) const {
    if (lift != 0.0f) std::transform(row, row + count, row, [this](float v) { return v + lift; });
    if (cutNegative) std::transform(row, row + count, row, [](float v) { return std::max(v, 0.0f); });
}

}  // namespace rydecon
