// SPDX-License-Identifier: MIT

#include "commands/simulate.h"

#include <memory>
#include <string>

#include "commands/option_checks.h"
#include "commands/settings_file.h"
#include "simulation/job.h"

namespace rydecon {
namespace {

constexpr const char* kDetails =
    "Writes truth.tif, the object: filaments, hollow shells and four points in a row whose brightness falls\n"
    "by halves; psf.tif, the point spread function, centred, of sum 1; and blurred.tif, what a camera sees "
    "of\n"
    "the object. All are float32. Truth and blurred are in photons, their sums agree but for noise and\n"
    "background. Light outside the stack is not simulated; nothing wraps around its faces. One seed gives "
    "one\n"
    "object and one set of random numbers.\n\n";

}  // namespace

void AddSimulateCommand(CLI::App& app, CommandContext& context) {
    CLI::App* const command =
        app.add_subcommand("simulate", "Makes a blurred, noisy stack whose truth and PSF are known");
    command->footer(kDetails + app.get_footer());
    auto job = std::make_shared<SimulationJob>();
    const auto sources = AddSettingsFile(*command, SettingsPrinting::NotOffered);
    command->add_option("-o,--output", job->folder, "Folder of the three files; made if it does not exist")
        ->required()
        ->type_name("DIR");
    command->add_option("--size", job->size, "Sides of the stack in samples, 8 at least")
        ->transform(WholeNumber(8, 65536))
        ->type_name("X Y Z")
        ->default_str("128 128 64");
    command->add_option("--pixel", job->pixel, "Distances of samples in um; with --psf those of its file")
        ->check(RealNumber())
        ->type_name("X Y Z")
        ->default_str("0.1 0.1 0.3");
    command->add_option("--seed", job->seed, "Number that chooses object and noise")
        ->transform(WholeNumber())
        ->type_name("N")
        ->capture_default_str();
    CLI::Option* const psf =
        command->add_option("--psf", job->psf, "Blur with this PSF, whose brightest sample is its centre")
            ->type_name("PSF.tif");
    command->add_option("--sigma", job->sigma, "Blur with a Gaussian of these standard deviations in um")
        ->check(RealNumber())
        ->type_name("X Y Z")
        ->default_str("0.2 0.2 0.6")
        ->excludes(psf);
    command
        ->add_option("--photons", job->photons,
                     "Photons expected in the brightest sample of the blurred stack")
        ->check(RealNumber())
        ->type_name("N")
        ->capture_default_str();
    command->add_option("--background", job->camera.background, "Photons more in every sample")
        ->check(RealNumber())
        ->type_name("N")
        ->capture_default_str();
    command->add_option("--read-noise", job->camera.readNoise, "Standard deviation of the camera, in photons")
        ->check(RealNumber())
        ->type_name("N")
        ->capture_default_str();
    command->add_flag("--no-noise", job->camera.noiseFree, "Give the expected photons, without any noise");
    command->add_flag("--overwrite", job->overwrite, "Replace existing files");
    command->callback(
        [job, sources, &context] { sources->Run([&] { RunSimulationJob(*job, context.messages); }); });
}

}  // namespace rydecon
