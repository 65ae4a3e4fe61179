// SPDX-License-Identifier: MIT
#include "restoration/method.h"

#include <cstdio>

#include "report/user_error.h"

namespace rydecon {

namespace {

/// A new counted object, owned by the pointer alone.
template <class T, class... Arguments>
CRyRefCountPtr<T> MakeCounted(Arguments... arguments) {
    auto* const object = new T(arguments...);
    const CRyRefCountPtr<T> owner(object);
    object->Release();
    return owner;
}

/// Far beyond every setting that anybody may mean, and well inside what single precision holds.
constexpr double kGreatestSetting = 1.0e6;

double StrengthOf(const Method& method, const MethodSettings& settings) {
    return settings.regularization.value_or(method.regularization);
}

void RequireRange(const std::string& what, double value, double least) {
    if (value >= least && value <= kGreatestSetting) return;
    char text[96];
    std::snprintf(text, sizeof text, " is %g; a number from %g to %g is needed", value, least,
                  kGreatestSetting);
    throw UserError(what + text, ExitCode::Usage);
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
    return {std::move(core), params, params->uiIterations};
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
    return Iterative(method, settings, MakeCounted<Core>(sink, true));
}

PreparedMethod MakeWiener(const Method& /*method*/, const MethodSettings& settings, IterateSink* /*sink*/) {
    PreparedMethod wiener{CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvWiener),
                          CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener), 4};
    wiener.params->dRegularization = settings.noise;
    return wiener;
}

}  // namespace

const std::vector<Method>& Methods() {
    static const std::vector<Method> methods = {
        {"accelerated",
         "fast Richardson-Lucy, ends by itself; --regularization is the damping of noise, 1 for none",
         {"--iterations", "--regularization", "--stop-ratio", "--no-auto-stop", "--wiener-start", "--truth"},
         50,
         1.0,
         1.0,
         true,
         MakeAccelerated},
        {"lucy-richardson",
         "plain Richardson-Lucy, all --iterations; --regularization from 1 smooths",
         {"--iterations", "--regularization", "--truth"},
         30,
         0.0,
         0.0,
         false,
         MakeManual},
        {"lucy-richardson-auto",
         "Richardson-Lucy that ends by itself; --regularization of about 0.1 smooths",
         {"--iterations", "--regularization", "--stop-ratio", "--truth"},
         100,
         0.0,
         0.0,
         false,
         MakeAutomatic},
        {"wiener",
         "direct inverse filter, fastest; reads --noise",
         {"--noise"},
         0,
         0.0,
         0.0,
         false,
         MakeWiener},
    };
    return methods;
}

const Method& FindMethod(const std::string& name) {
    std::string names;
    for (const Method& method : Methods()) {
        if (method.name == name) return method;
        names += (names.empty() ? "" : ", ") + method.name;
    }
    throw UserError("--method " + name + " does not exist; the methods are: " + names, ExitCode::Usage);
}

void CheckSettings(const Method& method, const MethodSettings& settings) {
    RequireRange("--regularization of method " + method.name, StrengthOf(method, settings),
                 method.leastRegularization);
    RequireRange("--stop-ratio", settings.stopRatio, 0.0);
}

}  // namespace rydecon
