// SPDX-License-Identifier: MIT
#pragma once

// Passes between the frame of the transforms and the smaller one of the wavelets, which lies in its top left
// corner. In parallel over rows; the results do not depend on the thread count.

namespace gnr::detail {

/// Corner of w by h samples of a frame with rows of W floats := picture, rounded to float. For W = w and a
/// frame of the same height that is all of it.
void PutIntoCorner(float* frame, unsigned W, const double* picture, unsigned w, unsigned h);
void PutIntoCorner(float* frame, unsigned W, const float* picture, unsigned w, unsigned h);

/// All of a frame of W by H samples but its corner of w by h := that of another.
void CopyAroundCorner(float* frame, const float* from, unsigned W, unsigned H, unsigned w, unsigned h);

/// picture := corner of w by h samples of a frame with rows of W floats.
void CropCorner(double* picture, unsigned w, unsigned h, const float* frame, unsigned W);

/// v := y - v
void SubtractFrom(float* v, const float* y, unsigned W, unsigned H);

/// Largest less smallest sample, in float. A NaN counts only where it is the first sample; then it is all.
float ImageRange(const float* v, unsigned W, unsigned H);

}  // namespace gnr::detail
