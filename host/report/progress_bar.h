// SPDX-License-Identifier: MIT
#pragma once

// A progress bar with the remaining time in the last line of a terminal.

#include <chrono>
#include <string>

#include "report/messages.h"

namespace rydecon {

/// Draws on standard error if that is a terminal and the program is not quiet; else does nothing.
/// NO_COLOR takes the colours away. One bar at a time, driven by one thread.
class ProgressBar {
  public:
    ProgressBar(unsigned units, std::string label, const Messages& messages);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// So many more units of work are done.
    void Advance(unsigned units);

    /// Takes the bar off the terminal; it stays off.
    void Finish();

  private:
    using Clock = std::chrono::steady_clock;
    friend void ClearProgressLine();

    void Draw();
    void Clear();

    unsigned units_;
    unsigned done_ = 0;
    std::string label_;
    bool live_ = false;
    bool colours_ = false;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point lastDrawn_;
};

/// Empties the line of the bar that is shown, if any, so that other text can begin there. The bar returns
/// with its next step.
void ClearProgressLine();

/// "0:07", "12:30", "3:05:00"
std::string ClockText(std::chrono::seconds duration);

/// The line without colours: label, bar, per cent, and what remains, which may be empty; at most `columns`
/// characters.
std::string ProgressLine(const std::string& label, double fraction, const std::string& remaining,
                         int columns);

}  // namespace rydecon
