// SPDX-License-Identifier: MIT
#pragma once

// The methods that `rydecon restore` offers for pictures: those of the library's 2D family.

#include <gnr_deconvolution/deconvolution_2d.h>

#include <optional>
#include <string>
#include <vector>

#include "optics/optics.h"
#include "restoration/method.h"
#include "restoration/tile_plan.h"

namespace rydecon {

/// A square PSF, its centre at side / 2 in both directions.
struct SquarePsf {
    unsigned side = 0;
    std::vector<float> samples;
    std::string name{};              ///< the file in quotes, or "the computed PSF"
    std::optional<Optics> optics{};  ///< of a computed one
};

/// What one call on one picture is made of.
struct PictureCall {
    SRyFloatPicBuf to;
    SRyFloatPicBuf from;
    SquarePsf& psf;
    unsigned iterations;
    double regularization;
    double energyRatio;
    TileGrid tiles;
    RyProgressCallback progress;
    void* context;
    CRyUintRange range;  ///< takes the iterations of the tiles where the method ends by itself
};

struct PictureMethod {
    std::string name;
    std::string summary;             ///< one line for --help
    std::vector<std::string> reads;  ///< options that mean something to it
    unsigned iterations = 0;         ///< default limit
    double regularization = 0.0;     ///< default strength
    double greatestRegularization = 0.0;
    bool wholeRegularization = false;  ///< takes whole strengths only
    bool endsByItself = false;         ///< runs fewer iterations where a stop test tells
    const char* round = "iteration";   ///< what --iterations counts, one of them
    int margin = 40;                   ///< pixels around a tile in its frame
    unsigned polls = 1;                ///< calls of the callback with eProgressPoll in one iteration
    int (*run)(PictureCall& call) = nullptr;
};

const std::vector<PictureMethod>& PictureMethods();

/// UserError (usage) for a number that is NaN or outside the method's range; looks at no file.
void CheckSettings(const PictureMethod& method, const MethodSettings& settings);

}  // namespace rydecon
