// SPDX-License-Identifier: MIT
#include <ry_system/translation.h>

const wchar_t* RY_GetTranslation(const wchar_t* pText, const char* /*pSourceFile*/) {
    return pText;
}
