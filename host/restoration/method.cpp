// SPDX-License-Identifier: MIT
#include "restoration/method.h"

#include <gnr_deconvolution/legacy.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "report/required_range.h"
#include "report/user_error.h"
#include "restoration/coefficient_core.h"

namespace rydecon {

namespace {

/// A new counted object, owned by the pointer alone.
template <class T, class... Arguments>
CRyRefCountPtr<T> MakeCounted(Arguments... arguments) {
    auto* const object = new T(arguments...);
    CRyRefCountPtr<T> owner(object);
    object->Release();
    return owner;
}

double StrengthOf(const Method& method, const MethodSettings& settings) {
    return settings.regularization.value_or(method.regularization);
}

/// Fills what all iterative methods read.
PreparedMethod Iterative(const Method& method, const MethodSettings& settings,
                         CRyRefCountPtr<CRyAbstract3DDeconvolutionCore> core) {
    const auto params = MakeCounted<CRy3DAutoDeconvRunParameters>();
    params->uiIterations = settings.iterations.value_or(method.iterations);
    params->dRegularization = StrengthOf(method, settings);
    params->dStopRatio = settings.stopRatio;
    params->bNoAutoStop = settings.noAutoStop;
    params->bWienerStart = settings.wienerStart;
    params->dScale = settings.thresholdScale;
    return {std::move(core), params, params->uiIterations};
}

/// A core that ends by its mean divergence over the image box goes on to its limit without one: the mean of no
/// samples is no number, and compares with none.
PreparedMethod WithoutStop(const MethodSettings& settings, PreparedMethod prepared) {
    prepared.looksAtBox = !settings.noAutoStop;
    return prepared;
}

PreparedMethod MakeAccelerated(const Method& method, const MethodSettings& settings, IterateSink* sink) {
    using Core = ObservedCore<CRy3DAcceleratedLucyRichardsonTMDeconvolutionCore>;
    return Iterative(method, settings, MakeCounted<Core>(sink));
}

PreparedMethod MakeManual(const Method& method, const MethodSettings& settings, IterateSink* sink) {
    using Core = ObservedCore<CRy3DLucyRichardsonTMDeconvolutionCore>;
    return Iterative(method, settings, MakeCounted<Core>(sink, false));
}

PreparedMethod MakeAutomatic(const Method& method, const MethodSettings& settings, IterateSink* sink) {
    using Core = ObservedCore<CRy3DLucyRichardsonTMDeconvolutionCore>;
    return WithoutStop(settings, Iterative(method, settings, MakeCounted<Core>(sink, true)));
}

PreparedMethod MakeLandweber(const Method& method, const MethodSettings& settings, IterateSink* sink) {
    using Core = RelayedCore<CRy3DLandweberDeconvolutionCore>;
    return Iterative(method, settings, MakeCounted<Core>(sink, false));
}

PreparedMethod MakeLandweberAutomatic(const Method& method, const MethodSettings& settings,
                                      IterateSink* sink) {
    using Core = RelayedCore<CRy3DLandweberDeconvolutionCore>;
    return WithoutStop(settings, Iterative(method, settings, MakeCounted<Core>(sink, true)));
}

PreparedMethod MakeCoefficients(const Method& method, const MethodSettings& settings, IterateSink* /*sink*/) {
    return Iterative(method, settings, MakeCounted<CoefficientCore>());
}

PreparedMethod Staged(const Method& method, const MethodSettings& settings, const StagedEntry& entry,
                      IterateSink* sink) {
    const auto core = MakeCounted<StagedCore>(entry, settings.checkpointEvery, sink);
    PreparedMethod prepared = Iterative(method, settings, core);
    prepared.staged = core.get();
    return prepared;
}

PreparedMethod MakeTotalVariation(const Method& method, const MethodSettings& settings, IterateSink* sink) {
    return Staged(method, settings,
                  {&CRyLegacy3DDeconvolutionFamily::LucyRichardsonTV_AdditiveVersion, 4, false}, sink);
}

PreparedMethod MakeConjugate(const Method& method, const MethodSettings& settings, IterateSink* sink) {
    return Staged(method, settings, {&CRyLegacy3DDeconvolutionFamily::LucyRichardsonTV_ICTM, 6, true}, sink);
}

/// Hands iterates on as they are: a blind core scales them for a comparison of another kind.
class ObservedBlindCore final : public CRy3DBlindDeconvolutionCore {
  public:
    explicit ObservedBlindCore(IterateSink* sink) : sink_(sink) {}

  protected:
    void ComputeRMSE(std::vector<std::pair<unsigned, double>>&, unsigned, const SRyIRect3D&, const DFT3D*,
                     float, const float* pfIterate, const float*) override {
        if (sink_ != nullptr) sink_->OnIterate(1.0f, pfIterate);
    }
    void LogQualityVect(const std::vector<std::pair<unsigned, double>>&, unsigned) override {}

  private:
    IterateSink* sink_;
};

/// Units of work that a blind core reports when no pass ends early.
unsigned UnitsOfBlindRun(unsigned limit, unsigned sweeps) {
    unsigned units = 0;
    for (unsigned done = 0; done < limit;) {
        const unsigned counted = std::min(sweeps, limit - done);
        units += 2 * counted;  // the second time for the PSF pass, or for the end of the run
        done += counted;
        if (done >= limit) break;
        done += sweeps;
        if (done >= limit) units += counted;
    }
    return units;
}

PreparedMethod MakeBlind(const Method& method, const MethodSettings& settings, IterateSink* sink) {
    const auto params = MakeCounted<CRy3DBlindDeconvRunParameters>();
    params->uiIterations = settings.iterations.value_or(method.iterations);
    params->fBlindValue = static_cast<float>(settings.energyStop);
    params->iBlindInnerSetting = settings.inner == 1 ? 0 : settings.inner == 10 ? 1 : 2;
    params->bNoPsfGuard = settings.guard == BlindGuard::Never;
    params->iBlindGuardSetting = settings.guard == BlindGuard::Within03Decades ? 1 : 0;
    return {MakeCounted<ObservedBlindCore>(sink), params,
            UnitsOfBlindRun(params->uiIterations, settings.inner)};
}

PreparedMethod MakeWiener(const Method& /*method*/, const MethodSettings& settings, IterateSink* /*sink*/) {
    PreparedMethod wiener{CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvWiener),
                          CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener), 4};
    wiener.params->dRegularization = settings.noise;
    return wiener;
}

/// Richardson-Lucy keeps a volume for its regularisation, which stays idle without one.
double IdleWithoutWholeStrength(double strength) {
    return std::trunc(strength) == 0.0 ? 1.0 : 0.0;
}
double IdleWithoutStrength(double strength) {
    return strength == 0.0 ? 1.0 : 0.0;
}

/// The reserve of the accelerated form is for a regularisation that it does not have.
double IdleOfAccelerated(double /*strength*/) {
    return 1.0;
}

/// One volume and the work space, 28 bands of the first level; without shrinkage those eight bands as well.
double IdleOfLandweber(double strength) {
    constexpr double kWorkSpace = 28.0 / 8.0;
    return 1.0 + kWorkSpace + (strength == 0.0 ? 1.0 : 0.0);
}

}  // namespace

const std::vector<Method>& Methods() {
    static const std::vector<Method> methods = {
        {.name = "accelerated",
         .summary =
             "fast Richardson-Lucy, ends by itself; --regularization is the damping of noise, 1 for none",
         .reads = {"--iterations", "--regularization", "--stop-ratio", "--no-auto-stop", "--wiener-start",
                   "--truth", "--curve"},
         .iterations = 50,
         .showsIterates = true,
         .regularization = 1.0,
         .leastRegularization = 1.0,
         .liftsNegative = true,
         .idleVolumes = IdleOfAccelerated,
         .make = MakeAccelerated},
        {.name = "lucy-richardson",
         .summary = "plain Richardson-Lucy, all --iterations; --regularization from 1 smooths",
         .reads = {"--iterations", "--regularization", "--truth", "--curve"},
         .iterations = 30,
         .showsIterates = true,
         .idleVolumes = IdleWithoutWholeStrength,
         .make = MakeManual},
        {.name = "lucy-richardson-auto",
         .summary = "Richardson-Lucy that ends by itself; --regularization of about 0.1 smooths",
         .reads = {"--iterations", "--regularization", "--stop-ratio", "--truth", "--curve"},
         .iterations = 100,
         .showsIterates = true,
         .scalesStrength = true,
         .idleVolumes = IdleWithoutStrength,
         .make = MakeAutomatic},
        {.name = "landweber",
         .summary = "least squares with momentum, noise shrunk in wavelets, all --iterations; "
                    "--regularization of about 10 smooths more",
         .reads = {"--iterations", "--regularization", "--threshold-scale", "--curve"},
         .iterations = 30,
         .showsIterates = true,
         .regularization = 2.0,
         .sides = Sides::Wavelets,
         .idleVolumes = IdleOfLandweber,
         .make = MakeLandweber},
        {.name = "landweber-auto",
         .summary = "least squares without momentum that ends by itself, noise shrunk in wavelets",
         .reads = {"--iterations", "--regularization", "--threshold-scale", "--stop-ratio", "--curve"},
         .iterations = 100,
         .showsIterates = true,
         .regularization = 2.0,
         .sides = Sides::Wavelets,
         .idleVolumes = IdleOfLandweber,
         .make = MakeLandweberAutomatic},
        {.name = "landweber-wavelet",
         .summary = "least squares on wavelet coefficients, all --iterations; --regularization is whole",
         .reads = {"--iterations", "--regularization", "--threshold-scale"},
         .iterations = 100,
         .regularization = 2.0,
         .wholeRegularization = true,
         // With fewer levels its steps are too long for a PSF of sum 1, and it diverges.
         .sides = Sides::FourLevels,
         .make = MakeCoefficients},
        {.name = "tv",
         .summary = "least squares with total variation, all --iterations, negative samples stay; "
                    "--regularization is whole, a few at most",
         .reads = {"--iterations", "--regularization", "--checkpoint", "--checkpoint-every", "--resume",
                   "--truth", "--curve"},
         .iterations = 50,
         .showsIterates = true,
         .regularization = 1.0,
         .wholeRegularization = true,
         .make = MakeTotalVariation},
        {.name = "tv-ictm",
         .summary = "conjugate directions up the misfit, to repeat earlier results: it smooths and does not "
                    "sharpen; --regularization is whole",
         .reads = {"--iterations", "--regularization", "--checkpoint", "--checkpoint-every", "--resume",
                   "--truth", "--curve"},
         .iterations = 30,
         .showsIterates = true,
         .regularization = 1.0,
         .wholeRegularization = true,
         .make = MakeConjugate},
        {.name = "blind",
         .summary = "Richardson-Lucy that refines the PSF too, from the one given; --iterations counts the "
                    "sweeps of both",
         .reads = {"--iterations", "--inner", "--guard", "--energy-stop", "--psf-out", "--truth", "--curve"},
         .iterations = 40,
         .showsIterates = true,
         .refinesPsf = true,
         .make = MakeBlind},
        {.name = "wiener",
         .summary = "direct inverse filter, fastest; reads --noise",
         .reads = {"--noise"},
         .make = MakeWiener},
    };
    return methods;
}

bool Method::endsByItself() const {
    return std::find(reads.begin(), reads.end(), "--stop-ratio") != reads.end();
}

void CheckSettings(const Method& method, const MethodSettings& settings) {
    const std::string what = "--regularization of method " + method.name;
    RequireRange(what, StrengthOf(method, settings), method.leastRegularization, kGreatestSetting);
    if (method.wholeRegularization) RequireWhole(what, StrengthOf(method, settings));
    RequireRange("--stop-ratio", settings.stopRatio, 0.0, kGreatestSetting);
    RequireRange("--threshold-scale", settings.thresholdScale, 0.0, kGreatestSetting);
    RequireRange("--energy-stop", settings.energyStop, -kGreatestSetting, kGreatestSetting);
}

}  // namespace rydecon
