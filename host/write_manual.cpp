// SPDX-License-Identifier: MIT
// Writes the manual pages, compressed, and the completion of the program: run by the build.
//
//   rydecon_manual FOLDER DATE

#include <zlib.h>

#include <CLI/CLI.hpp>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "commands/command_line.h"
#include "manual/bash_completion.h"
#include "manual/command_tree.h"
#include "manual/man_page.h"

namespace rydecon {
namespace {

void WriteCompressed(const std::filesystem::path& path, const std::string& text) {
    const gzFile file = gzopen(path.c_str(), "wb9");
    const auto size = static_cast<unsigned>(text.size());
    const bool written = file != nullptr && gzwrite(file, text.data(), size) == static_cast<int>(size);
    const bool closed = file != nullptr && gzclose(file) == Z_OK;
    if (!written || !closed) throw std::runtime_error(path.string() + " cannot be written");
}

void WriteText(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text << std::flush;
    if (!file) throw std::runtime_error(path.string() + " cannot be written");
}

void WriteManual(const std::filesystem::path& folder, const std::string& date) {
    CommandContext context;
    CLI::App app(kProgramSummary, kProgramName);
    SetUpCommandLine(app, context);
    const CommandEntry program = DescribeCommand(app);

    ManualFacts facts{app.version(), date, {}, kCommonNotes};
    for (const auto& [code, meaning] : kExitMeanings)
        facts.exitCodes.push_back({std::to_string(static_cast<int>(code)), meaning});

    const std::filesystem::path pages = folder / "man1";
    std::filesystem::create_directories(pages);
    for (const ManPage& page : MakeManPages(program, facts))
        WriteCompressed(pages / (page.name + ".1.gz"), page.text);
    WriteText(folder / (program.name + ".bash"), MakeBashCompletion(program, facts.version));
}

}  // namespace
}  // namespace rydecon

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: rydecon_manual FOLDER DATE\n";
        return 2;
    }
    try {
        rydecon::WriteManual(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::cerr << "rydecon_manual: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
