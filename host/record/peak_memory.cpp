// SPDX-License-Identifier: MIT
#include "record/peak_memory.h"

#include <fstream>
#include <limits>
#include <string>

namespace rydecon {

std::uint64_t PeakMemory() {
    // getrusage would tell of the program that began this one as well.
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::uint64_t kibibytes = 0;
        if (word == "VmHWM:" && status >> kibibytes) return 1024 * kibibytes;
        status.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return 0;
}

}  // namespace rydecon
