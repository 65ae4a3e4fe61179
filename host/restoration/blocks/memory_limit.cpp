// SPDX-License-Identifier: MIT
#include "restoration/blocks/memory_limit.h"

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string_view>
#include <system_error>
#include <thread>

#include "report/user_error.h"

namespace rydecon {

namespace {

constexpr std::uint64_t kMebibyte = 1024 * 1024;
constexpr std::uint64_t kKibibyte = 1024;

/// Below this not even the program itself fits.
constexpr std::uint64_t kLeastAllowed = kMebibyte;

/// The number behind "Name:" in a file of lines "Name:   123 kB", in bytes.
std::optional<std::uint64_t> NamedKibibytes(const char* path, std::string_view name) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (line.rfind(name, 0) != 0 || line.size() <= name.size() || line[name.size()] != ':') continue;
        const char* first = line.data() + name.size() + 1;
        const char* const last = line.data() + line.size();
        while (first != last && (*first == ' ' || *first == '\t')) ++first;
        std::uint64_t number = 0;
        if (std::from_chars(first, last, number).ec == std::errc()) return number * kKibibyte;
    }
    return std::nullopt;
}

/// The number that is all of a file; empty for "max" and where there is no such file.
std::optional<std::uint64_t> NumberIn(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::uint64_t number = 0;
    if (!(file >> number)) return std::nullopt;
    return number;
}

/// The number behind a word in a file of lines "word 123".
std::uint64_t StatisticIn(const std::filesystem::path& path, std::string_view wanted) {
    std::ifstream file(path);
    std::string word;
    std::uint64_t number = 0;
    while (file >> word >> number) {
        if (word == wanted) return number;
    }
    return 0;
}

/// What one group leaves: its limit less what it uses, without the file pages that give way.
std::optional<std::uint64_t> RoomInGroup(const std::filesystem::path& group, const char* limit,
                                         const char* usage, const char* pages) {
    const auto most = NumberIn(group / limit);
    if (!most) return std::nullopt;
    const std::uint64_t used = NumberIn(group / usage).value_or(0);
    const std::uint64_t yielding = StatisticIn(group / "memory.stat", pages);
    const std::uint64_t held = used - std::min(used, yielding);
    return *most - std::min(*most, held);
}

/// The bytes of addresses that the program's threads take besides the samples: their stacks, and small things.
std::uint64_t AddressesOfThreads() {
    constexpr std::uint64_t kUsualStack = 8 * kMebibyte;
    constexpr std::uint64_t kSmallThings = 16 * kMebibyte;
    constexpr unsigned kReaderAndWriter = 2;
    rlimit stack{};
    const bool known = getrlimit(RLIMIT_STACK, &stack) == 0 && stack.rlim_cur != RLIM_INFINITY;
    const std::uint64_t each = known ? std::uint64_t{stack.rlim_cur} : kUsualStack;
    return (std::thread::hardware_concurrency() + kReaderAndWriter) * (each + kKibibyte * 64) + kSmallThings;
}

/// What ulimit -v leaves for samples.
std::optional<std::uint64_t> RoomInAddresses(const ProcessMemory& now) {
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return std::nullopt;
    // One arena for all threads: each further one takes 64 MiB of addresses at once.
    mallopt(M_ARENA_MAX, 1);
    const std::uint64_t taken = now.mapped + AddressesOfThreads();
    return limit.rlim_cur - std::min(std::uint64_t{limit.rlim_cur}, taken);
}

}  // namespace

std::uint64_t ParseByteSize(const std::string& option, const std::string& text) {
    constexpr std::string_view kSuffixes = "KMGT";
    const auto refuse = [&](const char* reason) {
        return UserError(option + " is '" + text + "'; " + reason, ExitCode::Usage);
    };
    double number = 0.0;
    const char* const end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    double unit = 1.0;
    bool understood = failure == std::errc() && end - rest <= 1;
    if (understood && rest != end) {
        const auto power = kSuffixes.find(static_cast<char>(*rest >= 'a' ? *rest - 'a' + 'A' : *rest));
        understood = power != std::string_view::npos;
        if (understood) unit = std::pow(1024.0, static_cast<double>(power + 1));
    }
    if (!understood || !std::isfinite(number)) {
        throw refuse("a size such as 500M or 4G is needed (K, M, G, T)");
    }
    const double bytes = number * unit;
    if (bytes < static_cast<double>(kLeastAllowed)) throw refuse("1M or more is needed");
    return static_cast<std::uint64_t>(std::min(bytes, 9.0e18));
}

std::string ByteText(std::uint64_t bytes) {
    const double mebibytes = static_cast<double>(bytes) / static_cast<double>(kMebibyte);
    std::array<char, 48> text{};
    if (mebibytes < 1000.0) {
        std::snprintf(text.data(), text.size(), "%.0f MiB", std::ceil(mebibytes));
    } else {
        std::snprintf(text.data(), text.size(), "%.2f GiB", mebibytes / 1024.0);
    }
    return text.data();
}

ProcessMemory MeasureProcess() {
#if defined(RYDECON_INSTRUMENTED)
    // A sanitizer takes several times what the program does, and keeps what was freed. Plans are those of the
    // program without it, so that its tests go the same ways.
    return {};
#endif
    constexpr const char* kStatus = "/proc/self/status";
    return {NamedKibibytes(kStatus, "VmRSS").value_or(0), NamedKibibytes(kStatus, "VmHWM").value_or(0),
            NamedKibibytes(kStatus, "VmSize").value_or(0)};
}

std::optional<std::uint64_t> RoomInControlGroups(const std::filesystem::path& membership,
                                                 const std::filesystem::path& root) {
    std::optional<std::uint64_t> least;
    const auto consider = [&least](std::optional<std::uint64_t> room) {
        if (room && (!least || *room < *least)) least = room;
    };
    std::ifstream file(membership);
    std::string line;
    while (std::getline(file, line)) {  // "number:controllers:/path"
        const auto first = line.find(':');
        const auto second = first == std::string::npos ? first : line.find(':', first + 1);
        if (second == std::string::npos) continue;
        const std::string controllers = line.substr(first + 1, second - first - 1);
        const bool unified = controllers.empty();
        if (!unified && ("," + controllers + ",").find(",memory,") == std::string::npos) continue;
        const std::filesystem::path top = unified ? root : root / "memory";
        std::filesystem::path group = std::filesystem::path(line.substr(second + 1)).relative_path();
        for (bool last = false; !last; group = group.parent_path()) {
            last = group.empty();
            consider(unified ? RoomInGroup(top / group, "memory.max", "memory.current", "inactive_file")
                             : RoomInGroup(top / group, "memory.limit_in_bytes", "memory.usage_in_bytes",
                                           "total_inactive_file"));
        }
    }
    return least;
}

void ReturnFreedMemory() {
    constexpr int kLargeBuffer = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, kLargeBuffer);
}

MemoryLimit FindMemoryLimit(std::optional<std::uint64_t> allowed) {
    const ProcessMemory now = MeasureProcess();
    constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};
    MemoryLimit limit{kNoLimit, kNoLimit, "free memory"};
    const auto consider = [&](std::optional<std::uint64_t> room, const char* source) {
        if (!room || now.resident + *room >= limit.bytes) return;
        limit.bytes = now.resident + *room;
        limit.source = source;
    };
    if (allowed) {
        limit = {*allowed, kNoLimit, "--max-memory"};
    } else {
        const auto available = NamedKibibytes("/proc/meminfo", "MemAvailable");
        if (available) consider(*available / 10 * 9, "free memory");
        consider(RoomInControlGroups("/proc/self/cgroup", "/sys/fs/cgroup"), "the container's limit");
    }
    const std::optional<std::uint64_t> addresses = RoomInAddresses(now);
    consider(addresses, "ulimit -v");
    if (addresses) limit.addresses = now.resident + *addresses;
    return limit;
}

}  // namespace rydecon
