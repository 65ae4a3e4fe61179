// SPDX-License-Identifier: MIT
// The stack reader and writer as a program, so that other programs can be tested against them.
//
//   stack_probe write TARGET WIDTH HEIGHT PLANES X Y Z   a pattern; X, Y, Z in micrometres, - for unknown
//   stack_probe sparse TARGET WIDTH HEIGHT PLANES        zeros that take no room, 1 to 4 in the last samples
//   stack_probe read STACK SAMPLES                       header on standard output, float32 samples into a file
//   stack_probe last STACK                               the last four samples on standard output
//   stack_probe any STACK SAMPLES                        the same of a stack of any axes, all that is known of it
//   stack_probe copy STACK TARGET [KEY=VALUE]...         type=uint16, order=backwards, limit=BYTES, low=, high=
//   stack_probe hollow TARGET W H Z C T TYPE             zeros that take no room, 1 in the last sample
//   stack_probe bytes TARGET COUNT                       bytes whose room is not reserved beforehand

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "io/stack_reader.h"
#include "io/stack_writer.h"
#include "io/temporary_file.h"
#include "io/tiff_prologue.h"
#include "report/user_error.h"

namespace rydecon {
namespace {

using Words = std::vector<std::string>;

StackHeader ShapeFrom(const Words& words) {
    StackHeader header;
    header.width = std::stoi(words.at(2));
    header.height = std::stoi(words.at(3));
    header.slices = std::stoi(words.at(4));
    return header;
}

std::optional<double> DistanceFrom(const std::string& word) {
    return word == "-" ? std::nullopt : std::optional(std::stod(word));
}

std::string Shown(const std::optional<double>& distance) {
    return distance ? std::to_string(*distance) : std::string("-");
}

void Write(const Words& words) {
    StackHeader header = ShapeFrom(words);
    header.voxel = {DistanceFrom(words.at(5)), DistanceFrom(words.at(6)), DistanceFrom(words.at(7))};
    StackWriter writer(words.at(1), header, false);
    std::vector<float> rows(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height));
    for (int plane = 0; plane < header.planes(); ++plane) {
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const auto x = i % static_cast<std::size_t>(header.width);
            const auto y = i / static_cast<std::size_t>(header.width);
            rows[i] = static_cast<float>(plane * 10000 + static_cast<int>(y * 100 + x)) + 0.25F;
        }
        writer.WritePlane(rows.data(), header.width);
    }
    writer.Commit();
}

void WriteSparse(const Words& words) {
    const StackHeader header = ShapeFrom(words);
    const std::string prologue = MakePrologue(header, ChooseForm(header));
    const std::uint64_t size =
        prologue.size() + PlaneBytes(header) * static_cast<std::uint64_t>(header.planes());
    std::ofstream(words.at(1), std::ios::binary) << prologue;
    std::filesystem::resize_file(words.at(1), size);
    const std::vector<float> last{1, 2, 3, 4};
    std::fstream file(words.at(1), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(size - 4 * sizeof(float)));
    file.write(reinterpret_cast<const char*>(last.data()), 4 * sizeof(float));
}

void Read(const Words& words) {
    const Messages messages;
    StackReader reader(words.at(1), messages);
    const StackHeader& header = reader.header();
    std::cout << header.width << ' ' << header.height << ' ' << header.planes() << ' '
              << NameOf(header.sampleType) << ' ' << Shown(header.voxel.x) << ' ' << Shown(header.voxel.y)
              << ' ' << Shown(header.voxel.z) << '\n';
    std::ofstream samples(words.at(2), std::ios::binary);
    std::vector<float> rows(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height));
    for (int plane = 0; plane < header.planes(); ++plane) {
        reader.ReadPlane(plane, rows.data(), header.width);
        samples.write(reinterpret_cast<const char*>(rows.data()),
                      static_cast<std::streamsize>(rows.size() * sizeof(float)));
    }
}

std::string Or(const std::string& text) {
    return text.empty() ? "-" : text;
}

void Describe(const StackHeader& header) {
    std::cout << "shape " << header.width << ' ' << header.height << ' ' << header.slices << ' '
              << header.channels << ' ' << header.times << ' ' << NameOf(header.sampleType) << "\nfile "
              << NameOf(header.container) << (header.byteOrder == std::endian::big ? " big" : " little")
              << "\nvoxel " << Shown(header.voxel.x) << ' ' << Shown(header.voxel.y) << ' '
              << Shown(header.voxel.z) << "\ntime ";
    if (header.timeStep) std::cout << header.timeStep->value << ' ' << header.timeStep->unit;
    std::cout << "\nbits " << header.significantBits.value_or(0) << "\noptics "
              << Shown(header.optics.numericalAperture) << ' ' << Shown(header.optics.refractiveIndex) << ' '
              << Shown(header.optics.magnification) << ' ' << Or(header.optics.immersion) << '\n';
    for (int c = 0; c < header.channels; ++c) {
        const ChannelRecord record = RecordOf(header, c);
        std::cout << "channel " << Shown(record.emission) << ' ' << Shown(record.excitation) << ' '
                  << Shown(record.pinhole) << ' ' << Or(record.acquisitionMode) << ' ';
        if (!record.colour) std::cout << '-';
        for (const int part : record.colour.value_or(Rgb{})) {
            if (record.colour) std::cout << part << ',';
        }
        std::cout << ' ' << Or(record.name) << '\n';
    }
}

std::vector<float> PlaneBuffer(const StackHeader& header) {
    return std::vector<float>(static_cast<std::size_t>(header.width) *
                              static_cast<std::size_t>(header.height));
}

void ReadAny(const Words& words) {
    const Messages messages;
    StackReader reader(words.at(1), messages, Accept::AnyStack);
    const StackHeader& header = reader.header();
    Describe(header);
    std::ofstream samples(words.at(2), std::ios::binary);
    std::vector<float> rows = PlaneBuffer(header);
    for (int t = 0; t < header.times; ++t) {
        for (int z = 0; z < header.slices; ++z) {
            for (int c = 0; c < header.channels; ++c) {
                reader.ReadPlane({z, c, t}, rows.data(), header.width);
                samples.write(reinterpret_cast<const char*>(rows.data()),
                              static_cast<std::streamsize>(rows.size() * sizeof(float)));
            }
        }
    }
}

SampleType TypeNamed(const std::string& name) {
    return name == "uint8" ? SampleType::UInt8 : name == "uint16" ? SampleType::UInt16 : SampleType::Float32;
}

void Copy(const Words& words) {
    std::map<std::string, std::string> keys;
    for (std::size_t n = 3; n < words.size(); ++n) {
        const std::size_t sign = words[n].find('=');
        keys[words[n].substr(0, sign)] = words[n].substr(sign + 1);
    }
    WriteOptions options;
    options.sampleType = TypeNamed(keys["type"]);
    if (keys.count("limit") != 0) options.classicLimit = std::stoull(keys["limit"]);
    if (keys.count("low") != 0) options.rescale = ValueRange{std::stof(keys["low"]), std::stof(keys["high"])};
    const Messages messages;
    StackReader reader(words.at(1), messages, Accept::AnyStack);
    const StackHeader& header = reader.header();
    StackWriter writer(words.at(2), header, options);
    std::vector<float> rows = PlaneBuffer(header);
    const int planes = header.planes();
    for (int n = 0; n < planes; ++n) {
        const PlaneIndex plane = PlaneAt(header, keys["order"] == "backwards" ? planes - 1 - n : n);
        reader.ReadPlane(plane, rows.data(), header.width);
        writer.WritePlane(plane, rows.data(), header.width);
    }
    writer.Commit();
    const ClippedSamples& clipped = writer.clipped();
    std::cout << "clipped " << clipped.low << ' ' << clipped.high << ' ' << clipped.notANumber << '\n';
}

void WriteHollow(const Words& words) {
    StackHeader header;
    header.width = std::stoi(words.at(2));
    header.height = std::stoi(words.at(3));
    header.slices = std::stoi(words.at(4));
    header.channels = std::stoi(words.at(5));
    header.times = std::stoi(words.at(6));
    header.sampleType = TypeNamed(words.at(7));
    header.container = words.at(1).ends_with(".ome.tif") ? Container::Ome : Container::ImageJ;
    const std::string prologue = MakePrologue(header, ChooseForm(header));
    const std::uint64_t size =
        prologue.size() + PlaneBytes(header) * static_cast<std::uint64_t>(header.planes());
    std::ofstream(words.at(1), std::ios::binary) << prologue;
    std::filesystem::resize_file(words.at(1), size);
    float last = 1.0F;
    std::byte encoded[sizeof last];
    EncodeSamples(header.sampleType, {}, &last, 1, encoded);
    const std::size_t bytes = BytesOf(header.sampleType);
    std::fstream file(words.at(1), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(size - bytes));
    file.write(reinterpret_cast<const char*>(encoded), static_cast<std::streamsize>(bytes));
}

void ShowLast(const Words& words) {
    const Messages messages;
    StackReader reader(words.at(1), messages);
    const StackHeader& header = reader.header();
    std::vector<float> rows(static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height));
    reader.ReadPlane(header.planes() - 1, rows.data(), header.width);
    std::cout << header.width << ' ' << header.height << ' ' << header.planes();
    for (std::size_t i = rows.size() - 4; i < rows.size(); ++i) std::cout << ' ' << rows[i];
    std::cout << '\n';
}

void WriteBytes(const Words& words) {
    TemporaryFile file(words.at(1), false);
    const std::vector<char> bytes(std::stoul(words.at(2)), 'x');
    file.Write(bytes.data(), bytes.size());
    file.Commit();
}

int Run(const Words& words) {
    const std::string command = words.empty() ? "" : words.front();
    if (command == "write")
        Write(words);
    else if (command == "sparse")
        WriteSparse(words);
    else if (command == "read")
        Read(words);
    else if (command == "last")
        ShowLast(words);
    else if (command == "any")
        ReadAny(words);
    else if (command == "copy")
        Copy(words);
    else if (command == "hollow")
        WriteHollow(words);
    else if (command == "bytes")
        WriteBytes(words);
    else
        return 2;
    return 0;
}

}  // namespace
}  // namespace rydecon

int main(int argc, char** argv) {
    try {
        return rydecon::Run(rydecon::Words(argv + 1, argv + argc));
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
