// SPDX-License-Identifier: MIT
#pragma once

// The methods that `rydecon restore` offers, and the settings that each of them reads.

#include <gnr_deconvolution/cores.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "restoration/frame_plan.h"
#include "restoration/iterate_sink.h"
#include "restoration/staged_core.h"

namespace rydecon {

/// When the data that blind passes fit may follow the estimate, as a distance of its peak from its first one.
enum class BlindGuard { Never, Within03Decades, Within08Decades };

/// All settings of all methods, as given on the command line; empty where the method's own default counts.
struct MethodSettings {
    int noise = 0;                         ///< Wiener: step of the noise table, 0 (little noise) to 4 (much)
    std::optional<unsigned> iterations;    ///< most iterations
    std::optional<double> regularization;  ///< strength
    double stopRatio = 1.0007;             ///< threshold of the automatic stop
    bool noAutoStop = false;               ///< runs all iterations, whatever the method's stop test
    bool wienerStart = false;              ///< begins from a Wiener filtered image
    double thresholdScale = 1.0;           ///< factor of the threshold of wavelet coefficients
    unsigned checkpointEvery = 10;         ///< iterations of a stage of a staged method
    unsigned inner = 1;                    ///< blind: sweeps a pass, 1, 10 or 20
    BlindGuard guard = BlindGuard::Never;
    double energyStop = -1.0;  ///< blind: ends passes on their energy ratio; -0.5 or below never
};

/// A core with the parameter object that it takes.
struct PreparedMethod {
    CRyRefCountPtr<CRyAbstract3DDeconvolutionCore> core;
    CRyRefCountPtr<CRy3DDeconvRunParameters> params;
    unsigned units = 0;            ///< units of work of a run that goes on to its limit
    StagedCore* staged = nullptr;  ///< the core where it runs in stages, and so can be parked and resumed
    bool looksAtBox = true;        ///< whether the run is told where the image lies in the volume
};

struct Method {
    std::string name;
    std::string summary;               ///< one line for --help
    std::vector<std::string> reads;    ///< options that mean something to it
    unsigned iterations = 0;           ///< default limit; 0 for a direct method
    bool showsIterates = false;        ///< hands each iterate to a sink
    double regularization = 0.0;       ///< default strength
    double leastRegularization = 0.0;  ///< smallest strength that makes sense
    bool liftsNegative = false;        ///< raises an image with negative samples above 0 by itself
    bool scalesStrength = false;  ///< its strength counts for samples divided by the largest of the volume
    bool wholeRegularization = false;  ///< takes whole strengths only
    bool refinesPsf = false;           ///< changes the PSF too, and counts sweeps of both
    Sides sides = Sides::Any;          ///< what it asks of the padded volume
    /// Volumes' worth of the core's buffers that a run never touches, so that the system hands out addresses for
    /// them and no memory; empty where there are none.
    std::function<double(double strength)> idleVolumes = {};

    bool iterative() const { return iterations > 0; }
    bool endsByItself() const;  ///< has a stop test

    /// A core and its parameters for these settings. sink may be null.
    std::function<PreparedMethod(const Method&, const MethodSettings&, IterateSink* sink)> make;
};

/// The table of methods for volumes; the first is the default.
const std::vector<Method>& Methods();

/// Far beyond every setting that anybody may mean, and well inside what single precision holds.
inline constexpr double kGreatestSetting = 1.0e6;

/// UserError (usage) for a number that is NaN or outside the method's range; looks at no file.
void CheckSettings(const Method& method, const MethodSettings& settings);

}  // namespace rydecon
