// SPDX-License-Identifier: MIT
// The findings of the command info as lines for the reader.

#include "commands/info_record.h"
#include "io/file_error.h"
#include "optics/units.h"
#include "report/counted.h"

namespace rydecon {
namespace {

using Number = std::optional<double>;

/// Parts with commas between those that are not empty.
class Parts {
  public:
    void Add(const std::string& part) {
        if (part.empty()) return;
        text_ += text_.empty() ? part : ", " + part;
    }
    void Length(const char* name, const Number& micrometres) {
        if (micrometres) Add(std::string(name) + " " + LengthText(*micrometres));
    }
    void Plain(const char* name, const Number& number) {
        if (number) Add(std::string(name) + " " + NumberText(*number));
    }
    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

std::string Line(const std::string& name, const std::string& text) {
    return text.empty() ? "" : "  " + name + " " + text + "\n";
}

std::string SourceText(const std::string& source) {
    return source.empty() ? "" : " (" + source + ")";
}

std::string FirstLine(const InfoRecord& record) {
    const StackHeader& header = record.header;
    Parts parts;
    parts.Add(NameOf(header.container));
    parts.Add(std::to_string(header.width) + " x " + std::to_string(header.height) + " samples");
    parts.Add(Counted(header.slices, "slice"));
    parts.Add(Counted(header.channels, "channel"));
    parts.Add(Counted(header.times, "time point"));
    parts.Add("axes " + AxesOf(header));
    std::string type(NameOf(header.sampleType));
    if (header.significantBits) type += " (" + std::to_string(*header.significantBits) + " significant bits)";
    parts.Add(type);
    parts.Add(header.byteOrder == std::endian::big ? "big-endian" : "little-endian");
    return OneLine(record.path.string()) + ": " + parts.text() + "\n";
}

std::string VoxelLine(const StackHeader& header) {
    Parts parts;
    parts.Length("x", header.voxel.x);
    parts.Length("y", header.voxel.y);
    parts.Length("z", header.voxel.z);
    return parts.text().empty() ? Line("voxel", "not told")
                                : Line("voxel", parts.text() + SourceText(header.voxelSource));
}

std::string OpticsLine(const ImageOptics& optics) {
    Parts parts;
    parts.Plain("numerical aperture", optics.numericalAperture);
    parts.Plain("refractive index", optics.refractiveIndex);
    if (!optics.immersion.empty()) parts.Add("immersion " + OneLine(optics.immersion));
    parts.Plain("magnification", optics.magnification);
    return parts.text().empty() ? "" : Line("optics", parts.text() + SourceText(optics.source));
}

std::string ChannelLine(const StackHeader& header, int c) {
    const ChannelRecord record = RecordOf(header, c);
    const ImageOptics optics = OpticsOf(header, c);
    Parts parts;
    if (!record.name.empty()) parts.Add(Quoted(record.name));
    parts.Length("emission", optics.emission);
    parts.Length("excitation", optics.excitation);
    parts.Length("pinhole", optics.pinhole);
    if (!optics.acquisitionMode.empty()) parts.Add(OneLine(optics.acquisitionMode));
    if (record.colour) {
        char text[16];
        std::snprintf(text, sizeof text, "#%02x%02x%02x", (*record.colour)[0], (*record.colour)[1],
                      (*record.colour)[2]);
        parts.Add(std::string("colour ") + text);
    }
    return Line("channel " + std::to_string(c + 1), parts.text().empty() ? "nothing told" : parts.text());
}

std::string StatisticsLines(const ChannelFindings& findings) {
    const ChannelStatistics& s = findings.statistics;
    std::string text;
    if (s.nonFinite() > 0) {
        text += Line("  not finite", std::to_string(s.nonFinite()) + " of " + std::to_string(s.samples()) +
                                         " samples are NaN or infinite");
    }
    if (!s.Mean()) return text;
    Parts range;
    range.Add(NumberText(*s.Least()) + " to " + NumberText(*s.Largest()));
    range.Plain("mean", s.Mean());
    range.Plain("deviation", s.Deviation());
    text += Line("  samples", range.text());
    if (s.Constant()) return text + Line("  empty", "all samples are " + NumberText(*s.Least()));
    Parts percentiles;
    percentiles.Plain("1 %", s.Quantile(0.01));
    percentiles.Plain("50 %", s.Quantile(0.5));
    percentiles.Plain("99 %", s.Quantile(0.99));
    percentiles.Plain("99.9 %", s.Quantile(0.999));
    text += Line("  percentiles", percentiles.text());
    if (const auto noise = findings.noise.Deviation()) {
        text += Line("  noise", NumberText(*noise) + " (standard deviation)");
    }
    if (s.saturated() > 0) {
        text += Line("  saturated", std::to_string(s.saturated()) + " of " + std::to_string(s.samples()) +
                                        " samples are at " + NumberText(*s.SaturationLevel()) + " or above");
    }
    if (const auto ratio = s.Bleaching()) {
        text +=
            Line("  bleaching", "the mean of the last time point is " + NumberText(*ratio) + " of the first");
    }
    return text;
}

}  // namespace

std::string AxesOf(const StackHeader& header) {
    std::string axes;
    if (header.times > 1) axes += 'T';
    if (header.slices > 1) axes += 'Z';
    if (header.channels > 1) axes += 'C';
    return axes + "YX";
}

std::string InfoText(const InfoRecord& record) {
    const StackHeader& header = record.header;
    std::string text = FirstLine(record) + VoxelLine(header);
    if (header.timeStep) {
        text += Line("time step", NumberText(header.timeStep->value) + " " + OneLine(header.timeStep->unit));
    }
    text += OpticsLine(header.optics);
    for (int c = 0; c < header.channels; ++c) {
        text += ChannelLine(header, c);
        if (!record.channels.empty()) text += StatisticsLines(record.channels[static_cast<std::size_t>(c)]);
    }
    return text;
}

}  // namespace rydecon
