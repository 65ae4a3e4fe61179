// SPDX-License-Identifier: MIT
#include "report/turn.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <string_view>

namespace rydecon {

void PassTurn() {
    const char* const setting = std::getenv(kTurnSetting);
    if (setting == nullptr) return;
    const std::string_view text(setting);
    int descriptor = -1;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), descriptor);
    unsetenv(kTurnSetting);
    struct stat status {};
    if (parsed.ec != std::errc() || fstat(descriptor, &status) != 0 || !S_ISFIFO(status.st_mode)) return;
    while (write(descriptor, "", 1) < 0 && errno == EINTR) {
    }
    close(descriptor);
}

}  // namespace rydecon
