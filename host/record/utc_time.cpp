// SPDX-License-Identifier: MIT
#include "record/utc_time.h"

#include <chrono>
#include <ctime>

namespace rydecon {

std::string NowInUtc() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

}  // namespace rydecon
