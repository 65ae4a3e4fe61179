// SPDX-License-Identifier: MIT

#include "commands/info.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "commands/info_record.h"
#include "io/stack_reader.h"
#include "report/progress_bar.h"
#include "report/stop_request.h"
#include "report/terminal_messages.h"
#include "report/user_error.h"

namespace rydecon {
namespace {

constexpr const char* kDetails =
    "Tells for each file its shape, axes, sample type, voxel size, time step, channels and optics, and from "
    "which\n"
    "metadata they come; then for each channel least and largest sample, mean, standard deviation, "
    "percentiles,\n"
    "samples at the largest number that the type or its significant bits allow (saturated), samples that are "
    "NaN\n"
    "or infinite, the noise (standard deviation, from second differences), and the mean of the last time "
    "point by\n"
    "that of the first (bleaching). What a file does not tell is left out; null with --json.\n\n";

struct InfoOptions {
    std::vector<std::filesystem::path> files;
    bool json = false;
    bool metadataOnly = false;
};

void Measure(StackReader& reader, InfoRecord& record, const Messages& messages) {
    const StackHeader& header = record.header;
    record.channels.assign(static_cast<std::size_t>(header.channels), {ChannelStatistics(header), {}});
    std::vector<float> plane(static_cast<std::size_t>(header.width) *
                             static_cast<std::size_t>(header.height));
    ProgressBar bar(static_cast<unsigned>(header.planes()), "reading", messages);
    for (int k = 0; k < header.planes(); ++k) {
        LeaveIfStopRequested();
        const PlaneIndex place = PlaneAt(header, k);
        reader.ReadPlane(place, plane.data(), header.width);
        ChannelFindings& channel = record.channels[static_cast<std::size_t>(place.c)];
        channel.statistics.AddPlane(place.t, plane.data(), header.width);
        channel.noise.AddPlane(plane.data(), header.width, header.width, header.height);
        bar.Advance(1);
    }
}

InfoRecord Inspect(const std::filesystem::path& path, const InfoOptions& options, const Messages& messages) {
    StackReader reader(path, messages, Accept::AnyStack);
    InfoRecord record{path, reader.header(), {}};
    if (!options.metadataOnly) Measure(reader, record, messages);
    return record;
}

/// A file that cannot be read does not keep the others from being told; the command fails at the end.
void Run(const InfoOptions& options, const Messages& messages) {
    std::vector<InfoRecord> records;
    std::optional<UserError> failure;
    for (const std::filesystem::path& path : options.files) {
        try {
            InfoRecord record = Inspect(path, options, messages);
            if (options.json) {
                records.push_back(std::move(record));
            } else {
                std::fputs(InfoText(record).c_str(), stdout);
            }
        } catch (const UserError& error) {
            if (error.code() == ExitCode::Stopped) throw;
            if (failure) PrintError(failure->what());
            failure.emplace(error);
        }
    }
    if (options.json) std::puts(InfoJson(records).c_str());
    if (failure) throw UserError(*failure);
}

}  // namespace

void AddInfoCommand(CLI::App& app, CommandContext& context) {
    CLI::App* const command =
        app.add_subcommand("info", "Tells what is in stacks: shape, metadata, intensities, noise");
    command->footer(kDetails + app.get_footer());
    auto options = std::make_shared<InfoOptions>();
    command->add_option("files", options->files, "The stacks")->required()->type_name("FILE...");
    command->add_flag("--json", options->json, "Print one JSON array with an object for each file");
    command->add_flag("--metadata", options->metadataOnly, "Tell the metadata only; samples are not read");
    command->callback([options, &context] { Run(*options, context.messages); });
}

}  // namespace rydecon
