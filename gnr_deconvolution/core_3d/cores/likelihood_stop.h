// SPDX-License-Identifier: MIT
#pragma once

// The automatic stop on the history of likelihoods.

#include <cstddef>
#include <deque>
#include <limits>

namespace gnr::detail {

/// Keeps the last six likelihoods. While they climb from the first one, the mean of the recent three leads
/// the mean of all six.
class LikelihoodStop {
  public:
    explicit LikelihoodStop(double stopRatio) : stopRatio_(stopRatio) {}

    void Add(double likelihood) {
        if (history_.size() == kLength) history_.pop_front();
        history_.push_back(likelihood);
        if (history_.size() == 1) base_ = likelihood;
    }

    /// After `done` iterations.
    bool ShallStop(unsigned done) const {
        if (history_.size() != kLength || done < kFirstTest) return false;
        const auto& d = history_;
        const double recent = (d[4] + d[3] + d[5]) / 3;
        const double all = (d[1] + d[0] + d[2] + d[3] + d[4] + d[5]) / 6;
        return all > recent || (recent - base_) / (all - base_) < stopRatio_;
    }

  private:
    static constexpr std::size_t kLength = 6;
    static constexpr unsigned kFirstTest = 15;

    double stopRatio_;
    double base_ = std::numeric_limits<double>::max();
    std::deque<double> history_;
};

}  // namespace gnr::detail
