// SPDX-License-Identifier: MIT

#include "report/progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace rydecon {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenDrawings = 100ms;
constexpr auto kBeforeEstimate = 1s;  // earlier, the first steps tell too little
constexpr const char* kEmptyLine = "\r\033[K";
constexpr int kUsualColumns = 80;
constexpr int kLongestBar = 40;

ProgressBar* shownBar = nullptr;

bool IsSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool TerminalMoves() {
    const char* const kind = std::getenv("TERM");
    return kind != nullptr && std::string_view(kind) != "dumb";
}

int TerminalColumns() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualColumns;
    return size.ws_col;
}

void WriteToTerminal(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

}  // namespace

std::string ClockText(std::chrono::seconds duration) {
    const long long total = std::max<long long>(duration.count(), 0);
    const long long hours = total / 3600;
    const int minutes = static_cast<int>(total / 60 % 60);
    const int seconds = static_cast<int>(total % 60);
    char text[48];
    if (hours > 0) {
        std::snprintf(text, sizeof text, "%lld:%02d:%02d", hours, minutes, seconds);
    } else {
        std::snprintf(text, sizeof text, "%d:%02d", minutes, seconds);
    }
    return text;
}

std::string ProgressLine(const std::string& label, double fraction, const std::string& remaining,
                         int columns) {
    const double shown = std::clamp(fraction, 0.0, 1.0);
    char percent[16];
    std::snprintf(percent, sizeof percent, " %3.0f %%", std::floor(100.0 * shown));
    std::string end = percent;
    if (!remaining.empty()) end += "  " + remaining + " left";

    const int room = columns - static_cast<int>(label.size() + end.size()) - 3;
    std::string line = label;
    if (room >= 5) {
        const int length = std::min(room, kLongestBar);
        const auto full = static_cast<int>(shown * length);
        line += " [" + std::string(static_cast<std::size_t>(full), '#') +
                std::string(static_cast<std::size_t>(length - full), '.') + "]";
    }
    line += end;
    return line.substr(0, static_cast<std::size_t>(std::max(columns, 0)));
}

ProgressBar::ProgressBar(unsigned units, std::string label, const Messages& messages)
    : units_(std::max(units, 1U)), label_(std::move(label)) {
    live_ = !messages.quiet() && isatty(STDERR_FILENO) != 0 && TerminalMoves();
    colours_ = !IsSet("NO_COLOR");
    if (live_) Draw();
}

ProgressBar::~ProgressBar() {
    Finish();
}

void ProgressBar::Advance(unsigned units) {
    done_ += std::min(units, units_ - done_);
    if (live_ && (!drawn_ || Clock::now() - lastDrawn_ >= kBetweenDrawings)) Draw();
}

void ProgressBar::Finish() {
    Clear();
    live_ = false;
}

void ProgressBar::Draw() {
    const double fraction = static_cast<double>(done_) / units_;
    const auto now = Clock::now();
    const std::chrono::duration<double> elapsed = now - start_;
    std::string remaining;
    if (done_ > 0 && elapsed >= kBeforeEstimate) {
        const double seconds = elapsed.count() * (1.0 - fraction) / fraction;
        remaining = ClockText(std::chrono::seconds(std::llround(seconds)));
    }
    // One column stays free: some terminals begin a new line after the last one.
    std::string line = ProgressLine(label_, fraction, remaining, TerminalColumns() - 1);
    const auto first = line.find('[');
    if (colours_ && first != std::string::npos) {
        line.insert(line.find(']', first), "\033[0m");
        line.insert(first + 1, "\033[32m");
    }
    WriteToTerminal(kEmptyLine + line);
    lastDrawn_ = now;
    drawn_ = true;
    shownBar = this;
}

void ProgressBar::Clear() {
    if (drawn_) WriteToTerminal(kEmptyLine);
    drawn_ = false;
    if (shownBar == this) shownBar = nullptr;
}

void ClearProgressLine() {
    if (shownBar != nullptr) shownBar->Clear();
}

}  // namespace rydecon
