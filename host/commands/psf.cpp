// SPDX-License-Identifier: MIT
#include "commands/psf.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/optics_options.h"
#include "commands/option_checks.h"
#include "commands/settings_file.h"
#include "io/file_error.h"
#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "optics/computed_psf.h"
#include "optics/units.h"
#include "report/output_file.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {
namespace {

constexpr const char* kDetails =
    "Writes the PSF centred, of sum 1, float32, and prints what it was computed from, the recommended size,\n"
    "and its full widths at half maximum beside those of scalar diffraction (Airy's disc and a squared "
    "sinc;\n"
    "confocal: as with a closed pinhole). Nothing is guessed: what is needed and not given is asked for.\n\n";

constexpr unsigned kLargestSide = 65536;

struct PsfOptions {
    OpticsOptions optics;
    std::optional<std::array<unsigned, 3>> size;
    std::filesystem::path image;
    std::filesystem::path output;
    bool plane = false;
    bool overwrite = false;
};

struct PsfRequest {
    Optics optics;
    Extent size;
};

/// Completes the record and chooses the size.
PsfRequest Resolve(const PsfOptions& options, const Messages& messages) {
    PsfRequest request{OpticsFrom(options.optics), {}};
    std::string remedy = ": give what is missing, or an image whose metadata tell it with --for";
    if (!options.image.empty()) {
        StackReader reader(options.image, messages);
        const StackHeader& header = reader.header();
        FillFromMetadata(request.optics, header, Quoted(options.image));
        request.size = {header.width, header.height, header.planes()};
        remedy = ": give what the metadata of " + Quoted(options.image) + " do not tell";
    }
    if (options.plane) FillIdleStep(request.optics);
    RequireSound(request.optics);
    RequireComplete(request.optics, remedy);
    if (options.size) {
        const auto& [x, y, z] = *options.size;
        request.size = {static_cast<int>(x), static_cast<int>(y), static_cast<int>(z)};
    } else if (options.image.empty()) {
        request.size = RecommendedExtent(request.optics);
    }
    if (options.plane) request.size.z = 1;
    return request;
}

void Write(const ComputedPsf& psf, const Optics& optics, const PsfOptions& options) {
    StackHeader header;
    header.width = psf.size().x;
    header.height = psf.size().y;
    header.slices = psf.size().z;
    const double pixel = optics.Value(Quantity::Pixel);
    header.voxel = {pixel, pixel, {}};
    if (!options.plane) header.voxel.z = optics.Value(Quantity::ZStep);
    StackWriter writer(options.output, header, options.overwrite);
    std::vector<float> plane(static_cast<std::size_t>(header.width) *
                             static_cast<std::size_t>(header.height));
    for (int k = 0; k < header.planes(); ++k) {
        LeaveIfStopRequested();
        float* to = plane.data();
        for (int j = 0; j < header.height; ++j) to = std::copy_n(psf.Row(j, k), header.width, to);
        writer.WritePlane(plane.data(), header.width);
    }
    writer.Commit();
}

void PrintLine(const std::string& name, const std::string& value, const std::string& source) {
    if (source.empty()) {
        std::printf("%-28s %s\n", name.c_str(), value.c_str());
    } else {
        std::printf("%-28s %-14s %s\n", name.c_str(), value.c_str(), source.c_str());
    }
}

void PrintRecord(const Optics& optics) {
    PrintLine("modality", optics.modality->name, optics.modalitySource);
    PrintLine("model", NameOf(optics.model), "");
    for (const QuantityTraits& traits : kQuantityTraits) {
        const auto& number = optics[traits.quantity];
        if (!number || !optics.Reads(traits.quantity)) continue;
        PrintLine(traits.name, traits.isLength ? LengthText(number->value) : NumberText(number->value),
                  number->source);
    }
    if (optics.model == PsfModel::Layered) PrintLine("inverted z", optics.invertZ ? "yes" : "no", "");
}

void PrintWidth(const char* axis, const std::optional<double>& measured,
                const std::optional<double>& theory) {
    const auto text = [](const std::optional<double>& w) { return w ? MeasuredLengthText(*w) : "undefined"; };
    std::printf("full width at half max in %s  %s, theory %s\n", axis, text(measured).c_str(),
                text(theory).c_str());
}

void Run(const PsfOptions& options, const Messages& messages) {
    RequireTiffName(options.output);
    CheckOutputFile(options.output, options.overwrite, {options.image});
    const PsfRequest request = Resolve(options, messages);
    NoteUnreadOptics(request.optics, messages);
    const ComputedPsf psf(request.optics, request.size, messages);
    Write(psf, request.optics, options);
    if (messages.quiet()) return;
    PrintRecord(request.optics);
    PrintLine("recommended size", ToString(RecommendedExtent(request.optics)) + " samples", "");
    PrintLine("size", ToString(request.size) + " samples", "");
    const Widths measured = psf.MeasuredWidths(request.optics);
    const Widths theory = TheoreticalWidths(request.optics);
    PrintWidth("x", measured.x, theory.x);
    if (!options.plane) PrintWidth("z", measured.z, theory.z);
}

}  // namespace

void AddPsfCommand(CLI::App& app, CommandContext& context) {
    CLI::App* const command =
        app.add_subcommand("psf", "Computes a point spread function from the optics of a microscope");
    command->footer(kDetails + app.get_footer());
    auto options = std::make_shared<PsfOptions>();
    const auto sources = AddSettingsFile(*command, SettingsPrinting::NotOffered);
    AddOpticsOptions(*command, options->optics);
    CLI::Option* const size =
        command->add_option("--size", options->size, "Sides in samples; the recommended ones if not given")
            ->transform(WholeNumber(1, kLargestSide))
            ->type_name("X Y Z");
    command->add_option("--for", options->image, "Take the sides of this stack, and the optics that it tells")
        ->type_name("IN.tif")
        ->excludes(size);
    command->add_flag("--plane", options->plane,
                      "Only the focal plane, for pictures; whatever the size in z");
    command->add_option("-o,--output", options->output, "Where to write the PSF (float32 TIFF)")
        ->required()
        ->type_name("PSF.tif");
    command->add_flag("--overwrite", options->overwrite, "Replace an existing output");
    command->callback(
        [options, sources, &context] { sources->Run([&] { Run(*options, context.messages); }); });
}

}  // namespace rydecon
