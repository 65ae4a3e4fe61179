// SPDX-License-Identifier: MIT

#include "commands/compare.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "io/file_error.h"
#include "io/stack_reader.h"
#include "report/progress_bar.h"
#include "report/similarity.h"
#include "report/stop_request.h"
#include "report/user_error.h"

namespace rydecon {
namespace {

constexpr const char* kDetails =
    "Prints a line 'name value' for each number:\n"
    "  rmse        root of the mean squared difference\n"
    "  psnr        20 log10(peak / rmse) in dB; peak: the largest sample of the reference\n"
    "  pearson     correlation of the samples, -1 to 1\n"
    "  flux_ratio  sum of the stack / sum of the reference\n"
    "A number that does not exist, such as the correlation with a constant stack, is 'undefined'; psnr of\n"
    "equal stacks is 'inf'. Both stacks need the same shape; voxel sizes are not compared.\n\n";

struct CompareOptions {
    std::filesystem::path stack;
    std::filesystem::path reference;
    bool json = false;
};

std::string Shape(const StackHeader& header) {
    std::string text = std::to_string(header.width) + " x " + std::to_string(header.height) + " x " +
                       std::to_string(header.slices);
    if (header.channels > 1 || header.times > 1) {
        text += " x " + std::to_string(header.channels) + " channels x " + std::to_string(header.times) +
                " times";
    }
    return text;
}

void RequireOneShape(const CompareOptions& options, const StackHeader& a, const StackHeader& b) {
    if (a.width == b.width && a.height == b.height && a.slices == b.slices && a.channels == b.channels &&
        a.times == b.times) {
        return;
    }
    throw UserError("the shapes differ: " + Quoted(options.stack) + " has " + Shape(a) + " samples, " +
                    Quoted(options.reference) + " has " + Shape(b) + "; crop one of them");
}

void RequireFinite(const CompareOptions& options, const SimilaritySums& sums) {
    if (sums.nonFiniteA() + sums.nonFiniteB() == 0) return;
    throw UserError(
        "samples that are NaN or infinite cannot be compared: " + std::to_string(sums.nonFiniteA()) + " in " +
        Quoted(options.stack) + ", " + std::to_string(sums.nonFiniteB()) + " in " +
        Quoted(options.reference) + "; replace them by numbers first");
}

SimilaritySums Gather(const CompareOptions& options, const Messages& messages) {
    StackReader a(options.stack, messages, Accept::AnyStack);
    StackReader b(options.reference, messages, Accept::AnyStack);
    const StackHeader& header = a.header();
    RequireOneShape(options, header, b.header());

    const auto samples = static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height);
    std::vector<float> planeA(samples);
    std::vector<float> planeB(samples);
    SimilaritySums sums;
    ProgressBar bar(static_cast<unsigned>(header.planes()), "comparing", messages);
    for (int k = 0; k < header.planes(); ++k) {
        LeaveIfStopRequested();
        a.ReadPlane(k, planeA.data(), header.width);
        b.ReadPlane(k, planeB.data(), header.width);
        sums.AddPlane(planeA.data(), planeB.data(), samples);
        bar.Advance(1);
    }
    RequireFinite(options, sums);
    return sums;
}

std::string Number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

void Print(const Similarity& similarity, bool json) {
    const std::pair<const char*, std::optional<double>> numbers[] = {{"rmse", similarity.rmse},
                                                                     {"psnr", similarity.psnr},
                                                                     {"pearson", similarity.pearson},
                                                                     {"flux_ratio", similarity.fluxRatio}};
    std::string members;
    for (const auto& [name, value] : numbers) {
        if (json) {
            members += members.empty() ? "" : ", ";
            members += "\"" + std::string(name) + "\": ";
            members += value && std::isfinite(*value) ? Number(*value) : "null";
        } else {
            std::printf("%s %s\n", name, value ? Number(*value).c_str() : "undefined");
        }
    }
    if (json) std::printf("{%s}\n", members.c_str());
}

}  // namespace

void AddCompareCommand(CLI::App& app, CommandContext& context) {
    CLI::App* const command = app.add_subcommand("compare", "Tells how far a stack lies from a reference");
    command->footer(kDetails + app.get_footer());
    auto options = std::make_shared<CompareOptions>();
    command->add_option("stack", options->stack, "The stack to judge")->required()->type_name("A.tif");
    command->add_option("reference", options->reference, "What it should be")->required()->type_name("B.tif");
    command->add_flag("--json", options->json,
                      "Print one JSON object; what is undefined or infinite is null");
    command->callback([options, &context] {
        const Similarity similarity = Gather(*options, context.messages).Result();
        Print(similarity, options->json);
    });
}

}  // namespace rydecon
