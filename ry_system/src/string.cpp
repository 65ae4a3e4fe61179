// SPDX-License-Identifier: MIT
#include <ry_system/string.h>

CRyStringW::CRyStringW(const wchar_t* pText, int /*iKind*/) : text_(pText == nullptr ? L"" : pText) {}
