// SPDX-License-Identifier: MIT
#include "report/required_range.h"

#include <cmath>
#include <cstdio>

#include "report/user_error.h"

namespace rydecon {

void RequireRange(const std::string& what, double value, double least, double greatest) {
    if (value >= least && value <= greatest) return;
    char text[128];  // ten digits keep limits such as 1000000 without an exponent
    std::snprintf(text, sizeof text, " is %.10g; a number from %.10g to %.10g is needed", value, least,
                  greatest);
    throw UserError(what + text, ExitCode::Usage);
}

void RequireWhole(const std::string& what, double value) {
    if (value == std::trunc(value)) return;
    char text[80];
    std::snprintf(text, sizeof text, " is %.10g; a whole number is needed", value);
    throw UserError(what + text, ExitCode::Usage);
}

}  // namespace rydecon
