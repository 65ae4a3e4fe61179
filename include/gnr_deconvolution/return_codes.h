// SPDX-License-Identifier: MIT
#pragma once

// The one table of return codes. Operations return an int and nothing else: no text, no exception.

namespace gnr {

/// Cores, kernels, transforms, PSF functions and the 2D family.
inline constexpr int kSuccess = 0;
/// The one-call 3D iterative entries and the structured-illumination entry succeed with 1, not 0.
inline constexpr int kSuccessOfEntry = 1;
/// The FFT package refused or failed; in the one-call Wiener entry, a stop by the callback.
inline constexpr int kTransformFailed = -1;
/// The 2D entries reject the picture: not exactly one component, or a side below 16.
inline constexpr int kPictureRejected = -2;
/// Memory exhausted in Prepare or in the PSF object; a PSF model step that failed.
inline constexpr int kOutOfMemory = -3;
/// Parameters of the wrong class; the blind core before Prepare; an input that the PSF model cannot use.
inline constexpr int kWrongParameters = -4;
/// Stopped by the progress callback; the image holds what the last finished step left.
inline constexpr int kStopped = -8;
/// Run before Prepare; in the one-call and 2D families memory exhausted, and in 2D any failure or stop;
/// any failure of the memory stock.
inline constexpr int kNotReady = -9;
/// Get on a range that holds no value.
inline constexpr int kEmptyRange = -12;

}  // namespace gnr
