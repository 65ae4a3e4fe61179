// SPDX-License-Identifier: MIT

// The tabulated form of the pupil integral, all pupil terms from the caller.

#include <gnr_deconvolution/psf_3d.h>

#include <cmath>

#include "detail/bessel.h"

namespace {

/// Sum of exp(i phase) J0(b s) s over nodes.
struct PupilSum {
    double re = 0.0;
    double im = 0.0;

    void Add(double phase, double bessel, double s) {
        re += std::cos(phase) * bessel * s;
        im += std::sin(phase) * bessel * s;
    }
};

}  // namespace

void FloatPSF3D::GenerateAiry1D(double* pdOut, unsigned n, double /*dUnused*/, double dRadiusStep,
                                const double* /*pd0*/, const double* /*pd1*/, const double* /*pd2*/,
                                const double* /*pd3*/, const double* pd4, const double* pd5,
                                const double* pd6, const double* pd7, const double* pd8, const double* pd9,
                                const double* pd10, const double* pd11, unsigned m, double dStep,
                                double dFactor1, double dFactor2, double dFactor3) {
    const double oneThird = dStep / 3.0;
    const double twoThirds = 2 * oneThird;
    for (unsigned i = 0; i < n; ++i) {
        const double r = i * dRadiusStep;
        const double b = dFactor1 * dFactor2 * r * dFactor3;
        const auto bessel = [b](double s, double step) { return gnr::detail::BesselJ0(b * s + b * step); };
        PupilSum ends;
        PupilSum inner;
        for (unsigned j = 0; j < m; ++j) {
            const double s = j * dStep;
            ends.Add(pd9[j] * pd5[j], bessel(s, dStep), s + dStep);
            ends.Add(pd4[j] * pd8[j], bessel(s, 0.0), s);
            inner.Add(pd11[j] * pd7[j], bessel(s, twoThirds), s + twoThirds);
            inner.Add(pd10[j] * pd6[j], bessel(s, oneThird), s + oneThird);
        }
        const double re = ends.re + 3 * inner.re;
        const double im = ends.im + 3 * inner.im;
        // deliberate: the step enters once, although the integral is squared
        pdOut[i] = (re * re + im * im) * dStep * 0.125;
    }
}
