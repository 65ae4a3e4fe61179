// SPDX-License-Identifier: MIT
#include "restoration/selected_stack.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>
#include <string_view>

#include "io/file_error.h"
#include "report/counted.h"
#include "report/user_error.h"

namespace rydecon {

namespace {

/// No file has more of either axis.
constexpr int kMostNumbers = 1000000;

/// A whole number from 1 at the front of the text, taken off it; 0 where there is none.
int TakeNumber(std::string_view& text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number < 1 || number > kMostNumbers) return 0;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

/// Positions from 0 of the numbers; all of `there` where none is given.
std::vector<int> Positions(const Numbers& numbers, int there, const std::string& what,
                           const std::filesystem::path& path) {
    std::vector<int> positions;
    if (numbers.empty()) {
        positions.resize(static_cast<std::size_t>(there));
        std::iota(positions.begin(), positions.end(), 0);
    }
    const auto beyond = std::find_if(numbers.begin(), numbers.end(), [there](int n) { return n > there; });
    if (beyond != numbers.end()) {
        throw UserError("--" + what + "s asks for " + what + " " + std::to_string(*beyond) + ", and " +
                            Quoted(path) + " has " + Counted(there, what),
                        ExitCode::Usage);
    }
    positions.reserve(positions.size() + numbers.size());
    for (const int number : numbers) positions.push_back(number - 1);
    return positions;
}

/// Time from one selected time to the next; none where they lie unevenly.
std::optional<TimeStep> StepOf(const std::vector<int>& times, std::optional<TimeStep> step) {
    if (!step || times.size() < 2) return step;
    const int stride = times[1] - times[0];
    for (std::size_t n = 2; n < times.size(); ++n) {
        if (times[n] - times[n - 1] != stride) return std::nullopt;
    }
    step->value *= stride;
    return step;
}

}  // namespace

Numbers ParseNumbers(const std::string& option, const std::string& text) {
    const auto refuse = [&] {
        throw UserError(option + " is '" + text + "'; numbers from 1 and ranges such as 1,3-5 are needed",
                        ExitCode::Usage);
    };
    Numbers numbers;
    std::string_view rest = text;
    for (bool more = true; more;) {
        const int first = TakeNumber(rest);
        int last = first;
        if (!rest.empty() && rest.front() == '-') {
            rest.remove_prefix(1);
            last = TakeNumber(rest);
        }
        if (first == 0 || last < first) refuse();
        for (int number = first; number <= last; ++number) numbers.push_back(number);
        more = !rest.empty();
        if (more && rest.front() != ',') refuse();
        if (more) rest.remove_prefix(1);
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

SelectedStack::SelectedStack(StackReader& reader, const std::filesystem::path& path, const Numbers& channels,
                             const Numbers& times)
    : reader_(reader),
      channels_(Positions(channels, reader.header().channels, "channel", path)),
      times_(Positions(times, reader.header().times, "time", path)),
      header_(reader.header()) {
    const StackHeader& whole = reader.header();
    header_.channels = static_cast<int>(channels_.size());
    header_.times = static_cast<int>(times_.size());
    if (!header_.channel.empty()) {
        header_.channel.clear();
        for (const int c : channels_) header_.channel.push_back(RecordOf(whole, c));
    }
    header_.optics = OpticsOf(whole, channels_.front());
    header_.timeStep = StepOf(times_, whole.timeStep);
}

void SelectedStack::ReadPlane(const PlaneIndex& plane, float* rows, std::ptrdiff_t rowStride) {
    reader_.ReadPlane(
        {plane.z, channels_[static_cast<std::size_t>(plane.c)], times_[static_cast<std::size_t>(plane.t)]},
        rows, rowStride);
}

std::string SelectedStack::NameOf(int c) const {
    if (reader_.header().channels < 2) return "";
    const std::string& own = RecordOf(header_, c).name;
    return "channel " + std::to_string(ChannelOfFile(c) + 1) + (own.empty() ? "" : " (" + own + ")");
}

std::string SelectedStack::NameOf(int c, int t) const {
    std::string name = NameOf(c);
    if (reader_.header().times > 1) {
        name += (name.empty() ? "" : ", ");
        name += "time " + std::to_string(times_[static_cast<std::size_t>(t)] + 1);
    }
    return name;
}

StackHeader HeaderOfChannel(const StackHeader& header, int c) {
    StackHeader one = header;
    one.optics = OpticsOf(header, c);
    one.channel.clear();
    if (!header.channel.empty()) one.channel.push_back(RecordOf(header, c));
    one.channels = 1;
    one.times = 1;
    return one;
}

Extent SelectedVolumes::ShapeOf(int /*volume*/) const {
    const StackHeader& header = stack_.header();
    return {header.width, header.height, header.slices};
}

void SelectedVolumes::ReadPlane(int volume, int k, float* rows, std::ptrdiff_t rowStride) {
    const int times = stack_.header().times;
    stack_.ReadPlane({k, volume / times, volume % times}, rows, rowStride);
}

}  // namespace rydecon
