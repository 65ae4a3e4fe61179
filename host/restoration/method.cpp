// SPDX-License-Identifier: MIT
#include "restoration/method.h"

#include "report/user_error.h"

namespace rydecon {

namespace {

PreparedMethod MakeWiener(const MethodSettings& settings) {
    PreparedMethod method{CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvWiener),
                          CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvWiener), 4};
    method.params->dRegularization = settings.noise;
    return method;
}

}  // namespace

const std::vector<Method>& Methods() {
    static const std::vector<Method> methods = {
        {"wiener", "direct inverse filter, fast; reads --noise", MakeWiener},
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

}  // namespace rydecon
