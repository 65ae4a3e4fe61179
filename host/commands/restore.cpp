// SPDX-License-Identifier: MIT
#include "commands/restore.h"

#include <memory>
#include <string>

#include "restoration/job.h"

namespace rydecon {

void AddRestoreCommand(CLI::App& app, CommandContext& context) {
    CLI::App* const command = app.add_subcommand(
        "restore", "Restores a blurred 3D stack with the point spread function that blurred it");
    auto job = std::make_shared<RestoreJob>();
    job->method = Methods().front().name;

    std::string methods = "How to restore.";
    for (const Method& method : Methods()) methods += "\n" + method.name + ": " + method.summary;

    command->add_option("image", job->image, "The blurred stack, a TIFF file")
        ->required()
        ->type_name("IN.tif");
    command->add_option("--psf", job->psf, "The point spread function, a TIFF file of the same voxel size")
        ->required()
        ->type_name("PSF.tif");
    command->add_option("-o,--output", job->output, "Where to write the restored stack (float32 TIFF)")
        ->required()
        ->type_name("OUT.tif");
    command->add_option("--method", job->method, methods)->capture_default_str()->type_name("NAME");
    command->add_option("--noise", job->settings.noise, "Wiener: 0 for little noise to 4 for much")
        ->capture_default_str()
        ->check(CLI::Range(0, 4))
        ->type_name("0..4");
    command->add_flag("--overwrite", job->overwrite, "Replace an existing output");
    command->callback([job, &context] { RunRestoreJob(*job, context.messages); });
}

}  // namespace rydecon
