// SPDX-License-Identifier: MIT
#pragma once

// The pictures of a job, each cleaned by itself.

#include <string>
#include <vector>

#include "cleaning/cleaned_planes.h"
#include "restoration/restore_job.h"
#include "restoration/selected_stack.h"

namespace rydecon {

/// One plane of a stack as a picture of its own.
class OnePlane final : public PlaneSource {
  public:
    OnePlane(SelectedStack& stack, int plane) : stack_(stack), plane_(plane) {}

    Extent shape() const override { return {stack_.header().width, stack_.header().height, 1}; }
    void ReadPlane(int /*k*/, float* rows, std::ptrdiff_t rowStride) override {
        stack_.ReadPlane(PlaneAt(stack_.header(), plane_), rows, rowStride);
    }

  private:
    SelectedStack& stack_;
    int plane_;
};

class CleanPictures {
  public:
    /// Looks at each one. UserError as PlanCleaning.
    CleanPictures(SelectedStack& stack, const RestoreJob& job) : stack_(stack) {
        const StackHeader& header = stack.header();
        CleaningChoice choice = job.cleaning;
        choice.significantBits = header.significantBits;
        for (int k = 0; k < header.planes(); ++k) {
            OnePlane raw(stack, k);
            cleanings_.push_back(
                PlanCleaning(raw, choice, std::string(NameOf(header.sampleType)), true, job.image));
        }
    }

    const std::vector<Cleaning>& cleanings() const { return cleanings_; }

    /// Plane k as PlaneAt counts.
    void Read(int k, std::vector<float>& plane) {
        OnePlane raw(stack_, k);
        CleanedPlanes(raw, cleanings_[static_cast<std::size_t>(k)])
            .ReadPlane(0, plane.data(), stack_.header().width);
    }

    /// Plane k as the file has it.
    void ReadRaw(int k, std::vector<float>& plane) {
        OnePlane(stack_, k).ReadPlane(0, plane.data(), stack_.header().width);
    }

  private:
    SelectedStack& stack_;
    std::vector<Cleaning> cleanings_;
};

}  // namespace rydecon
