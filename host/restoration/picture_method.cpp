// SPDX-License-Identifier: MIT
#include "restoration/picture_method.h"

#include <algorithm>
#include <bit>

#include "report/required_range.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

using Family = CRy2DDeconvolutionFamily;

int Whole(const PictureCall& call) {
    return static_cast<int>(call.regularization);
}

int RunTikhonovMiller(PictureCall& call) {
    return Family::AccRLTMAddProcessImage_x1(&call.to, &call.from, call.psf.samples.data(), call.psf.side,
                                             call.progress, call.context, 0, call.iterations, false,
                                             call.regularization, call.tiles.x, call.tiles.y, &call.range);
}

int RunTotalVariation(PictureCall& call) {
    return Family::AccRLTVAddProcessImage_x1(&call.to, &call.from, call.psf.samples.data(), call.psf.side,
                                             call.progress, call.context, 0, call.iterations, false,
                                             Whole(call), call.tiles.x, call.tiles.y);
}

int RunRealTotalVariation(PictureCall& call) {
    return Family::AccRLTVRealAddProcessImage_x1(&call.to, &call.from, call.psf.samples.data(), call.psf.side,
                                                 call.progress, call.context, 0, call.iterations, false,
                                                 Whole(call), call.tiles.x, call.tiles.y);
}

/// Side of the frame in which the steps of the subbands are found: it holds the PSF, is divisible by 8, and
/// stays small, since its cost goes with the square.
unsigned BoundSide(unsigned psf) {
    return std::clamp(std::bit_ceil(psf), 64U, 256U);
}

int RunLandweber(PictureCall& call) {
    const unsigned bound = BoundSide(call.psf.side);
    return Family::AccLandweberProcessImage_x1(&call.to, &call.from, call.psf.samples.data(), call.psf.side,
                                               call.progress, call.context, 0, call.iterations, false,
                                               Whole(call), bound, bound, call.tiles.x, call.tiles.y);
}

int RunPlainLandweber(PictureCall& call) {
    return Family::LandweberProcessImage_Unaccel_x1(
        &call.to, &call.from, call.psf.samples.data(), call.psf.side, call.progress, call.context, 0,
        call.iterations, false, call.regularization, call.tiles.x, call.tiles.y, &call.range);
}

int RunBlind(PictureCall& call) {
    return Family::AccIBDProcessImage_x1(&call.to, &call.from, call.psf.samples.data(), call.psf.side,
                                         static_cast<float>(call.energyRatio), call.progress, call.context, 0,
                                         call.iterations, false, call.tiles.x, call.tiles.y);
}

/// Beyond it no strength of these methods means anything.
constexpr double kGreatest = 1000.0;

/// From 29 on the term of this method may divide by 0.
constexpr double kGreatestOfRealTotalVariation = 28.0;

}  // namespace

const std::vector<PictureMethod>& PictureMethods() {
    static const std::vector<std::string> usual = {"--iterations", "--regularization", "--tiles",
                                                   "--per-plane"};
    static const std::vector<PictureMethod> methods = {
        {.name = "rltm",
         .summary = "pictures: Richardson-Lucy on a slightly smoothed picture, ends by itself; "
                    "--regularization of about 0.1 damps noise",
         .reads = usual,
         .iterations = 100,
         .greatestRegularization = kGreatest,
         .endsByItself = true,
         .run = RunTikhonovMiller},
        {.name = "rltv",
         .summary = "pictures: Richardson-Lucy with a smoothing term, all --iterations; --regularization is "
                    "whole and goes with the brightness",
         .reads = usual,
         .iterations = 30,
         .greatestRegularization = kGreatest,
         .wholeRegularization = true,
         .run = RunTotalVariation},
        {.name = "rltv-real",
         .summary = "pictures: Richardson-Lucy with total variation, all --iterations; --regularization is "
                    "whole, 28 at most",
         .reads = usual,
         .iterations = 30,
         .regularization = 2.0,
         .greatestRegularization = kGreatestOfRealTotalVariation,
         .wholeRegularization = true,
         .run = RunRealTotalVariation},
        {.name = "landweber",
         .summary = "pictures: least squares with momentum, noise shrunk in wavelets, all --iterations; "
                    "--regularization is whole",
         .reads = usual,
         .iterations = 30,
         .regularization = 1.0,
         .greatestRegularization = kGreatest,
         .wholeRegularization = true,
         .run = RunLandweber},
        {.name = "landweber-plain",
         .summary = "pictures: least squares on a slightly smoothed picture, noise shrunk in wavelets, ends "
                    "by itself",
         .reads = usual,
         .iterations = 100,
         .regularization = 0.5,
         .greatestRegularization = kGreatest,
         .endsByItself = true,
         .run = RunPlainLandweber},
        {.name = "blind",
         .summary = "pictures: Richardson-Lucy that refines the PSF too; --iterations counts cycles of ten "
                    "and five sweeps",
         .reads = {"--iterations", "--energy-stop", "--tiles", "--per-plane"},
         .iterations = 1,
         .round = "cycle",
         .margin = 15,
         .polls = 2,
         .run = RunBlind},
    };
    return methods;
}

void CheckSettings(const PictureMethod& method, const MethodSettings& settings) {
    const double strength = settings.regularization.value_or(method.regularization);
    const std::string what = "--regularization of method " + method.name;
    RequireRange(what, strength, 0.0, method.greatestRegularization);
    if (method.wholeRegularization) RequireWhole(what, strength);
    RequireRange("--energy-stop", settings.energyStop, -kGreatestSetting, kGreatestSetting);
}

}  // namespace rydecon
