// SPDX-License-Identifier: MIT
#pragma once

// What a paper says about each method, and what it cites for it.

#include <string>
#include <string_view>
#include <vector>

#include "report/html/restoration_report.h"

namespace rydecon {

struct Reference {
    std::string_view citation;  // "Richardson 1972", as the phrases write it
    std::string_view entry;     // for the list of references
};

/// A noun phrase with its citations in parentheses, and their references in the order of mention.
struct CitedPhrase {
    std::string text;
    std::vector<const Reference*> references;
};

/// What the method of `--method` is; `perPicture` where a name means another one for pictures, `regularized`
/// where its strength is one that acts. An unknown method has its name for a phrase and cites nothing.
CitedPhrase DescribeMethod(std::string_view method, bool perPicture, bool regularized);

/// Where a PSF of that origin comes from, without its numbers.
CitedPhrase DescribePsfOrigin(PsfOrigin origin);

}  // namespace rydecon
