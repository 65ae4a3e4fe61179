// SPDX-License-Identifier: MIT
#include "frame/progress.h"

#include <ry_system/ry_system.h>

namespace gnr::detail {

bool Progress::Stop(ERyProgressPhase phase, unsigned units) const {
    if (callback_ == nullptr) return false;
    const CRyStringW text(RY_GetTranslation(text_.text, text_.source), 0);
    return callback_(text, 0, 0, 0, units, phase, hostPointer_) != 0;
}

}  // namespace gnr::detail
