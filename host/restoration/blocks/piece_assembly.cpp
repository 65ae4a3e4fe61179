// SPDX-License-Identifier: MIT
#include "restoration/blocks/piece_assembly.h"

#include <algorithm>
#include <map>
#include <vector>

#include "report/stop_request.h"

namespace rydecon {

namespace {

/// The weights of each part of an axis at the positions that it is used at.
std::vector<std::vector<float>> WeightsOf(const AxisCut& cut) {
    std::vector<std::vector<float>> weights;
    for (int n = 0; n < cut.count(); ++n) {
        const Span used = cut.Used(n);
        auto& part = weights.emplace_back();
        for (int position = used.begin; position < used.end; ++position) {
            part.push_back(cut.Weight(n, position));
        }
    }
    return weights;
}

/// Adds planes of pieces to a plane of the volume.
class PlaneSum {
  public:
    explicit PlaneSum(const BlockGrid& grid)
        : grid_(grid),
          x_(WeightsOf(grid.x())),
          y_(WeightsOf(grid.y())),
          z_(WeightsOf(grid.z())),
          sum_(static_cast<std::size_t>(grid.shape().x) * static_cast<std::size_t>(grid.shape().y)) {}

    /// To what adds nothing, not even to the sign of a zero.
    void Clear() { std::fill(sum_.begin(), sum_.end(), -0.0f); }

    void Add(int block, int k, const float* piece) {
        const Box used = grid_.Used(block);
        const auto at = [](const auto& weights, int part, int n) {
            return weights[static_cast<std::size_t>(part)][static_cast<std::size_t>(n)];
        };
        const float* const across = x_[static_cast<std::size_t>(grid_.Column(block))].data();
        const float ofPlane = at(z_, grid_.Layer(block), k - used.z.begin);
        for (int j = 0; j < used.y.length(); ++j) {
            const float ofRow = ofPlane * at(y_, grid_.Row(block), j);
            float* const row = Row(used.y.begin + j) + used.x.begin;
            for (int i = 0; i < used.x.length(); ++i) row[i] += ofRow * across[i] * piece[i];
            piece += used.x.length();
        }
    }

    /// Takes the pedestal off; returns the sum of what is left.
    double Lower(float pedestal) {
        double total = 0.0;
        for (float& sample : sum_) {
            if (pedestal != 0.0f) sample = std::max(sample - pedestal, 0.0f);
            total += double{sample};
        }
        return total;
    }

    float* Row(int j) { return sum_.data() + std::ptrdiff_t{j} * grid_.shape().x; }

  private:
    const BlockGrid& grid_;
    std::vector<std::vector<float>> x_;
    std::vector<std::vector<float>> y_;
    std::vector<std::vector<float>> z_;
    std::vector<float> sum_;
};

}  // namespace

double AssemblePieces(const PartFolder& parts, const BlockGrid& grid,
                      const std::function<PieceHead(int block)>& head, float pedestal, PlaneSink& to) {
    PlaneSum plane(grid);
    std::map<int, PieceReader> open;
    std::vector<float> samples;
    double total = 0.0;
    for (int k = 0; k < grid.shape().z; ++k) {
        LeaveIfStopRequested();
        plane.Clear();
        for (int block = 0; block < grid.blocks(); ++block) {
            const Box used = grid.Used(block);
            if (k < used.z.begin || k >= used.z.end) continue;
            if (k == used.z.begin) open.emplace(block, parts.Read(head(block)));
            samples.resize(static_cast<std::size_t>(used.x.length()) *
                           static_cast<std::size_t>(used.y.length()));
            open.at(block).ReadPlane(samples.data());
            plane.Add(block, k, samples.data());
            if (k + 1 == used.z.end) open.erase(block);
        }
        total += plane.Lower(pedestal);
        to.WritePlane(k, plane.Row(0), grid.shape().x);
    }
    return total;
}

}  // namespace rydecon
