// SPDX-License-Identifier: MIT
#include "commands/quality_options.h"

#include "commands/option_checks.h"
#include "io/length_unit.h"

namespace rydecon {

namespace {

constexpr double kLargestBackground = 1.0e9;

std::string CheckBackground(const std::string& text) {
    const auto value = ParseNumber(text);
    const bool sound = value && *value >= -kLargestBackground && *value <= kLargestBackground;
    return sound || text == "auto" ? std::string() : Complaint(text, "auto or a number from -1e9 to 1e9");
}

}  // namespace

void AddQualityOptions(CLI::App& command, QualityOptions& options, RestoreJob& job) {
    command
        .add_option("--background", options.background,
                    "Takes a constant off the image first, given or estimated: the level that a twentieth of "
                    "its local means lie below; what falls below 0 is 0")
        ->check(CLI::Validator(CheckBackground, ""))
        ->type_name("auto|VALUE");
    command
        .add_option("--hot-pixels", options.hotPixels,
                    "auto: replaces single samples far above all their neighbours by the neighbours' median")
        ->capture_default_str()
        ->check(OneOf({"off", "auto"}))
        ->option_text("off|auto");
    command
        .add_option(
            "--stop", options.stop,
            "own: the method's own rule; split: the photons are dealt to two halves, both are restored, "
            "and the image takes the iterations at which they agree best, --iterations at most; three "
            "to five times as long")
        ->capture_default_str()
        ->check(OneOf({"own", "split"}))
        ->option_text("own|split");
    command
        .add_option("--gain", job.stop.photons.gain,
                    "split: units of the image per photon; estimated from the noise where not given")
        ->check(RealNumber())
        ->type_name("G");
    command
        .add_option("--offset", job.stop.photons.offset,
                    "split: sample without light; 0 beside --gain, else estimated with the gain")
        ->check(RealNumber())
        ->type_name("B");
    command.add_option("--seed", job.stop.seed, "split: which halves, one pair for each number")
        ->transform(WholeNumber())
        ->type_name("N")
        ->default_str("1");
    command
        .add_option("--curve", job.curveOutput,
                    "Where to write, for each iteration, how far the blurred estimate lies from the image "
                    "(I-divergence), or with --stop split each half's from the other half")
        ->type_name("FILE.csv");
}

void TakeQualityOptions(const QualityOptions& options, RestoreJob& job) {
    job.cleaning.findBackground = options.background == "auto";
    job.cleaning.repairHotPixels = options.hotPixels == "auto";
    if (!options.background.empty() && !job.cleaning.findBackground) {
        job.cleaning.background = ParseNumber(options.background);
    }
    job.stop.split = options.stop == "split";
    job.wantsCurve = job.wantsCurve || (!(job.curveOutput.empty() && job.report.empty()) && !job.stop.split);
}

}  // namespace rydecon
