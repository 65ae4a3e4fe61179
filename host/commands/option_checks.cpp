// SPDX-License-Identifier: MIT
#include "commands/option_checks.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <system_error>

#include "io/length_unit.h"

namespace rydecon {

namespace {

std::optional<std::uint64_t> ParseWhole(const std::string& text) {
    std::uint64_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

bool IsReal(const std::string& text) {
    const std::optional<double> number = ParseNumber(text);
    return number && std::isfinite(*number);
}

}  // namespace

std::string Complaint(const std::string& given, const std::string& need) {
    const bool number = ParseNumber(given) && Trimmed(given) == given;
    const std::string shown = number ? given : "'" + given + "'";
    return "is " + shown + "; " + need + " is needed";
}

CLI::Validator OneOf(const std::vector<std::string>& words) {
    std::string list;
    std::string members;
    for (std::size_t n = 0; n < words.size(); ++n) {
        list += (n == 0 ? "" : n + 1 == words.size() ? " or " : ", ") + words[n];
        members += (n == 0 ? "" : ",") + words[n];
    }
    const auto check = [words, list](const std::string& text) {
        const bool known = std::find(words.begin(), words.end(), text) != words.end();
        return known ? std::string() : Complaint(text, list);
    };
    return {check, "{" + members + "}"};
}

CLI::Validator WholeNumber(std::uint64_t least, std::uint64_t most) {
    const std::string ends = std::to_string(least) + " to " + std::to_string(most);
    const auto check = [least, most, ends](std::string& text) {
        const auto number = ParseWhole(text);
        if (!number || *number < least || *number > most) {
            return Complaint(text, "a whole number from " + ends);
        }
        text = std::to_string(*number);
        return std::string();
    };
    const bool limited = most < std::numeric_limits<std::uint64_t>::max();
    return {check, limited ? "INT in [" + std::to_string(least) + " - " + std::to_string(most) + "]" : ""};
}

CLI::Validator RealNumber() {
    const auto check = [](const std::string& text) {
        return IsReal(text) ? std::string() : Complaint(text, "a number such as 2 or 1.5");
    };
    return {check, ""};
}

CLI::Validator FileName() {
    const auto check = [](const std::string& text) {
        return text.empty() ? Complaint(text, "the name of a file") : std::string();
    };
    return {check, ""};
}

}  // namespace rydecon
