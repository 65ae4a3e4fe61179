// SPDX-License-Identifier: MIT
#include "batch/batch_outcome.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "io/file_error.h"

namespace rydecon {

namespace {

using Row = std::array<std::string, 6>;

std::string TextOf(BatchState state) {
    switch (state) {
        case BatchState::NotBegun:
            return "not begun";
        case BatchState::Done:
            return "done";
        case BatchState::AlreadyDone:
            return "already done";
        case BatchState::Failed:
            return "failed";
        case BatchState::Stopped:
            return "stopped";
    }
    return "";
}

std::string Formatted(const char* format, double number) {
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), format, number);
    return text.data();
}

Row RowOf(const BatchOutcome& outcome) {
    const bool ran = outcome.peakMemory > 0;
    return {OneLine(outcome.image.native()),
            TextOf(outcome.state),
            outcome.iterations ? std::to_string(*outcome.iterations) : "-",
            ran ? Formatted("%.2f s", outcome.seconds) : "-",
            ran ? Formatted("%.0f MB", static_cast<double>(outcome.peakMemory) / 1e6) : "-",
            OneLine(outcome.reason)};
}

}  // namespace

std::size_t Count(const std::vector<BatchOutcome>& outcomes, BatchState state) {
    return static_cast<std::size_t>(
        std::count_if(outcomes.begin(), outcomes.end(),
                      [state](const BatchOutcome& outcome) { return outcome.state == state; }));
}

std::string TableOf(const std::vector<BatchOutcome>& outcomes) {
    std::vector<Row> rows = {{"image", "result", "iterations", "time", "memory", ""}};
    for (const BatchOutcome& outcome : outcomes) rows.push_back(RowOf(outcome));
    std::array<std::size_t, std::tuple_size_v<Row>> widths{};
    for (const Row& row : rows) {
        for (std::size_t n = 0; n < row.size(); ++n) widths[n] = std::max(widths[n], row[n].size());
    }
    std::string table;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t n = 0; n < row.size(); ++n) {
            line += row[n] + std::string(widths[n] - row[n].size() + 2, ' ');
        }
        table += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return table;
}

}  // namespace rydecon
