// SPDX-License-Identifier: MIT
#include "algorithms/landweber_frames.h"

namespace gnr::detail {

LandweberFrames::LandweberFrames(unsigned w, unsigned h)
    : size(TransformFrame(w, h, kMargin)),
      corner(WaveletFrame(w, h, kMargin)),
      plan(size, TransformScaling::kInverse),
      cur(corner.width, corner.height),
      gradient(corner.width, corner.height),
      frames_(size.width, size.height, Contents::kZero),
      img_(NewFrame<float>(corner.width, corner.height, Contents::kZero)),
      samples_(NewFrame<double>(corner.width, corner.height, Contents::kZero)) {}

LandweberFrames::operator bool() const {
    return size.IsUsable() && corner.IsUsable() && plan && cur && gradient && frames_ && img_ != nullptr &&
           samples_ != nullptr;
}

void LandweberFrames::KeepObserved() const {
    CopyFrame(y(), x(), size.width, size.height);
    plan.MakeTransfer(h());
}

bool LandweberFrames::StartFromPicture() const {
    CropCorner(samples_.get(), corner.width, corner.height, img(), corner.width);
    return cur.Decompose(filters, samples_.get());
}

bool LandweberFrames::StartFromEstimate() const {
    CropCorner(samples_.get(), corner.width, corner.height, x(), size.width);
    return cur.Decompose(filters, samples_.get());
}

bool LandweberFrames::Rebuild() const {
    if (!cur.Reconstruct(filters, samples_.get())) return false;
    PutIntoCorner(x(), size.width, samples_.get(), corner.width, corner.height);
    CopyAroundCorner(x(), y(), size.width, size.height, corner.width, corner.height);
    return true;
}

bool LandweberFrames::FindGradient() const {
    const auto [W, H, orderX, orderY] = size;
    plan.Blur(x(), x(), h());
    SubtractFrom(x(), y(), W, H);
    plan.BackProject(x(), x(), h());
    CropCorner(samples_.get(), corner.width, corner.height, x(), W);
    return gradient.Decompose(filters, samples_.get());
}

bool LandweberFrames::RestoreImage() const {
    if (!cur.Reconstruct(filters, samples_.get())) return false;
    PutIntoCorner(img(), corner.width, samples_.get(), corner.width, corner.height);
    ScaleFrame(img(), inverseSum_, corner.width, corner.height);
    return true;
}

}  // namespace gnr::detail
