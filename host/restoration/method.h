// SPDX-License-Identifier: MIT
#pragma once

// The methods that `rydecon restore` offers, and the settings that each of them reads.

#include <gnr_deconvolution/cores.h>

#include <functional>
#include <string>
#include <vector>

namespace rydecon {

/// All settings of all methods, as given on the command line.
struct MethodSettings {
    int noise = 0;  ///< Wiener: step of the noise table, 0 (little noise) to 4 (much)
};

/// A core with the parameter object that it takes.
struct PreparedMethod {
    CRyRefCountPtr<CRyAbstract3DDeconvolutionCore> core;
    CRyRefCountPtr<CRy3DDeconvRunParameters> params;
    unsigned units = 0;  ///< units of work that a whole run reports
};

struct Method {
    std::string name;
    std::string summary;  ///< one line for --help
    std::function<PreparedMethod(const MethodSettings&)> make;
};

/// The table of methods.
const std::vector<Method>& Methods();

/// The method of a name; UserError (usage) that lists the names otherwise.
const Method& FindMethod(const std::string& name);

}  // namespace rydecon
