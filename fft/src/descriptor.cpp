// SPDX-License-Identifier: MIT
#include <fft/dfti.h>
#include <fftw3.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <optional>

#include "geometry.h"
#include "half_spectrum_plan.h"
#include "strided_copy.h"

using gnr::fft::Geometry;

namespace {

constexpr std::size_t kMostDimensions = 3;
/// Offset, then a stride an axis; 0 for axes that the descriptor does not have.
using Strides = std::array<MKL_LONG, kMostDimensions + 1>;

}  // namespace

struct DFTI_DESCRIPTOR {
    std::array<MKL_LONG, kMostDimensions> lengths{};
    std::size_t dimensions = 0;
    double forwardScale = 1.0;
    double backwardScale = 1.0;
    DFTI_CONFIG_VALUE placement = DFTI_INPLACE;
    std::optional<Strides> inputStrides;   ///< none: dense
    std::optional<Strides> outputStrides;  ///< none: dense
    bool committed = false;
};

namespace {

struct FreeScratch {
    void operator()(float* p) const { fftwf_free(p); }
};
using Scratch = std::unique_ptr<float, FreeScratch>;

/// Lengths, offset and strides of one side, brought to three axes by leading axes of length 1.
std::array<std::ptrdiff_t, 3> LastThree(const MKL_LONG* values, std::size_t count, std::ptrdiff_t fill) {
    std::array<std::ptrdiff_t, 3> axes = {fill, fill, fill};
    for (std::size_t a = 0; a < count; ++a) axes[3 - count + a] = values[a];
    return axes;
}

/// Where samples and frequencies lie, for a forward or a backward transform of the descriptor.
Geometry MakeGeometry(const DFTI_DESCRIPTOR& d, bool forward) {
    Geometry g{};
    g.lengths = LastThree(d.lengths.data(), d.dimensions, 1);
    const Geometry dense = gnr::fft::DenseGeometry(g);
    g.realStrides = dense.realStrides;
    g.complexStrides = dense.complexStrides;
    // Out of place a dense real row has no spare floats.
    if (d.placement == DFTI_NOT_INPLACE) {
        g.realStrides = {g.lengths[1] * g.lengths[2], g.lengths[2], 1};
    }
    const std::optional<Strides>& real = forward ? d.inputStrides : d.outputStrides;
    const std::optional<Strides>& spectrum = forward ? d.outputStrides : d.inputStrides;
    if (real.has_value()) {
        g.realOffset = real->front();
        g.realStrides = LastThree(real->data() + 1, d.dimensions, 0);
    }
    if (spectrum.has_value()) {
        g.complexOffset = spectrum->front();
        g.complexStrides = LastThree(spectrum->data() + 1, d.dimensions, 0);
    }
    return g;
}

Scratch AllocateDense(const Geometry& g) {
    return Scratch(static_cast<float*>(
        fftwf_malloc(static_cast<std::size_t>(gnr::fft::DenseFloats(g)) * sizeof(float))));
}

void ScaleSpectrum(const Geometry& g, fftwf_complex* spectrum, float scale) {
    for (std::ptrdiff_t k = 0; k < g.lengths[0]; ++k) {
        for (std::ptrdiff_t j = 0; j < g.lengths[1]; ++j) {
            for (std::ptrdiff_t i = 0; i < g.ComplexColumns(); ++i) {
                fftwf_complex& c =
                    spectrum[k * g.complexStrides[0] + j * g.complexStrides[1] + i * g.complexStrides[2]];
                c[0] *= scale;
                c[1] *= scale;
            }
        }
    }
}

/// A real volume's spectrum is real where a frequency is its own conjugate, the zero frequency first of all;
/// FFTW's algorithms for prime lengths leave rounding there.
void ClearImaginaryOfSelfConjugates(const Geometry& g, fftwf_complex* spectrum) {
    const auto step = [&g](std::size_t axis) {
        return g.lengths[axis] % 2 == 0 ? g.lengths[axis] / 2 : g.lengths[axis];
    };
    for (std::ptrdiff_t k = 0; k < g.lengths[0]; k += step(0)) {
        for (std::ptrdiff_t j = 0; j < g.lengths[1]; j += step(1)) {
            for (std::ptrdiff_t i = 0; i < g.lengths[2]; i += step(2)) {
                spectrum[k * g.complexStrides[0] + j * g.complexStrides[1] + i * g.complexStrides[2]][1] =
                    0.0f;
            }
        }
    }
}

MKL_LONG Forward(const DFTI_DESCRIPTOR& d, float* in, float* out) {
    const Geometry g = MakeGeometry(d, true);
    auto* const spectrum = reinterpret_cast<fftwf_complex*>(out);
    bool done = false;
    if (in != out || g.SharesRows()) {
        done = gnr::fft::TransformForward(g, in + g.realOffset, spectrum + g.complexOffset);
    } else {
        // Real and spectral rows overlap one another: transform in dense rows and lay the result out.
        const Geometry dense = gnr::fft::DenseGeometry(g);
        const Scratch scratch = AllocateDense(g);
        if (scratch == nullptr) return DFTI_MEMORY_ERROR;
        auto* const denseSpectrum = reinterpret_cast<fftwf_complex*>(scratch.get());
        gnr::fft::CopyReal(g, in, dense, scratch.get());
        done = gnr::fft::TransformForward(dense, scratch.get(), denseSpectrum);
        gnr::fft::CopySpectrum(dense, denseSpectrum, g, spectrum);
    }
    if (!done) return DFTI_MEMORY_ERROR;
    ClearImaginaryOfSelfConjugates(g, spectrum + g.complexOffset);
    if (d.forwardScale != 1.0) {
        ScaleSpectrum(g, spectrum + g.complexOffset, static_cast<float>(d.forwardScale));
    }
    return DFTI_NO_ERROR;
}

MKL_LONG Backward(const DFTI_DESCRIPTOR& d, float* in, float* out) {
    const Geometry g = MakeGeometry(d, false);
    const auto scale = static_cast<float>(d.backwardScale);
    if (in == out && g.SharesRows()) {
        return gnr::fft::TransformBackwardInPlace(g, out + g.realOffset, scale) ? DFTI_NO_ERROR
                                                                                : DFTI_MEMORY_ERROR;
    }
    const Geometry dense = gnr::fft::DenseGeometry(g);
    const Scratch scratch = AllocateDense(g);
    if (scratch == nullptr) return DFTI_MEMORY_ERROR;
    gnr::fft::CopySpectrum(g, reinterpret_cast<const fftwf_complex*>(in), dense,
                           reinterpret_cast<fftwf_complex*>(scratch.get()));
    if (!gnr::fft::TransformBackwardInPlace(dense, scratch.get(), scale)) return DFTI_MEMORY_ERROR;
    gnr::fft::CopyReal(dense, scratch.get(), g, out);
    if (in == out && g.realStrides[2] == 1) gnr::fft::ClearRowGaps(g, out);
    return DFTI_NO_ERROR;
}

using Direction = MKL_LONG (*)(const DFTI_DESCRIPTOR&, float*, float*);

/// Runs one direction after the checks that both share. No out: in place.
MKL_LONG Compute(DFTI_DESCRIPTOR_HANDLE handle, Direction direction, void* in, void* out,
                 DFTI_CONFIG_VALUE placement) {
    if (handle == nullptr || !handle->committed) return DFTI_BAD_DESCRIPTOR;
    if (in == nullptr || out == nullptr) return DFTI_INVALID_CONFIGURATION;
    if (handle->placement != placement) return DFTI_INCONSISTENT_CONFIGURATION;
    return direction(*handle, static_cast<float*>(in), static_cast<float*>(out));
}

/// All strides at least 0, so that nothing lies before the first element.
bool Usable(const std::optional<Strides>& strides) {
    return !strides.has_value() ||
           std::all_of(strides->begin(), strides->end(), [](MKL_LONG s) { return s >= 0; });
}

}  // namespace

MKL_LONG DftiCreateDescriptor(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE precision,
                              DFTI_CONFIG_VALUE domain, MKL_LONG dimensions, const MKL_LONG* lengths) {
    if (handle == nullptr) return DFTI_BAD_DESCRIPTOR;
    *handle = nullptr;
    if (lengths == nullptr || dimensions < 1) return DFTI_INVALID_CONFIGURATION;
    if (precision != DFTI_SINGLE || domain != DFTI_REAL || dimensions > 3) return DFTI_UNIMPLEMENTED;
    std::unique_ptr<DFTI_DESCRIPTOR> descriptor(new (std::nothrow) DFTI_DESCRIPTOR);
    if (descriptor == nullptr) return DFTI_MEMORY_ERROR;
    descriptor->dimensions = static_cast<std::size_t>(dimensions);
    std::copy_n(lengths, descriptor->dimensions, descriptor->lengths.begin());
    *handle = descriptor.release();
    return DFTI_NO_ERROR;
}

MKL_LONG DftiSetValue(DFTI_DESCRIPTOR_HANDLE handle, DFTI_CONFIG_PARAM parameter, double value) {
    if (handle == nullptr) return DFTI_BAD_DESCRIPTOR;
    handle->committed = false;
    switch (parameter) {
        case DFTI_FORWARD_SCALE:
            handle->forwardScale = value;
            return DFTI_NO_ERROR;
        case DFTI_BACKWARD_SCALE:
            handle->backwardScale = value;
            return DFTI_NO_ERROR;
        default:
            return DFTI_INVALID_CONFIGURATION;
    }
}

MKL_LONG DftiSetValue(DFTI_DESCRIPTOR_HANDLE handle, DFTI_CONFIG_PARAM parameter, DFTI_CONFIG_VALUE value) {
    if (handle == nullptr) return DFTI_BAD_DESCRIPTOR;
    handle->committed = false;
    const auto only = [value](DFTI_CONFIG_VALUE supported) {
        return value == supported ? DFTI_NO_ERROR : DFTI_INVALID_CONFIGURATION;
    };
    switch (parameter) {
        case DFTI_PLACEMENT:
            if (value != DFTI_INPLACE && value != DFTI_NOT_INPLACE) return DFTI_INVALID_CONFIGURATION;
            handle->placement = value;
            return DFTI_NO_ERROR;
        case DFTI_PACKED_FORMAT:
            return only(DFTI_CCE_FORMAT);
        case DFTI_CONJUGATE_EVEN_STORAGE:
            return only(DFTI_COMPLEX_COMPLEX);
        case DFTI_REAL_STORAGE:
            return only(DFTI_REAL_REAL);
        default:
            return DFTI_INVALID_CONFIGURATION;
    }
}

MKL_LONG DftiSetValue(DFTI_DESCRIPTOR_HANDLE handle, DFTI_CONFIG_PARAM parameter, const MKL_LONG* strides) {
    if (handle == nullptr) return DFTI_BAD_DESCRIPTOR;
    handle->committed = false;
    if (strides == nullptr) return DFTI_INVALID_CONFIGURATION;
    Strides given{};
    std::copy_n(strides, handle->dimensions + 1, given.begin());
    switch (parameter) {
        case DFTI_INPUT_STRIDES:
            handle->inputStrides = given;
            return DFTI_NO_ERROR;
        case DFTI_OUTPUT_STRIDES:
            handle->outputStrides = given;
            return DFTI_NO_ERROR;
        default:
            return DFTI_INVALID_CONFIGURATION;
    }
}

MKL_LONG DftiCommitDescriptor(DFTI_DESCRIPTOR_HANDLE handle) {
    if (handle == nullptr) return DFTI_BAD_DESCRIPTOR;
    const auto usable = [](MKL_LONG n) { return n >= 1 && n <= std::numeric_limits<std::int32_t>::max(); };
    if (!std::all_of(handle->lengths.begin(), handle->lengths.begin() + handle->dimensions, usable)) {
        return DFTI_INVALID_CONFIGURATION;
    }
    if (!Usable(handle->inputStrides) || !Usable(handle->outputStrides)) return DFTI_INVALID_CONFIGURATION;
    handle->committed = true;
    return DFTI_NO_ERROR;
}

MKL_LONG DftiComputeForward(DFTI_DESCRIPTOR_HANDLE handle, void* inOut) {
    return Compute(handle, Forward, inOut, inOut, DFTI_INPLACE);
}

MKL_LONG DftiComputeForward(DFTI_DESCRIPTOR_HANDLE handle, void* in, void* out) {
    return Compute(handle, Forward, in, out, DFTI_NOT_INPLACE);
}

MKL_LONG DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE handle, void* inOut) {
    return Compute(handle, Backward, inOut, inOut, DFTI_INPLACE);
}

MKL_LONG DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE handle, void* in, void* out) {
    return Compute(handle, Backward, in, out, DFTI_NOT_INPLACE);
}

MKL_LONG DftiFreeDescriptor(DFTI_DESCRIPTOR_HANDLE* handle) {
    if (handle == nullptr || *handle == nullptr) return DFTI_BAD_DESCRIPTOR;
    delete *handle;
    *handle = nullptr;
    return DFTI_NO_ERROR;
}
