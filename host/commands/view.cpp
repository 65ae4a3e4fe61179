// SPDX-License-Identifier: MIT

#include "commands/view.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "io/file_error.h"
#include "io/stack_reader.h"
#include "report/counted.h"
#include "report/output_file.h"
#include "report/png_file.h"
#include "report/progress_bar.h"
#include "report/projections.h"
#include "report/stack_picture.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {
namespace {

constexpr const char* kDetails =
    "The picture, an 8-bit grey PNG, shows the maximum along z and below it the maximum along y, with z\n"
    "downwards, stretched so that all directions have one scale; small stacks are magnified. The bar has a\n"
    "round length in um, or in samples (px) where the file does not tell the voxel size. Each stack has its\n"
    "own contrast: black is percentile 1 of its projections, white percentile 99.9.\n\n";

struct ViewOptions {
    std::filesystem::path stack;
    std::filesystem::path after;  // empty: one stack only
    std::filesystem::path picture;
    bool overwrite = false;
};

Projections Project(const std::filesystem::path& path, const Messages& messages) {
    StackReader reader(path, messages);
    const StackHeader& header = reader.header();
    Projections projections(header);
    std::vector<float> plane(static_cast<std::size_t>(header.width) *
                             static_cast<std::size_t>(header.height));
    ProgressBar bar(static_cast<unsigned>(header.planes()), "reading", messages);
    for (int k = 0; k < header.planes(); ++k) {
        LeaveIfStopRequested();
        reader.ReadPlane(k, plane.data(), header.width);
        projections.AddPlane(plane.data());
        bar.Advance(1);
    }
    if (projections.nonFinite() > 0) {
        messages.Note(Quoted(path) + ": " + Counted(projections.nonFinite(), "sample") + " that " +
                      IsOrAre(projections.nonFinite()) + " NaN or infinite " +
                      IsOrAre(projections.nonFinite()) + " left out of the picture");
    }
    return projections;
}

void CheckPictureName(const std::filesystem::path& picture) {
    std::string ending = picture.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    if (ending == ".png") return;
    throw UserError("the picture is a PNG: " + Quoted(picture) + " needs a name that ends in .png",
                    ExitCode::Usage);
}

void Run(const ViewOptions& options, const Messages& messages) {
    CheckOutputFile(options.picture, options.overwrite, {options.stack, options.after});
    CheckPictureName(options.picture);
    const bool pair = !options.after.empty();
    std::vector<GreyPicture> pictures;
    pictures.push_back(DrawStack(Project(options.stack, messages), pair ? "before" : ""));
    if (pair) pictures.push_back(DrawStack(Project(options.after, messages), "after"));
    WritePng(SideBySide(pictures), options.picture, options.overwrite);
}

}  // namespace

void AddViewCommand(CLI::App& app, CommandContext& context) {
    CLI::App* const command =
        app.add_subcommand("view", "Draws maximum projections of a stack, or of two side by side");
    command->footer(kDetails + app.get_footer());
    auto options = std::make_shared<ViewOptions>();
    command->add_option("stack", options->stack, "The stack")->required()->type_name("IN.tif");
    command->add_option("after", options->after, "A second stack, shown to the right of the first")
        ->type_name("IN2.tif");
    command->add_option("-o,--output", options->picture, "Where to write the picture")
        ->required()
        ->type_name("OUT.png");
    command->add_flag("--overwrite", options->overwrite, "Replace an existing picture");
    command->callback([options, &context] { Run(*options, context.messages); });
}

}  // namespace rydecon
