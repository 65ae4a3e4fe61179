// SPDX-License-Identifier: MIT
#pragma once

// The channels and times of a stack file that a job works on.

#include <filesystem>
#include <string>
#include <vector>

#include "io/stack_reader.h"
#include "volume/plane_stream.h"

namespace rydecon {

/// Numbers counted from 1, ascending, each once; empty: all there are.
using Numbers = std::vector<int>;

/// From text such as "1,3-5"; UserError (usage) that names the option.
Numbers ParseNumbers(const std::string& option, const std::string& text);

class SelectedStack {
  public:
    /// UserError (usage) for a number that the file does not have. `reader` must outlive the object.
    SelectedStack(StackReader& reader, const std::filesystem::path& path, const Numbers& channels,
                  const Numbers& times);

    /// Of the selection alone.
    const StackHeader& header() const { return header_; }

    int channelsOfFile() const { return reader_.header().channels; }

    /// From 0: where channel c of the selection stands in the file.
    int ChannelOfFile(int c) const { return channels_[static_cast<std::size_t>(c)]; }

    /// `plane` counts within the selection; as StackReader::ReadPlane.
    void ReadPlane(const PlaneIndex& plane, float* rows, std::ptrdiff_t rowStride);

    /// "", or which channel of the file a channel of the selection is: "channel 2 (GFP)".
    std::string NameOf(int c) const;

    /// "", or which channel and time of the file a volume of the selection is: "channel 2 (GFP), time 5".
    std::string NameOf(int c, int t) const;

  private:
    StackReader& reader_;
    std::vector<int> channels_;  // of the file, from 0
    std::vector<int> times_;
    StackHeader header_;
};

/// What the metadata tell of one channel at one time.
StackHeader HeaderOfChannel(const StackHeader& header, int c);

/// The channels and times, all times of the first channel first.
class SelectedVolumes final : public UnitSource {
  public:
    explicit SelectedVolumes(SelectedStack& stack) : stack_(stack) {}

    int NumberOf(int c, int t) const { return c * stack_.header().times + t; }
    int count() const { return stack_.header().channels * stack_.header().times; }

    Extent ShapeOf(int volume) const override;
    void ReadPlane(int volume, int k, float* rows, std::ptrdiff_t rowStride) override;

  private:
    SelectedStack& stack_;
};

}  // namespace rydecon
