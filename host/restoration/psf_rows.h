// SPDX-License-Identifier: MIT
#pragma once

// The samples of a PSF as they come: streamed from a file, or from a volume in memory.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "io/stack_reader.h"
#include "optics/computed_psf.h"
#include "report/messages.h"
#include "report/user_error.h"
#include "volume/padded_volume.h"
#include "volume/sample_box.h"

namespace rydecon {

/// Rows in the order of planes and rows, as often as they are asked for.
class PsfRows {
  public:
    using Visit = std::function<void(const float* row, int j, int k)>;

    virtual ~PsfRows() = default;

    /// For messages: the file in quotes, or what else it is.
    virtual std::string name() const = 0;
    virtual Extent size() const = 0;
    virtual void ForEachRow(const Visit& visit) = 0;

    /// Memory that the samples take between two walks.
    virtual std::uint64_t bytes() const { return 0; }

    /// What they were computed from, where they were.
    virtual std::optional<Optics> optics() const { return std::nullopt; }

    /// The error that these samples are of no use.
    virtual UserError Refusal(const std::string& reason) const { return UserError(name() + ": " + reason); }
};

/// A file, read plane by plane each time.
class FilePsfRows final : public PsfRows {
  public:
    FilePsfRows(const std::filesystem::path& path, const Messages& messages)
        : path_(path), reader_(path, messages) {}

    const StackHeader& header() const { return reader_.header(); }
    std::string name() const override;
    Extent size() const override;
    void ForEachRow(const Visit& visit) override;
    UserError Refusal(const std::string& reason) const override;

  private:
    std::filesystem::path path_;
    StackReader reader_;
};

/// A volume in memory that stands for the PSF of `name`.
class BoxPsfRows final : public PsfRows {
  public:
    BoxPsfRows(std::string name, SampleBox samples) : name_(std::move(name)), samples_(std::move(samples)) {}

    std::string name() const override { return name_; }
    Extent size() const override { return samples_.size(); }
    void ForEachRow(const Visit& visit) override;
    std::uint64_t bytes() const override { return sizeof(float) * samples_.samples().size(); }

  private:
    std::string name_;
    SampleBox samples_;
};

/// A PSF computed from optics.
class ComputedPsfRows final : public PsfRows {
  public:
    ComputedPsfRows(const Optics& optics, const Extent& size, const Messages& messages)
        : optics_(optics), psf_(optics, size, messages) {}

    std::string name() const override { return "the computed PSF"; }
    Extent size() const override { return psf_.size(); }
    void ForEachRow(const Visit& visit) override;
    std::uint64_t bytes() const override { return psf_.bytes(); }
    std::optional<Optics> optics() const override { return optics_; }

  private:
    Optics optics_;
    ComputedPsf psf_;
};

struct PsfPeak {
    Extent position;  ///< the middle of all largest samples where several are equally large
    float value;
};

/// UserError for samples that are not finite and where none is above 0.
PsfPeak FindPeak(PsfRows& rows);

}  // namespace rydecon
