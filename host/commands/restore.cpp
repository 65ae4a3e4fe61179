// SPDX-License-Identifier: MIT
#include "commands/restore.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/option_checks.h"
#include "commands/restore_line.h"
#include "commands/settings_file.h"
#include "report/output_file.h"
#include "report/user_error.h"
#include "restoration/blocks/memory_limit.h"
#include "restoration/checkpoint.h"
#include "restoration/estimate_job.h"
#include "restoration/picture_method.h"

namespace rydecon {

namespace {

/// An iteration count that somebody may mean; beyond it stands a slip of the finger.
constexpr unsigned kMostIterations = 100000;

constexpr const char* kDetails =
    "The largest sample of the PSF is its centre, wherever it lies in the file; the PSF is divided by\n"
    "its sum. The stack is padded by the reach of the PSF, so that opposite borders do not meet. Shape\n"
    "and voxel size, names and colours of channels and optics stay, intensities keep their scale;\n"
    "dates and annotations are not copied.\n\n";

const std::map<std::string, BlindGuard> kGuards = {
    {"off", BlindGuard::Never}, {"0.3", BlindGuard::Within03Decades}, {"0.8", BlindGuard::Within08Decades}};

const std::vector<std::string> kMethodOptions = {"--iterations",   "--regularization",
                                                 "--stop-ratio",   "--no-auto-stop",
                                                 "--wiener-start", "--threshold-scale",
                                                 "--noise",        "--inner",
                                                 "--guard",        "--energy-stop",
                                                 "--psf-out",      "--truth",
                                                 "--checkpoint",   "--checkpoint-every",
                                                 "--resume",       "--tiles",
                                                 "--per-plane",    "--curve"};

struct Theme {
    const char* heading;
    std::vector<const char*> options;
};

/// Headings of --help and of the manual, and what stands under them.
const std::vector<Theme> kThemes = {
    {kFilesGroup,
     {"--output", "--overwrite", "--dtype", "--rescale", "--channels", "--times", "--truth", "--report"}},
    {kOpticsGroup, {"--psf", "--psf-out"}},
    {"Method",
     {"--method", "--regularization", "--threshold-scale", "--wiener-start", "--noise", "--inner",
      "--guard"}},
    {"Stop",
     {"--iterations", "--stop", "--stop-ratio", "--no-auto-stop", "--energy-stop", "--gain", "--offset",
      "--seed", "--curve"}},
    {"Memory and resuming", {"--max-memory", "--resume", "--checkpoint", "--checkpoint-every"}},
    {"Cleaning", {"--background", "--hot-pixels"}},
    {"Pictures", {"--tiles", "--per-plane"}}};

void GroupByTheme(CLI::App& command) {
    for (const auto& [heading, options] : kThemes) {
        for (const char* option : options) command.get_option(option)->group(heading);
    }
}

const std::map<std::string, SampleType> kSampleTypes = {
    {"float32", SampleType::Float32}, {"u16", SampleType::UInt16}, {"u8", SampleType::UInt8}};

/// One PSF, or one for each channel.
void TakeSelection(const Selection& selection, const OpticsOptions& optics, RestoreJob& job) {
    if (selection.channels) job.channels = ParseNumbers("--channels", *selection.channels);
    if (selection.times) job.times = ParseNumbers("--times", *selection.times);
    std::vector<PsfChoice> psfs;
    for (const std::filesystem::path& file : selection.psfs) psfs.push_back({file, OpticsFrom(optics)});
    if (psfs.empty()) {
        for (Optics& own : OpticsByChannel(optics)) psfs.push_back({{}, std::move(own)});
    }
    job.psf = psfs.front();
    if (psfs.size() > 1) job.channelPsfs = std::move(psfs);
}

/// Which of the options that not every method reads stand on the command line.
std::vector<std::string> GivenOptions(const CLI::App& command) {
    std::vector<std::string> given;
    for (const std::string& option : kMethodOptions) {
        if (command.count(option) > 0) given.push_back(option);
    }
    return given;
}

void AddImageOptions(CLI::App& app, RestoreLine& line) {
    CLI::App* const command = &app;
    RestoreJob* const job = &line.job;
    OpticsOptions* const optics = &line.optics;
    Selection* const selection = &line.selection;
    QualityOptions* const quality = &line.quality;
    std::optional<std::string>* const tiles = &line.tiles;
    job->method = Methods().front().name;
    MethodSettings& settings = job->settings;

    std::string methods = "How to restore.";
    std::string pictures;
    for (const PictureMethod& method : PictureMethods()) {
        pictures += "\n  " + method.name + ": " + method.summary;
    }
    for (const Method& method : Methods()) methods += "\n  " + method.name + ": " + method.summary;

    command
        ->add_option("image", line.images,
                     "The blurred stack, a TIFF file; or several, patterns such as 'day*/*.tif', folders")
        ->type_name("IN.tif");
    CLI::Option* const psf = command
                                 ->add_option("--psf", selection->psfs,
                                              "The point spread function, a TIFF file; once, or once for "
                                              "each channel; without it the PSF is "
                                              "computed from the optics")
                                 ->type_name("PSF.tif")
                                 ->allow_extra_args(false);
    command->add_option("--channels", selection->channels, "Restore these channels only: 1,3-4")
        ->type_name("LIST");
    command->add_option("--times", selection->times, "Restore these time points only: 1,5-10")
        ->type_name("LIST");
    command
        ->add_option(
            "-o,--output", job->output,
            "Where to write the restored stack: TIFF, OME-TIFF where it ends in .ome.tif; of several "
            "images a folder")
        ->type_name("OUT.tif");
    command
        ->add_option(
            "--dtype", line.sampleType,
            "Samples of the output; integers are rounded to the nearest, and stretched by --rescale alone")
        ->check(OneOf({"float32", "u16", "u8"}))
        ->default_str("float32")
        ->option_text("float32|u16|u8");
    command->add_flag(
        "--rescale", job->rescale,
        "With --dtype u16 or u8: maps the restored samples, least to largest of all channels and "
        "times, to all that the type holds");
    command->add_flag("--overwrite", job->overwrite, "Replace an existing output");
    command->add_option("--method", job->method, methods + pictures)
        ->capture_default_str()
        ->type_name("NAME");
    command
        ->add_option("--iterations", settings.iterations, "Most iterations; each method has its own default")
        ->transform(WholeNumber(0, kMostIterations))
        ->type_name("N");
    command
        ->add_option("--regularization", settings.regularization,
                     "How much to smooth or to damp noise; the scale is that of the method")
        ->check(RealNumber())
        ->type_name("P");
    command
        ->add_option("--stop-ratio", settings.stopRatio,
                     "Threshold of the automatic stop; larger ends accelerated sooner")
        ->check(RealNumber())
        ->capture_default_str()
        ->type_name("R");
    command
        ->add_option("--threshold-scale", settings.thresholdScale,
                     "Factor of the threshold below which wavelet coefficients count as noise")
        ->check(RealNumber())
        ->capture_default_str()
        ->type_name("F");
    command->add_flag("--no-auto-stop", settings.noAutoStop, "Run all iterations");
    command->add_flag("--wiener-start", settings.wienerStart, "Begin from a Wiener filtered image");
    command->add_option("--noise", settings.noise, "Wiener: 0 for little noise to 4 for much")
        ->capture_default_str()
        ->transform(WholeNumber(0, 4))
        ->type_name("0..4");
    command
        ->add_option("--inner", settings.inner,
                     "blind: sweeps a pass, 1, 10 or 20; 10 and 20 are accelerated")
        ->capture_default_str()
        ->check(OneOf({"1", "10", "20"}))
        ->type_name("N");
    command
        ->add_option(
            "--guard", line.guard,
            "blind: the data that passes fit follow the estimate while its peak stays within so many "
            "decades of the first; off: they stay the image")
        ->check(OneOf({"off", "0.3", "0.8"}))
        ->default_str("off")
        ->option_text("off|0.3|0.8");
    command
        ->add_option(
            "--energy-stop", settings.energyStop,
            "blind: a pass ends where the energy ratio of image and PSF crosses it; below -0.5 never")
        ->check(RealNumber())
        ->capture_default_str()
        ->type_name("E");
    command
        ->add_option("--psf-out", job->psfOutput, "blind: where to write the refined PSF, centred, of sum 1")
        ->type_name("PSF.tif");
    command
        ->add_option("--truth", job->truth,
                     "The known truth of a simulation; prints the RMSE of each iterate")
        ->type_name("TRUTH.tif");

    command
        ->add_option("--checkpoint", job->checkpoint,
                     "Park the estimate of a long run in this file (tv, tv-ictm)")
        ->type_name("FILE");
    command
        ->add_option("--checkpoint-every", settings.checkpointEvery,
                     "Iterations between two checkpoints; tv-ictm begins its search direction anew there")
        ->capture_default_str()
        ->transform(WholeNumber(1, kMostIterations))
        ->type_name("N");
    command
        ->add_option("--resume", line.resume,
                     "Go on with the finished pieces of a run that was stopped or killed, which stand in "
                     "OUT.tif.parts; with FILE from that checkpoint; the other options as before")
        ->expected(0, 1)
        ->type_name("[FILE]");
    command
        ->add_option("--max-memory", line.maxMemory,
                     "Most memory to take, as 500M or 4G; a stack that needs more is restored in overlapping "
                     "blocks; without it what the machine has free")
        ->type_name("SIZE");

    command
        ->add_option("--tiles", *tiles,
                     "pictures: tiles to the right and downwards, restored one after the other; auto: as few "
                     "and small frames as the picture needs")
        ->default_str("1x1")
        ->type_name("auto|XxY");
    command->add_flag("--per-plane", job->perPlane, "Restore each plane of a stack as a picture of its own");

    command
        ->add_option(
            "--report", job->report,
            "Where to write a page that shows the image before and after, the curves, and every setting")
        ->type_name("FILE.html");

    AddQualityOptions(*command, *quality, *job);
    for (CLI::Option* const option : AddOpticsOptions(*command, *optics, Wavelengths::ByChannel))
        psf->excludes(option);
    GroupByTheme(*command);
}

/// Whether --resume speaks of pieces: it stands alone, or before the image.
bool ResumesPieces(const CLI::App& command, const RestoreLine& line) {
    return command.count("--resume") > 0 && line.resume.empty();
}

}  // namespace

void AddRestoreOptions(CLI::App& app, RestoreLine& line) {
    AddImageOptions(app, line);
    AddBatchOptions(app, line.batch);
}

void TakeImageFromResume(RestoreLine& line) {
    if (!line.images.empty() || line.resume.empty() || Checkpoint::IsOne(line.resume)) return;
    line.images.push_back(line.resume);
    line.resume.clear();
}

RestoreJob JobOf(const CLI::App& command, const RestoreLine& line) {
    RestoreJob job = line.job;
    TakeQualityOptions(line.quality, job);
    job.sampleType = kSampleTypes.at(line.sampleType);
    job.settings.guard = kGuards.at(line.guard);
    job.given = GivenOptions(command);
    job.resumePieces = ResumesPieces(command, line);
    job.resume = line.resume;
    if (job.resumePieces) std::erase(job.given, "--resume");  // every method does
    if (line.maxMemory) job.maxMemory = ParseByteSize("--max-memory", *line.maxMemory);
    if (line.tiles) job.tiles = ParseTiles(*line.tiles);
    if (job.rescale && job.sampleType == SampleType::Float32) {
        throw UserError("--rescale fills the range of integers; add --dtype u16 or --dtype u8",
                        ExitCode::Usage);
    }
    TakeSelection(line.selection, line.optics, job);
    RequireTiffName(job.output);
    RequireTiffName(job.psfOutput);
    return job;
}

void AddRestoreCommand(CLI::App& app, CommandContext& context) {
    CLI::App* const command = app.add_subcommand(
        "restore", "Restores a blurred 3D stack with the point spread function that blurred it");
    command->footer(kDetails + app.get_footer());
    auto line = std::make_shared<RestoreLine>();
    const auto sources = AddSettingsFile(*command, SettingsPrinting::Offered);
    AddRestoreOptions(*command, *line);
    command->callback([line, command, sources, &context] {
        sources->Run([&] { RunRestoreLine(*command, *line, context.messages); });
    });
}

void AddEstimateCommand(CLI::App& app, CommandContext& context) {
    CLI::App* const command = app.add_subcommand(
        "estimate", "Tells what 'restore' with the same options would take: blocks, memory, time");
    command->footer(app.get_footer());
    auto line = std::make_shared<RestoreLine>();
    AddImageOptions(*command, *line);
    command->callback([line, command, &context] {
        TakeImageFromResume(*line);
        if (line->images.size() != 1) {
            throw UserError("an estimate is for one image; give one", ExitCode::Usage);
        }
        RestoreJob job = JobOf(*command, *line);
        job.image = line->images.front();
        RunEstimateJob(job, context.messages);
    });
}

}  // namespace rydecon
